"""zemac from Python: every export of the C library through ctypes, and a thin layer over the
common decoding stages (zemac.aac, zemac.mp3).

    import zemac
    lib = zemac.library()        # ZEMAC_LIBRARY, or libzemac.so.7 from the loader's path
    lib.zemsPow43_16s32f(zemac.ptr(src), zemac.ptr(dst), len(src))

Status-returning exports raise ZemError (negative statuses) or warn with ZemWarning (positive
ones); numpy arrays are passed with zemac.ptr, bit-stream cursors with zemac.Cursor.
"""
from . import _api as api
from ._lib import STATUS_NAMES, Cursor, Library, ZemError, ZemWarning, as_dict, library, ptr

STATUS = api.STATUS
CONSTANTS = api.CONSTANTS

__all__ = ["api", "Cursor", "Library", "ZemError", "ZemWarning", "STATUS", "STATUS_NAMES",
           "CONSTANTS", "as_dict", "library", "ptr"]
