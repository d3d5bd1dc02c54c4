#!/usr/bin/env bash
# Installs what building and testing zemac needs on a Debian machine (as root), or says what
# to install. Usage: scripts/setup.sh [build|all]   (build: enough to build and run zemdec)
set -euo pipefail
what=${1:-all}
build_pkgs=(cmake ninja-build g++ binutils ccache)
test_pkgs=(g++-multilib clang-14 libclang-rt-14-dev clang-format-14 googletest libbenchmark-dev pkg-config python3
           ffmpeg lame mpg123 drascula-music faad libfftw3-dev libkissfft-dev libavutil-dev qemu-user
           g++-mingw-w64-i686-win32 python3-numpy python3-pytest python3-venv python3-pip python3-setuptools doxygen)
pkgs=("${build_pkgs[@]}")
[ "$what" = all ] && pkgs+=("${test_pkgs[@]}")

missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
if [ "$(id -u)" -ne 0 ]; then
  echo "zemac needs these Debian packages: ${missing[*]}"
  echo "install them as root: apt-get install ${missing[*]}"
  exit 1
fi
echo "installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}" > /dev/null
