#!/usr/bin/env python3
"""Checks the tables of the cross-built Windows DLL, as a Windows loader and linker see them.

Usage: windows_dll_check.py BUILD_DIR [EXPORT_LIST]

- the export table: the DLL's own name, every name of the export list with ordinal = its
  1-based position in the list, and nothing else;
- the import tables of the DLL and of zemcore.dll: system DLLs only (KERNEL32, msvcrt or the
  api-ms-win-crt set) and, for the DLL, zemcore.dll; no C++ runtime, libgcc or winpthread DLL;
- the version resource: file version 7.0.205.1017, product version "7.0 build 205.68";
- the import library, which must name the DLL.
The expected numbers are written here, not read from the sources, so that a wrong number in the
version record or the build fails too.
"""
import os
import re
import struct
import subprocess
import sys

DLL_NAME = "zemacq5-7.0.dll"
IMPORT_LIBRARY = "lib" + DLL_NAME + ".a"
CORE_DLL = "zemcore.dll"
CORE_EXPORTS = ["zemFree", "zemMalloc"]
FILE_VERSION = (7, 0, 205, 1017)
PRODUCT_VERSION = (7, 0, 205, 68)
PRODUCT_VERSION_TEXT = "7.0 build 205.68"
SYSTEM_DLL = re.compile(r"^(kernel32|msvcrt|api-ms-win-crt-[a-z0-9-]+)\.dll$", re.IGNORECASE)
TOOL_PREFIX = "i686-w64-mingw32-"

failures = []


def fail(message):
    failures.append(message)
    print("FAIL: " + message)


def objdump_p(path):
    return subprocess.run([TOOL_PREFIX + "objdump", "-p", path], check=True,
                          capture_output=True, text=True).stdout


def export_table(dump):
    """(DLL name, address-table size, {name: ordinal}) from the export section of objdump -p."""
    section = dump.split("The Export Tables", 1)
    if len(section) < 2:
        return None, 0, {}
    text = section[1]
    name = re.search(r"^Name\s+[0-9a-fA-F]+\s+(\S+)$", text, re.M)
    base = int(re.search(r"^Ordinal Base\s+(\d+)$", text, re.M).group(1))
    slots = int(re.search(r"^\s+Export Address Table\s+([0-9a-fA-F]+)$", text, re.M).group(1), 16)
    names = {}
    table = text.split("[Ordinal/Name Pointer] Table", 1)[1]
    for line in table.splitlines()[1:]:
        # "[   4] name" holds the unbiased ordinal; newer binutils print "[i] +base[ord] hint name".
        m = re.match(r"^\s+\[\s*(\d+)\]\s+(?:\+base\[\s*(\d+)\]\s+[0-9a-fA-F]+\s+)?(\S+)$", line)
        if not m:
            break
        ordinal = int(m.group(2)) if m.group(2) else int(m.group(1)) + base
        if m.group(3) in names:
            fail("export %s appears twice" % m.group(3))
        names[m.group(3)] = ordinal
    return name.group(1) if name else None, slots, names


def imported_dlls(dump):
    return re.findall(r"^\s+DLL Name: (\S+)$", dump, re.M)


def export_list(path):
    """Names of the export list in order; the number written beside each must be its position."""
    names = []
    for m in re.finditer(r"^ZEM_EXPORT\((\d+), *(\w+)\)", open(path).read(), re.M):
        names.append(m.group(2))
        if int(m.group(1)) != len(names):
            fail("%s stands at position %d of the export list but says %s"
                 % (m.group(2), len(names), m.group(1)))
    return names


def check_imports(label, dump, required):
    dlls = imported_dlls(dump)
    for dll in dlls:
        if not SYSTEM_DLL.match(dll) and dll.lower() not in (r.lower() for r in required):
            fail("%s imports from %s" % (label, dll))
    for dll in required:
        if dll.lower() not in (d.lower() for d in dlls):
            fail("%s does not import from %s" % (label, dll))
    print("%s imports from: %s" % (label, ", ".join(dlls)))


# The version resource, read from the PE file itself.

def resource_data(image, type_id, name_id):
    """Bytes of the first language of resource (type_id, name_id), or None."""
    pe = struct.unpack_from("<I", image, 0x3C)[0]
    if image[pe:pe + 4] != b"PE\0\0":
        raise ValueError("not a PE image")
    sections, optional_size = struct.unpack_from("<H12xH", image, pe + 6)
    optional = pe + 24
    if struct.unpack_from("<H", image, optional)[0] != 0x10B:
        raise ValueError("not a PE32 image")
    rsrc_rva, rsrc_size = struct.unpack_from("<II", image, optional + 96 + 2 * 8)
    if rsrc_size == 0:
        return None
    table = []
    for i in range(sections):
        entry = optional + optional_size + 40 * i
        vsize, va, raw_size, raw = struct.unpack_from("<IIII", image, entry + 8)
        table.append((va, max(vsize, raw_size), raw))

    def file_offset(rva):
        for va, size, raw in table:
            if va <= rva < va + size:
                return raw + rva - va
        raise ValueError("RVA %#x in no section" % rva)

    root = file_offset(rsrc_rva)

    def entries(directory):
        named, ids = struct.unpack_from("<HH", image, root + directory + 12)
        for i in range(named + ids):
            ident, target = struct.unpack_from("<II", image, root + directory + 16 + 8 * i)
            yield ident, target

    def find(directory, ident):
        for entry_id, target in entries(directory):
            if entry_id == ident and target & 0x80000000:
                return target & 0x7FFFFFFF
        return None

    names = find(0, type_id)
    languages = find(names, name_id) if names is not None else None
    if languages is None:
        return None
    for _, target in entries(languages):
        data_rva, size = struct.unpack_from("<II", image, root + target)
        start = file_offset(data_rva)
        return image[start:start + size]
    return None


