#!/usr/bin/env python3
"""Writes zemac/_api.py, the ctypes view of the public C header: records, opaque states,
constants and the signature of every export, read from include/zemac/*.h.

    gen_api.py [--check] [INCLUDE_DIR] [OUTPUT]

The header is regular (one declaration per statement, no function pointers, no macros in
declarations), so a small parser over the comment-free text is enough; anything it does not
recognise is an error, not a silent omission. --check compares instead of writing (exit 1 when
OUTPUT is stale).
"""
import pathlib
import re
import sys

HERE = pathlib.Path(__file__).resolve().parent
DEFAULT_INCLUDE = HERE.parent.parent / "include"
DEFAULT_OUTPUT = HERE.parent / "zemac" / "_api.py"

SCALARS = {
    "int8_t": "C.c_int8", "uint8_t": "C.c_uint8", "int16_t": "C.c_int16",
    "uint16_t": "C.c_uint16", "int32_t": "C.c_int32", "uint32_t": "C.c_uint32",
    "float": "C.c_float", "double": "C.c_double", "char": "C.c_char", "size_t": "C.c_size_t",
    "ZemStatus": "ZemStatus",
}


def strip_source(text):
    """The header without comments, C++ guards and preprocessor lines; #define constants apart."""
    text = re.sub(r"/\*.*?\*/", " ", text, flags=re.S)
    text = re.sub(r"//[^\n]*", " ", text)
    text = re.sub(r"#ifdef __cplusplus.*?#endif", " ", text, flags=re.S)  # extern "C" { }
    defines = re.findall(r"^#define\s+(ZEM\w+)\s+(-?\d+)\s*$", text, flags=re.M)
    text = re.sub(r"^#[^\n]*", " ", text, flags=re.M)
    return text, [(name, int(value)) for name, value in defines]


def statements(text):
    """Top-level statements, each ending at a ';' outside braces."""
    depth, start = 0, 0
    for i, c in enumerate(text):
        depth += (c == "{") - (c == "}")
        if c == ";" and depth == 0:
            yield " ".join(text[start:i].split())
            start = i + 1
    if text[start:].strip():
        raise ValueError("trailing text: " + text[start:].strip()[:60])


def ctype(decl_type, known):
    """The ctypes expression of a C type such as 'const Zem32fc* const*'."""
    words = decl_type.replace("*", " * ").split()
    words = [w for w in words if w not in ("const", "struct")]
    base, depth = words[0], words.count("*")
    if len(words) != depth + 1:
        raise ValueError("type not understood: " + decl_type)
    if base == "void":
        return "None" if depth == 0 else "P(" * (depth - 1) + "C.c_void_p" + ")" * (depth - 1)
    if base == "char" and depth == 1:
        return "C.c_char_p"
    if base in SCALARS:
        expr = SCALARS[base]
    elif base in known:
        expr = base
    else:
        raise ValueError("unknown type: " + base)
    return "P(" * depth + expr + ")" * depth


def declarator(decl):
    """('type', 'name', [dims]) of 'int32_t ms_used[8][60]'."""
    m = re.fullmatch(r"(.*?[\w*])\s*\b(\w+)((?:\s*\[\s*\w+\s*\])*)", decl.strip())
    if not m:
        raise ValueError("declaration not understood: " + decl)
    dims = re.findall(r"\[\s*(\w+)\s*\]", m.group(3))
    return m.group(1), m.group(2), dims


