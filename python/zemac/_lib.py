"""Loading the library, statuses as exceptions, numpy buffers as pointers, the bit cursor."""
import ctypes as C
import os
import warnings

import numpy as np

from . import _api

STATUS_NAMES = {value: name for name, value in _api.STATUS.items()}


class ZemError(Exception):
    """An export returned a negative status."""

    def __init__(self, status, function):
        self.status = status
        self.name = STATUS_NAMES.get(status, "unknown status")
        self.function = function
        super().__init__(f"{function}: {self.name} ({status})")


class ZemWarning(UserWarning):
    """An export returned a positive status: the result is complete (for example a data pointer
    was not 16-byte aligned, so the 128-bit path was not taken)."""

    def __init__(self, status, function):
        self.status = status
        self.name = STATUS_NAMES.get(status, "unknown status")
        self.function = function
        super().__init__(f"{function}: {self.name} ({status})")


def _check(result, func, args):
    status = result.value
    if status < 0:
        raise ZemError(status, func.__name__)
    if status > 0:
        warnings.warn(ZemWarning(status, func.__name__), stacklevel=2)
    return status


class Library:
    """Every export of one loaded libzemac, with its signature: status-returning exports
    raise ZemError for errors, warn with ZemWarning for warnings and return the status."""

    def __init__(self, path=None):
        self.path = path or os.environ.get("ZEMAC_LIBRARY") or "libzemac.so.7"
        self.dll = C.CDLL(self.path)
        for name, (restype, args, _header) in _api.FUNCTIONS.items():
            f = getattr(self.dll, name)
            f.restype = restype
            f.argtypes = [t for _, t in args]
            if restype is _api.ZemStatus:
                f.errcheck = _check
            setattr(self, name, f)

    def version(self):
        v = self.zemacGetLibVersion().contents
        return {
            "major": v.versionMajor, "minor": v.versionMinor, "build": v.buildNumber,
            "cpu": v.cpuCode.decode(), "name": v.libName.decode(), "text": v.versionText.decode(),
        }


_library = None


def library():
    """The library of ZEMAC_LIBRARY, or libzemac.so.7 from the loader's search path, loaded once."""
    global _library
    if _library is None:
        _library = Library()
    return _library


_CTYPES = {
    np.dtype(np.int8): C.c_int8, np.dtype(np.uint8): C.c_uint8, np.dtype(np.int16): C.c_int16,
    np.dtype(np.uint16): C.c_uint16, np.dtype(np.int32): C.c_int32,
    np.dtype(np.uint32): C.c_uint32, np.dtype(np.float32): C.c_float,
    np.dtype(np.float64): C.c_double, np.dtype(np.complex64): _api.Zem32fc,
}


def ptr(array):
    """A typed pointer to a C-contiguous numpy array (complex64 as Zem32fc); ctypes then rejects
    an array of the wrong element type where the export declares another."""
    if not array.flags.c_contiguous:
        raise ValueError("the array must be C-contiguous")
    return array.ctypes.data_as(C.POINTER(_CTYPES[array.dtype]))


def as_dict(record):
    """A ctypes record as a dict; arrays as lists, nested records as dicts, pointers left out."""
    out = {}
    for name, _ in record._fields_:
        value = getattr(record, name)
        if isinstance(value, C.Structure):
            value = as_dict(value)
        elif isinstance(value, C.Array):
            value = [as_dict(v) if isinstance(v, C.Structure) else v for v in value]
            value = [list(v) if isinstance(v, C.Array) else v for v in value]
        elif isinstance(value, C._Pointer):
            continue
        out[name] = value
    return out


# The longest read of any stream parser from its cursor, damaged input included.
READ_PAD = max(v for k, v in _api.CONSTANTS.items() if k.startswith("zemReadMax"))


class Cursor:
    """A bit-stream cursor (ppStream, pBitPos) over a copy of data followed by READ_PAD zero
    bytes, so that no parser call from a position inside the data reads past the buffer."""

    def __init__(self, data, byte=0, bit=0):
        self.size = len(data)
        self.buffer = np.zeros(self.size + READ_PAD, np.uint8)
        self.buffer[: self.size] = np.frombuffer(bytes(data), np.uint8)
        self._base = self.buffer.ctypes.data
        self.bitpos = C.c_int32()
        self.seek(byte, bit)

    def seek(self, byte, bit=0):
        self.stream = C.cast(C.c_void_p(self._base + byte), C.POINTER(C.c_uint8))
        self.bitpos.value = bit

    @property
    def byte(self):
        return C.cast(self.stream, C.c_void_p).value - self._base

    @property
    def bit(self):
        return self.bitpos.value

    def tell(self):
        """Bits from the start of the data."""
        return 8 * self.byte + self.bit

    def args(self):
        """(ppStream, pBitPos) for an export."""
        return C.byref(self.stream), C.byref(self.bitpos)

    def read(self, n):
        """Reads n bits as an unsigned number (the caller's own syntax: element ids, tags)."""
        value, pos = 0, self.tell()
        for i in range(pos, pos + n):
            value = value << 1 | (int(self.buffer[i >> 3]) >> (7 - (i & 7))) & 1
        self.seek((pos + n) >> 3, (pos + n) & 7)
        return value

    def align(self):
        if self.bit:
            self.seek(self.byte + 1)
