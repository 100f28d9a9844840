"""The library's failures as OSError subclasses, so that callers catch them the way they catch the
built-in file and socket errors."""
import errno

from . import _native


class ZUReaderError(OSError):
    """A failure the library reported: kind (a ZUREADER_ERROR_* number), status (a network source's
    status: a server's, 408 when the reader gave up waiting, -1 for a failed transfer, else 0)."""

    def __init__(self, code, message, kind=_native.ERROR_FAILED, status=0):
        super().__init__(code, message)
        self.kind = kind
        self.status = status


class NotFoundError(ZUReaderError, FileNotFoundError):
    pass


class AccessDeniedError(ZUReaderError, PermissionError):
    pass


class ConnectionFailedError(ZUReaderError, ConnectionRefusedError):
    pass


class TimedOutError(ZUReaderError, TimeoutError):
    pass


class CutShortError(ZUReaderError, ConnectionAbortedError):
    pass


_BY_KIND = {
    _native.ERROR_NOT_FOUND: (NotFoundError, errno.ENOENT),
    _native.ERROR_ACCESS_DENIED: (AccessDeniedError, errno.EACCES),
    _native.ERROR_NO_CONNECTION: (ConnectionFailedError, errno.ECONNREFUSED),
    _native.ERROR_TIMED_OUT: (TimedOutError, errno.ETIMEDOUT),
    _native.ERROR_CUT_SHORT: (CutShortError, errno.ECONNABORTED),
    _native.ERROR_INVALID_ARGUMENT: (ZUReaderError, errno.EINVAL),
    _native.ERROR_NO_MEMORY: (ZUReaderError, errno.ENOMEM),
    _native.ERROR_UNSUPPORTED: (ZUReaderError, errno.EOPNOTSUPP),
    _native.ERROR_BAD_URL: (ZUReaderError, errno.EINVAL),
    _native.ERROR_SEEK: (ZUReaderError, errno.EINVAL),
}


def last_error():
    """The calling thread's last failure as an exception to raise."""
    kind, status, message = _native.last_error()
    cls, code = _BY_KIND.get(kind, (ZUReaderError, errno.EIO))
    return cls(code, message or "the library reported a failure without a message", kind, status)