def parse(include_dir):
    """Records, opaque types, constants and functions of the headers, in header order."""
    files = [include_dir / "zemac" / "core.h"]
    files += sorted(p for p in (include_dir / "zemac").glob("*.h") if p.name != "core.h")
    known, records, opaque, enums, defines, functions = set(), [], [], [], [], []
    for path in files:
        text, file_defines = strip_source(path.read_text())
        defines += file_defines
        for st in statements(text):
            if st.startswith("ZEM_API "):
                m = re.fullmatch(r"ZEM_API (.+?)\b(\w+)\s*\((.*)\)", st)
                if not m:
                    raise ValueError("export not understood: " + st)
                params = [] if m.group(3).strip() in ("", "void") else m.group(3).split(",")
                args = []
                for p in params:
                    t, name, dims = declarator(p)
                    if dims:
                        raise ValueError("array parameter: " + st)
                    args.append((name, ctype(t, known)))
                functions.append((m.group(2), ctype(m.group(1), known), args, path.name))
            # ZEM_ALIGN8 raises a record's alignment to 8 where the C ABI would give it 4 (32-bit
            # x86 System V); ctypes on x86-64 aligns its double members to 8 already.
            elif m := re.fullmatch(r"typedef struct (?:ZEM_ALIGN8 )?(\w+) \{(.*)\} (\w+)", st):
                fields = []
                for f in m.group(2).split(";"):
                    if f.strip():
                        t, name, dims = declarator(f)
                        expr = ctype(t, known)
                        for d in reversed(dims):
                            expr = f"{expr} * {d}"
                        fields.append((name, expr))
                known.add(m.group(1))
                records.append((m.group(1), fields))
            elif m := re.fullmatch(r"typedef struct (\w+) (\w+)", st):
                known.add(m.group(1))
                opaque.append(m.group(1))
            elif m := re.fullmatch(r"enum \{(.*)\}", st):
                for item in filter(str.strip, m.group(1).split(",")):
                    name, value = (s.strip() for s in item.split("="))
                    enums.append((name, int(value)))
            elif st != "typedef int32_t ZemStatus":
                raise ValueError(f"{path.name}: statement not understood: {st[:80]}")
    return records, opaque, enums, defines, functions


def render(include_dir):
    records, opaque, enums, defines, functions = parse(include_dir)
    out = [
        '"""The C interface of zemac for ctypes: records, opaque states, constants and the',
        "signature of every export.",
        "",
        "Generated by tools/gen_api.py from include/zemac/*.h; do not edit.",
        '"""',
        "import ctypes as C",
        "from ctypes import POINTER as P",
        "",
        "",
        "class ZemStatus(C.c_int32):",
        '    """The return type of the exports that answer with a status."""',
        "",
    ]
    for name, fields in records:
        out += ["", f"class {name}(C.Structure):", "    _fields_ = ["]
        out += [f'        ("{f}", {t}),' for f, t in fields]
        out += ["    ]", ""]
    for name in opaque:
        out += ["", f"class {name}(C.Structure):", '    """Opaque state."""', ""]
    status = [(n, v) for n, v in enums if n.startswith(("zemStatus", "zemWarn"))]
    other = [(n, v) for n, v in enums if (n, v) not in status] + defines
    out += ["", "# Status codes: 0 success, negative errors, positive warnings.", "STATUS = {"]
    out += [f'    "{n}": {v},' for n, v in status]
    out += ["}", "", "CONSTANTS = {"]
    out += [f'    "{n}": {v},' for n, v in other]
    out += ["}", "", "# name: (return type, [(argument, type), ...], header)", "FUNCTIONS = {"]
    for name, ret, args, header in functions:
        out.append(f'    "{name}": ({ret}, [')
        out += [f'        ("{a}", {t}),' for a, t in args]
        out.append(f'    ], "{header}"),')
    out += ["}", ""]
    return "\n".join(out)


def main(argv):
    check = "--check" in argv
    argv = [a for a in argv if a != "--check"]
    include_dir = pathlib.Path(argv[0]) if argv else DEFAULT_INCLUDE
    output = pathlib.Path(argv[1]) if len(argv) > 1 else DEFAULT_OUTPUT
    text = render(include_dir)
    if check:
        if not output.exists() or output.read_text() != text:
            print(f"{output} is not what {include_dir} gives: run tools/gen_api.py")
            return 1
        return 0
    output.write_text(text)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
