"""ReaderFile: one reader as a raw binary file object."""
import ctypes
import io
import threading

from . import _errors, _native

_lib = _native.lib


class ReaderFile(io.RawIOBase):
    """A reader of the library as an io.RawIOBase: readinto, read, write, seek, tell, close and the
    rest of the file protocol, so that io.BufferedReader, io.TextIOWrapper and libraries that take
    a file object work with it. Made by zureader.open."""

    def __init__(self, handle, name, mode):
        super().__init__()
        self._handle = handle
        self.name = name
        self.mode = mode
        # A close from another thread must not free the reader under a read or write in flight:
        # it ends the transfer, and the last call to return frees the reader.
        self._guard = threading.Lock()
        self._calls = 0
        self._closing = False

    # --- the file protocol ------------------------------------------------------------------

    def readable(self):
        self._check_open()
        return "r" in self.mode or "+" in self.mode

    def writable(self):
        self._check_open()
        return "w" in self.mode or "+" in self.mode

    def seekable(self):
        return not self._flags() & _native.FLAG_LENGTH_UNKNOWN

    def readinto(self, buffer):
        self._check_open()
        view = memoryview(buffer).cast("B")
        if view.readonly:
            raise TypeError("readinto needs a writable buffer")
        if not view.nbytes:
            return 0
        address = ctypes.addressof(ctypes.c_char.from_buffer(view))
        count = self._call(_lib.ZUReaderRead, address, view.nbytes)
        if count < 0:
            raise _errors.last_error()
        return count

    def readall(self):
        # One request for what is left when the length is known, instead of the small pieces the
        # base class asks for.
        remaining = self.length - self.tell() if self.length >= 0 and self.tell() >= 0 else -1
        if remaining <= 0:
            return super().readall() or b""
        buffer = bytearray(remaining)
        count = self.readinto(buffer)
        del buffer[count:]
        rest = super().readall() if count == remaining else b""
        return bytes(buffer) + (rest or b"")

    def write(self, data):
        self._check_open()
        view = memoryview(data).cast("B")
        if not view.nbytes:
            return 0
        # ctypes takes the address of a writable buffer only; a read-only one (bytes) is passed
        # as the bytes object itself.
        source = ctypes.c_char_p(bytes(view)) if view.readonly else ctypes.addressof(ctypes.c_char.from_buffer(view))
        count = self._call(_lib.ZUReaderWrite, source, view.nbytes)
        if count < 0:
            raise _errors.last_error()
        return count

    def seek(self, offset, whence=io.SEEK_SET):
        self._check_open()
        if whence not in (io.SEEK_SET, io.SEEK_CUR, io.SEEK_END):
            raise ValueError(f"invalid whence ({whence})")
        position = _lib.ZUReaderSeek(self._handle, offset, whence)
        if position < 0:
            raise _errors.last_error()
        return position

    def tell(self):
        self._check_open()
        position = _lib.ZUReaderGetPosition(self._handle)
        if position < 0:
            raise io.UnsupportedOperation("the position of this source is not known")
        return position

    def close(self):
        # Safe to call again, and from the finaliser of an object whose open failed half-way.
        guard = getattr(self, "_guard", None)
        if guard is None:
            handle, self._handle, busy = getattr(self, "_handle", None), None, False
        else:
            with guard:
                handle, busy = self._handle, self._calls > 0
                if busy:
                    self._closing = True
                else:
                    self._handle = None
        if handle and busy:
            _lib.ZUReaderClose(handle)  # ends the transfer the other thread waits on
        elif handle:
            _lib.ZUReaderDestroy(handle)
        super().close()

    def _call(self, function, *arguments):
        """function(handle, *arguments), with the reader kept from being freed under it."""
        handle = self._enter()
        try:
            return function(handle, *arguments)
        finally:
            self._leave()

    def _enter(self):
        with self._guard:
            if not self._handle or self._closing:
                raise ValueError("I/O operation on closed file.")
            self._calls += 1
            return self._handle

    def _leave(self):
        with self._guard:
            self._calls -= 1
            handle = self._handle if self._closing and self._calls == 0 else None
            if handle:
                self._handle = None
        if handle:
            _lib.ZUReaderDestroy(handle)

    # --- what the library adds ------------------------------------------------------------------

    @property
    def length(self):
        """The source's length in bytes, -1 when not known (a live stream)."""
        self._check_open()
        return _lib.ZUReaderGetLength(self._handle)

    def info(self, name):
        """A property of the reader ("StatusCode", "StatusText", "ContentType", a response header,
        ...) as text, empty when unknown."""
        self._check_open()
        text = _native.take_text(_lib.ZUReaderGetInfo(self._handle, name.encode("utf-8")))
        if text is None:
            raise _errors.last_error()
        return text

    @property
    def stream_title(self):
        """An Internet radio's title of the audio the next read delivers (the station's name until
        a title comes); None unless opened with buffered=True."""
        self._check_open()
        return _native.take_text(_lib.ZUReaderGetStreamTitleAtReadPosition(self._handle, None))

    def _flags(self):
        self._check_open()
        return _lib.ZUReaderGetFlags(self._handle)

    def _check_open(self):
        # A reader being closed under a call in another thread takes no new calls either.
        if not self._handle or getattr(self, "_closing", False):
            raise ValueError("I/O operation on closed file.")