def version_blocks(data, offset, end):
    """The (key, type, value, children) blocks of a VS_VERSIONINFO tree between offset and end."""
    while offset + 6 <= end:
        length, value_length, value_type = struct.unpack_from("<HHH", data, offset)
        if length == 0:
            break
        key_end = offset + 6
        while data[key_end:key_end + 2] != b"\0\0":
            key_end += 2
        key = data[offset + 6:key_end].decode("utf-16-le")
        value_start = (key_end + 2 + 3) & ~3
        value_end = value_start + (2 * value_length if value_type == 1 else value_length)
        children = list(version_blocks(data, (value_end + 3) & ~3, offset + length))
        yield key, value_type, data[value_start:value_end], children
        offset = (offset + length + 3) & ~3


def version_strings(children):
    strings = {}
    for key, _, _, tables in children:
        if key != "StringFileInfo":
            continue
        for _, _, _, values in tables:
            for name, _, value, _ in values:
                strings[name] = value.decode("utf-16-le").split("\0")[0]
    return strings


def check_version(path):
    data = resource_data(open(path, "rb").read(), 16, 1)  # RT_VERSION, VS_VERSION_INFO
    if data is None:
        fail("%s has no version resource" % os.path.basename(path))
        return
    blocks = list(version_blocks(data, 0, len(data)))
    if not blocks or blocks[0][0] != "VS_VERSION_INFO" or len(blocks[0][2]) < 52:
        fail("the version resource is not a VS_VERSIONINFO")
        return
    _, _, fixed, children = blocks[0]
    signature, _, file_ms, file_ls, product_ms, product_ls = struct.unpack_from("<6I", fixed)
    if signature != 0xFEEF04BD:
        fail("VS_FIXEDFILEINFO signature %#x" % signature)

    def quad(ms, ls):
        return (ms >> 16, ms & 0xFFFF, ls >> 16, ls & 0xFFFF)

    found = {
        "file version": quad(file_ms, file_ls),
        "product version": quad(product_ms, product_ls),
    }
    strings = version_strings(children)
    found["FileVersion"] = strings.get("FileVersion")
    found["ProductVersion"] = strings.get("ProductVersion")
    found["OriginalFilename"] = strings.get("OriginalFilename")
    expected = {
        "file version": FILE_VERSION,
        "product version": PRODUCT_VERSION,
        "FileVersion": ".".join(map(str, FILE_VERSION)),
        "ProductVersion": PRODUCT_VERSION_TEXT,
        "OriginalFilename": DLL_NAME,
    }
    for field, want in expected.items():
        if found[field] != want:
            fail("version resource %s is %r, expected %r" % (field, found[field], want))
    print("version resource: file %s, product %r" % (found["FileVersion"], found["ProductVersion"]))


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    build = sys.argv[1]
    root = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    listed = export_list(sys.argv[2] if len(sys.argv) == 3 else
                         os.path.join(root, "src", "core", "exports.inc"))
    dll = os.path.join(build, DLL_NAME)
    core = os.path.join(build, CORE_DLL)
    for path in (dll, core):
        if not os.path.isfile(path):
            sys.exit("FAIL: %s was not built" % path)

    dump = objdump_p(dll)
    if not re.search(r"file format pei-i386$", dump, re.M):
        fail("%s is not a 32-bit x86 PE image" % DLL_NAME)
    name, slots, exported = export_table(dump)
    if name != DLL_NAME:
        fail("the export table names the DLL %r" % name)
    for position, export in enumerate(listed, 1):
        if export not in exported:
            fail("%s is not exported" % export)
        elif exported[export] != position:
            fail("%s has ordinal %d, expected %d" % (export, exported[export], position))
    for export in sorted(set(exported) - set(listed)):
        fail("%s is exported but not on the export list" % export)
    if slots != len(listed):
        fail("the export address table has %d slots for %d names" % (slots, len(listed)))
    print("exports: %d names, ordinals 1..%d in list order" % (len(exported), slots))
    check_imports(DLL_NAME, dump, [CORE_DLL])

    core_dump = objdump_p(core)
    _, _, core_exports = export_table(core_dump)
    if sorted(core_exports) != CORE_EXPORTS:
        fail("%s exports %s" % (CORE_DLL, sorted(core_exports)))
    check_imports(CORE_DLL, core_dump, [])

    check_version(dll)

    implib = os.path.join(build, IMPORT_LIBRARY)
    if not os.path.isfile(implib):
        fail("import library %s is missing" % IMPORT_LIBRARY)
    else:
        named = subprocess.run([TOOL_PREFIX + "dlltool", "--identify", implib],
                               capture_output=True, text=True).stdout.split()
        if named != [DLL_NAME]:
            fail("import library %s names %s" % (IMPORT_LIBRARY, named))

    print("windows DLL check: %s" % ("%d failures" % len(failures) if failures else "pass"))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
