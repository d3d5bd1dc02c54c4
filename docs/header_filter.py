#!/usr/bin/env python3
"""Doxygen input filter for the public header: turns its plain comments into documentation
comments, so the header keeps its own comment style and stays the reference.

    header_filter.py FILE   (writes the filtered FILE to standard output)

- the first comment of a file documents the file;
- a comment after code on its line documents that member (a field or an enumerator);
- a comment followed by a blank line introduces a section: a member group titled by its first
  sentence, up to the next section comment or the end of the file;
- any other comment documents the declaration after it, and the declarations that follow that
  one without a blank line share it (@copydoc);
- lines of a comment indented deeper than its other lines (formulas) keep their
  line breaks, and a dot that starts a line is escaped (Doxygen would read a list's end).
Only comments change, and every line stays on its line, so warnings point at the header.
"""
import os
import re
import sys

DECLARATION = re.compile(r"ZEM_API\b[^;(]*?\b(\w+)\s*\(|typedef struct \w+ (\w+)\s*;")


def keep_breaks(body):
    """Ends the lines of the comment indented deeper than its other continuation lines (and
    the line before each) with <br>."""
    lines = body.split("\n")
    indents = [len(l) - len(l.lstrip()) for l in lines[1:] if l.strip()]
    if not indents:
        return body
    deep = [i > 0 and bool(l.strip()) and len(l) - len(l.lstrip()) > min(indents)
            for i, l in enumerate(lines)]
    for i in range(len(lines) - 1):
        if deep[i] or deep[i + 1]:
            lines[i] += "<br>"
    return "\n".join(lines)


def section(body):
    """@name title (the first sentence) and the rest."""
    parts = re.split(r"(?<=[.:;])\s", body.strip(" -\n"), maxsplit=1)
    title = " ".join(parts[0].split()).rstrip(".:;").strip(" -")
    return f"/** @name {title}\n{parts[1] if len(parts) > 1 else ''} */ /** @{{ */"


def filter_header(text, name):
    edits, group_open = [], False  # (start, end, replacement) in text
    for n, m in enumerate(re.finditer(r"/\*(.*?)\*/", text, re.S)):
        line_start = text.rfind("\n", 0, m.start()) + 1
        after = text[m.end() :]
        # A line that starts with a dot ('.. b + 1') would end a Doxygen list: escape the dot.
        body = re.sub(r"(?m)^(\s*)\.", r"\1\\.", keep_breaks(m.group(1)))
        if n == 0:
            repl = f"/** @file {name}" + body + "*/"
        elif text[line_start : m.start()].strip():
            repl = "/**<" + body + "*/"
        elif re.match(r"[ \t]*\n[ \t]*\n", after):
            repl = ("/** @} */ " if group_open else "") + section(body)
            group_open = True
        else:
            repl = "/**" + body + "*/"
            run = re.match(r"(?:[^\n]*\n)(?:[ \t]*[^\s/][^\n]*\n)*", after).group(0)
            decls = list(DECLARATION.finditer(run))
            for d in decls[1:]:
                edits.append((m.end() + d.start(), m.end() + d.start(),
                              f"/** @copydoc {next(filter(None, decls[0].groups()))} */ "))
        edits.append((m.start(), m.end(), repl))
    if group_open:  # the last section ends before the C++ guard that closes the file
        end = text.rfind("#ifdef __cplusplus")
        edits.append((end, end, "/** @} */\n"))
    out, pos = [], 0
    for start, end, repl in sorted(edits):
        out += [text[pos:start], repl]
        pos = end
    return "".join(out + [text[pos:]])


if __name__ == "__main__":
    with open(sys.argv[1]) as f:
        sys.stdout.write(filter_header(f.read(), os.path.basename(sys.argv[1])))
