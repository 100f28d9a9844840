"""Every source the ZUReader library reads (local files, HTTP, HTTPS and FTP, Internet radio) as a
Python file object, through the library's plain C interface.

    import zureader
    with zureader.open("http://example.org/a.mp3") as f:
        head = f.read(10)
"""
import os

from . import _errors, _native
from ._errors import (AccessDeniedError, ConnectionFailedError, CutShortError, NotFoundError, TimedOutError,
                      ZUReaderError)
from ._file import ReaderFile

__all__ = ["open", "ReaderFile", "ZUReaderError", "NotFoundError", "AccessDeniedError", "ConnectionFailedError",
           "TimedOutError", "CutShortError"]

_lib = _native.lib
_MODES = {"rb": "rb", "br": "rb", "r+b": "r+b", "rb+": "r+b", "wb": "wb", "w+b": "w+b", "wb+": "w+b"}


def open(location, mode="rb", buffered=False, options=None, timeout_ms=None):  # noqa: A001 (the file idiom)
    """Opens a local path or a URL (http, https, ftp) as a ReaderFile, a raw binary file object.

    mode: "rb" (read-only), "r+b" (read and write an existing local file), "wb" or "w+b" (make a
    local file anew). buffered: read through the library's read-ahead reader, which also strips an
    Internet radio's metadata out of the audio and keeps its titles (ReaderFile.stream_title).
    options: reader options, such as {"USER_AGENT": "...", "RANGE_START": 100}. timeout_ms: how
    long a network source may take to connect and to answer (the library's default otherwise).
    Failures raise OSError subclasses (ZUReaderError; FileNotFoundError for a missing file or a
    404, ConnectionRefusedError, TimeoutError, PermissionError) whose message carries the status."""
    if mode not in _MODES:
        raise ValueError(f"invalid mode: {mode!r} (binary modes only: rb, r+b, wb, w+b)")
    mode = _MODES[mode]
    name = os.fspath(location)
    if isinstance(name, bytes):
        name = os.fsdecode(name)
    handle = _lib.ZUReaderFromLocation(name.encode("utf-8"))
    if not handle:
        raise _errors.last_error()
    try:
        handle = _configure(handle, mode, buffered, options, timeout_ms)
        opened = _lib.ZUReaderCreate(handle) if mode.startswith("w") else _lib.ZUReaderOpen(handle)
        if opened != _native.OK:
            raise _errors.last_error()
    except BaseException:
        _lib.ZUReaderDestroy(handle)
        raise
    return ReaderFile(handle, name, mode)


def _configure(handle, mode, buffered, options, timeout_ms):
    settings = dict(options or {})
    if mode == "rb":
        settings.setdefault("READ_ONLY", "1")
    for key, value in settings.items():
        if _lib.ZUReaderSetOption(handle, str(key).encode("utf-8"), str(value).encode("utf-8")) != _native.OK:
            raise _errors.last_error()
    if timeout_ms is not None:
        _lib.ZUReaderSetTimeout(handle, int(timeout_ms))
    if not buffered:
        return handle
    # The read-ahead reader takes the handle over, also when it cannot be made.
    wrapped = _lib.ZUReaderBuffered(handle)
    if not wrapped:
        raise _errors.last_error()
    _lib.ZUReaderEnableIcyMetadata(wrapped)
    return wrapped
