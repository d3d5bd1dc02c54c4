"""The generated declarations against the headers, the export list, the compiler and the
loaded library."""
import ctypes as C
import importlib.util
import re
import shutil
import subprocess

import pytest

import zemac


def load_generator(root):
    spec = importlib.util.spec_from_file_location("gen_api", root / "python/tools/gen_api.py")
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


def test_generated_module_is_in_sync_with_the_headers(root):
    generated = (root / "python/zemac/_api.py").read_text()
    assert load_generator(root).render(root / "include") == generated, \
        "python/zemac/_api.py is stale: run python/tools/gen_api.py"


def test_every_export_is_declared_and_reachable(root):
    listed = re.findall(r"ZEM_EXPORT\(\d+, (\w+)\)", (root / "src/core/exports.inc").read_text())
    assert len(listed) == 194
    assert sorted(zemac.api.FUNCTIONS) == sorted(listed)
    lib = zemac.library()  # binds every declared name: a missing symbol raises here
    assert all(getattr(lib, name).argtypes is not None for name in listed)
    assert lib.version()["major"] == zemac.CONSTANTS["ZEMAC_VERSION_MAJOR"]


@pytest.mark.skipif(shutil.which("cc") is None, reason="no C compiler")
def test_record_layouts_match_the_compiler(root, tmp_path):
    records = [v for v in vars(zemac.api).values()
               if isinstance(v, type) and issubclass(v, C.Structure) and getattr(v, "_fields_", None)]
    lines = ['#include <stdio.h>', '#include <stddef.h>', '#include "zemac.h"', "int main(void) {"]
    expected = []
    for r in records:
        lines.append(f'printf("%zu\\n", sizeof({r.__name__}));')
        expected.append(C.sizeof(r))
        for name, _ in r._fields_:
            lines.append(f'printf("%zu\\n", offsetof({r.__name__}, {name}));')
            expected.append(getattr(r, name).offset)
    (tmp_path / "layout.c").write_text("\n".join(lines + ["return 0;", "}"]))
    subprocess.run(["cc", "-I", str(root / "include"), "-o", str(tmp_path / "layout"),
                    str(tmp_path / "layout.c")], check=True)
    out = subprocess.run([str(tmp_path / "layout")], check=True, capture_output=True, text=True)
    assert [int(v) for v in out.stdout.split()] == expected
