#!/usr/bin/env bash
# Usage: [ZEM_RUN=EMULATOR] heaac_syntax_conformance.sh HEAAC_SYNTAX_STREAMS ZEMDEC PCM_COMPARE
# Writes the SBR syntax streams of heaac_syntax_streams.cpp (silent core: the output is the SBR
# noise floor and sinusoids alone) and compares zemdec's decoding with FFmpeg's.
set -u
read -r -a writer <<< "${ZEM_RUN:-} $1"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
"${writer[@]}" "$tmp" || { echo "FAIL: the stream writer failed"; exit 1; }
ZEM_NO_LP=1 bash "$(dirname "$0")/heaac_conformance.sh" "$2" "$3" "$tmp"
