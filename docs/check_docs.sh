#!/usr/bin/env bash
# Usage: check_docs.sh OUTPUT_DIR
# Renders the public header with docs/Doxyfile into OUTPUT_DIR and fails on any Doxygen
# warning, and on an export of src/core/exports.inc or a record that the rendering leaves
# without a description (its comment lost or attached elsewhere).
set -euo pipefail
src=$(cd "$(dirname "$0")/.." && pwd)
mkdir -p "$1"
out=$(cd "$1" && pwd)
rm -rf "$out/html" "$out/xml" "$out/warnings.log"
cd "$src"
{ cat docs/Doxyfile; echo "OUTPUT_DIRECTORY = \"$out\""; echo "WARN_LOGFILE = \"$out/warnings.log\""; } \
  | doxygen - > "$out/doxygen.log" 2>&1 || { cat "$out/doxygen.log"; exit 1; }
if [ -s "$out/warnings.log" ]; then
  echo "FAIL: Doxygen warns:"
  cat "$out/warnings.log"
  exit 1
fi
python3 - "$out/xml" src/core/exports.inc << 'PY'
import pathlib, re, sys
import xml.etree.ElementTree as ET

xml_dir, exports = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
described, records = {}, {}
def text(node, tag):
    return "".join(node.find(tag).itertext()).strip()
for path in xml_dir.glob("*.xml"):
    root = ET.parse(path).getroot()
    for c in root.iter("compounddef"):
        if c.get("kind") == "struct":
            records[c.findtext("compoundname")] = text(c, "briefdescription") + text(c, "detaileddescription")
    for m in root.iter("memberdef"):
        if m.get("kind") == "function":
            described[m.findtext("name")] = text(m, "briefdescription") + text(m, "detaileddescription")
names = re.findall(r"ZEM_EXPORT\(\d+, (\w+)\)", exports.read_text())
bad = [n for n in names if not described.get(n)]
bad += [n for n, d in sorted(records.items()) if not d]
for n in bad:
    print(f"FAIL: {n} is not documented in the rendered header")
print(f"{len(names)} exports and {len(records)} records documented" if not bad else "")
sys.exit(1 if bad else 0)
PY
