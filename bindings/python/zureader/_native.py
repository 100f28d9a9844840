"""The library's plain C interface (zureader/zureader_c.h) through ctypes.

The library is the one named by the environment variable ZUREADER_LIBRARY, otherwise the
installed one as the system's loader finds it."""
import ctypes
import ctypes.util
import os
import sys

# Results and kinds of failure (ZUREADER_OK, ZUREADER_ERROR_*).
OK = 0
ERROR_INVALID_ARGUMENT = 1
ERROR_NO_MEMORY = 2
ERROR_UNSUPPORTED = 3
ERROR_NOT_OPEN = 4
ERROR_NOT_FOUND = 5
ERROR_ACCESS_DENIED = 6
ERROR_SERVER_STATUS = 7
ERROR_BAD_URL = 8
ERROR_NOT_RESOLVED = 9
ERROR_NO_CONNECTION = 10
ERROR_TIMED_OUT = 11
ERROR_CUT_SHORT = 12
ERROR_SEEK = 13
ERROR_FAILED = 14

FLAG_OPEN = 1
FLAG_READ_ONLY = 2
FLAG_REMOTE = 4
FLAG_LENGTH_UNKNOWN = 8

_Handle = ctypes.c_void_p
_Text = ctypes.c_char_p
# Texts the library allocates come back as plain addresses, so that they can be freed.
_OwnedText = ctypes.c_void_p

_PROTOTYPES = {
    "ZUReaderFromLocation": (_Handle, [_Text]),
    "ZUReaderBuffered": (_Handle, [_Handle]),
    "ZUReaderSetOption": (ctypes.c_int32, [_Handle, _Text, _Text]),
    "ZUReaderSetTimeout": (ctypes.c_int32, [_Handle, ctypes.c_uint32]),
    "ZUReaderSetPostData": (ctypes.c_int32, [_Handle, ctypes.c_void_p, ctypes.c_uint32]),
    "ZUReaderOpen": (ctypes.c_int32, [_Handle]),
    "ZUReaderCreate": (ctypes.c_int32, [_Handle]),
    "ZUReaderRead": (ctypes.c_int64, [_Handle, ctypes.c_void_p, ctypes.c_size_t]),
    "ZUReaderWrite": (ctypes.c_int64, [_Handle, ctypes.c_void_p, ctypes.c_size_t]),
    "ZUReaderSeek": (ctypes.c_int64, [_Handle, ctypes.c_int64, ctypes.c_int32]),
    "ZUReaderGetPosition": (ctypes.c_int64, [_Handle]),
    "ZUReaderGetLength": (ctypes.c_int64, [_Handle]),
    "ZUReaderGetFlags": (ctypes.c_uint32, [_Handle]),
    "ZUReaderGetInfo": (_OwnedText, [_Handle, _Text]),
    "ZUReaderClose": (ctypes.c_int32, [_Handle]),
    "ZUReaderDestroy": (None, [_Handle]),
    "ZUReaderFreeString": (None, [ctypes.c_void_p]),
    "ZUReaderGetLastError": (ctypes.c_int32, [ctypes.POINTER(ctypes.c_int32), ctypes.POINTER(ctypes.c_char_p)]),
    "ZUReaderEnableIcyMetadata": (ctypes.c_int32, [_Handle]),
    "ZUReaderGetStreamTitle": (_OwnedText, [_Handle]),
    "ZUReaderGetStreamTitleAtReadPosition": (_OwnedText, [_Handle, ctypes.POINTER(ctypes.c_uint32)]),
}


def _candidates():
    named = os.environ.get("ZUREADER_LIBRARY")
    if named:
        return [named]
    if sys.platform == "win32":
        return ["ZUReader.dll"]
    found = ctypes.util.find_library("zureader")
    return ([found] if found else []) + ["libzureader.so.1", "libzureader.so"]


def _load():
    errors = []
    for name in _candidates():
        try:
            library = ctypes.CDLL(name)
        except OSError as error:
            errors.append(f"{name}: {error}")
            continue
        for function, (restype, argtypes) in _PROTOTYPES.items():
            getattr(library, function).restype = restype
            getattr(library, function).argtypes = argtypes
        return library
    raise ImportError("cannot load the ZUReader library (set ZUREADER_LIBRARY to its path): " + "; ".join(errors))


lib = _load()


def take_text(address):
    """The UTF-8 text at address as str, freed; None for a null address."""
    if not address:
        return None
    try:
        return ctypes.string_at(address).decode("utf-8")
    finally:
        lib.ZUReaderFreeString(address)


def last_error():
    """(kind, status, message) of the calling thread's last call."""
    status = ctypes.c_int32()
    message = ctypes.c_char_p()
    kind = lib.ZUReaderGetLastError(ctypes.byref(status), ctypes.byref(message))
    return kind, status.value, (message.value or b"").decode("utf-8", "replace")
