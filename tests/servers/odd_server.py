"""An HTTP server for the behaviours no ordinary server shows on demand: stalls, dropped
connections, a refused HEAD, lying lengths, endless redirects, a radio stream. It records every
request it receives so that tests can check what a client really sent.

Standard library only; run with Debian's /usr/bin/python3:
    odd_server.py --port N --requests FILE --log FILE --user U --password P
"""
import argparse
import base64
import http.server
import json
import logging
import mmap
import os
import socketserver
import sys
import threading
import time
import urllib.parse

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from pattern import pattern_bytes  # noqa: E402

# Seed of the bytes behind /drop, /integrity, /status and /stall, distinct from the static files'.
BODY_SEED = 3
INTERNAL_PATHS = ("/__requests", "/__reset")


class RequestRecord:
    """Every request received, in memory for /__requests and as JSON lines in a file that tests
    can read without a client of their own."""

    def __init__(self, path):
        self.path = path
        self.lock = threading.Lock()
        self.entries = []
        open(path, "w").close()

    def add(self, entry):
        line = json.dumps(entry, ensure_ascii=True, separators=(",", ":"))
        with self.lock:
            self.entries.append(entry)
            with open(self.path, "a") as out:
                out.write(line + "\n")

    def snapshot(self):
        with self.lock:
            return list(self.entries)

    def clear(self):
        with self.lock:
            self.entries = []
            open(self.path, "w").close()


class _LineTee:
    """The lines read through it, kept."""

    def __init__(self, source):
        self.source = source
        self.lines = []

    def readline(self, *args):
        line = self.source.readline(*args)
        self.lines.append(line)
        return line

    def __getattr__(self, name):
        return getattr(self.source, name)


class OddHandler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    server_version = "ZUOdd/1.0"

    # --- plumbing -------------------------------------------------------------------------

    def log_message(self, fmt, *args):
        logging.info("%s %s", self.client_address[0], fmt % args)

    def parse_request(self):
        # Keeps the head's bytes exactly as they came, line breaks included, beside the parsed
        # headers: a line a client should never have sent shows here even where parsing hides it.
        tee = _LineTee(self.rfile)
        self.rfile = tee
        try:
            return super().parse_request()
        finally:
            self.rfile = tee.source
            self.raw_head = self.raw_requestline + b"".join(tee.lines)

    def handle_any(self):
        parts = urllib.parse.urlsplit(self.path)
        self.query = dict(urllib.parse.parse_qsl(parts.query))
        self.body = self.read_body()
        if parts.path not in INTERNAL_PATHS:
            self.server.record.add({
                "method": self.command,
                "path": self.path,
                "headers": [[name, value] for name, value in self.headers.items()],
                "raw_head": self.raw_head.decode("latin-1"),
                "body_length": len(self.body),
            })
        handler = ROUTES.get(parts.path, OddHandler.not_found)
        handler(self)

    do_GET = do_HEAD = do_POST = do_PUT = do_DELETE = do_OPTIONS = handle_any

    def read_body(self):
        if self.headers.get("Transfer-Encoding", "").lower() == "chunked":
            return self.read_chunked_body()
        length = int(self.headers.get("Content-Length", "0") or "0")
        return self.rfile.read(length) if length > 0 else b""

    def read_chunked_body(self):
        body = bytearray()
        while True:
            size = int(self.rfile.readline().split(b";")[0].strip() or b"0", 16)
            if size == 0:
                while self.rfile.readline() not in (b"\r\n", b"\n", b""):
                    pass
                return bytes(body)
            body += self.rfile.read(size)
            self.rfile.readline()

    def number(self, name, default):
        try:
            return int(self.query.get(name, default))
        except ValueError:
            return default

    def send_head(self, code, headers, length=None, close=False):
        self.send_response(code)
        for name, value in headers:
            self.send_header(name, value)
        if length is not None:
            self.send_header("Content-Length", str(length))
        if close:
            self.send_header("Connection", "close")
            self.close_connection = True
        self.end_headers()

    def send_body(self, code, body, content_type="application/octet-stream", headers=()):
        self.send_head(code, [("Content-Type", content_type)] + list(headers), len(body))
        if self.command != "HEAD":
            self.wfile.write(body)

    # --- behaviours -----------------------------------------------------------------------

    def not_found(self):
        self.send_body(404, b"not found\n", "text/plain")

    def stall(self):
        # Stalls for ms milliseconds, either before anything at all or, with head=1, after the
        # headers, then sends a short body.
        delay = self.number("ms", 5000) / 1000.0
        body = pattern_bytes(self.number("length", 16), BODY_SEED)
        if self.query.get("head") == "1":
            self.send_head(200, [("Content-Type", "application/octet-stream")], len(body))
            self.wfile.flush()
            time.sleep(delay)
        else:
            time.sleep(delay)
            self.send_head(200, [("Content-Type", "application/octet-stream")], len(body))
        if self.command != "HEAD":
            self.wfile.write(body)

    def drop(self):
        # Promises length bytes, sends the first half and closes.
        length = self.number("length", 1000)
        self.send_head(200, [("Content-Type", "application/octet-stream")], length, close=True)
        if self.command != "HEAD":
            self.wfile.write(pattern_bytes(length, BODY_SEED)[: length // 2])
            self.wfile.flush()

    def no_head(self):
        if self.command == "HEAD":
            self.send_body(501, b"", "text/plain")
        else:
            self.send_body(200, b"GET after all\n", "text/plain")

    def integrity(self):
        # An advertised length of 0; the real length rides in a header of its own. The body is
        # delimited by closing the connection.
        length = self.number("n", 1000)
        self.send_head(200, [("Content-Type", "audio/mpeg"),
                             ("X-MusicNet-IntegrityCheck", str(length))], 0, close=True)
        if self.command != "HEAD":
            self.wfile.write(pattern_bytes(length, BODY_SEED))
            self.wfile.flush()

    def loop(self):
        location = "http://127.0.0.1:%d/loop" % self.server.server_address[1]
        self.send_body(302, b"", "text/plain", [("Location", location)])

    def auth(self):
        expected = "Basic " + base64.b64encode(
            ("%s:%s" % (self.server.user, self.server.password)).encode()).decode()
        if self.headers.get("Authorization") == expected:
            self.send_body(200, b"welcome\n", "text/plain")
        else:
            self.send_body(401, b"who are you?\n", "text/plain",
                           [("WWW-Authenticate", 'Basic realm="ZUReader odd"')])

    def echo(self):
        # The request as the server understood it: request line, headers in order, body.
        head = self.requestline + "\r\n" + "".join(
            "%s: %s\r\n" % (name, value) for name, value in self.headers.items()) + "\r\n"
        self.send_body(200, head.encode("latin-1") + self.body, "text/plain")

    def status(self):
        # Any status code with a pattern body, whatever the request asked for (a Range included).
        code = self.number("code", 200)
        length = self.number("length", 100)
        if self.command == "HEAD":
            # Only the length: a HEAD may announce more than a test would want made.
            self.send_head(code, [("Content-Type", "application/octet-stream")], length)
            return
        self.send_body(code, pattern_bytes(length, BODY_SEED))

    def icy(self):
        # A radio stream: metaint audio bytes, then a metadata block, over and over; a title
        # block every other time, an empty block (a single 0 byte) in between.
        metaint = self.number("metaint", 8192)
        blocks = self.number("blocks", 16)
        with_metadata = self.headers.get("Icy-MetaData") == "1"
        headers = [("Content-Type", "audio/mpeg"), ("icy-name", "ZUReader test radio")]
        if with_metadata:
            headers.append(("icy-metaint", str(metaint)))
        self.send_head(200, headers, close=True)
        if self.command == "HEAD":
            return
        audio = pattern_bytes(metaint, BODY_SEED)
        for index in range(blocks):
            self.wfile.write(audio)
            if with_metadata:
                self.wfile.write(metadata_block(index))
        self.wfile.flush()

    def radio(self):
        # A radio stream whose audio is PatternBytes(metaint * blocks + tail, 3), cut into
        # intervals with the metadata blocks of radio_block between them. With inline=1 the
        # station's ICY header rides at the head of the body instead of in the HTTP header. With
        # pause=MS each block is sent in two halves MS apart (so it straddles the client's reads)
        # and the stream pauses MS after it, long enough for a client to see every title.
        metaint = max(self.number("metaint", 16000), 1)
        blocks = self.number("blocks", 8)
        tail = self.number("tail", 0)
        pause = self.number("pause", 0) / 1000.0
        inline = self.query.get("inline") == "1"
        with_metadata = inline or self.headers.get("Icy-MetaData") == "1"
        headers = [("Content-Type", "audio/mpeg")]
        if not inline:
            headers.append(("icy-name", RADIO_NAME))
            if with_metadata:
                headers.append(("icy-metaint", str(metaint)))
        self.send_head(200, headers, close=True)
        if self.command == "HEAD":
            return
        if inline:
            self.wfile.write(("ICY 200 OK\r\nicy-name:%s\r\nicy-metaint:%d\r\n\r\n"
                              % (RADIO_NAME, metaint)).encode())
        audio = pattern_bytes(metaint * blocks + tail, BODY_SEED)
        for index in range(blocks):
            self.wfile.write(audio[index * metaint:(index + 1) * metaint])
            if with_metadata:
                block = radio_block(index)
                half = (len(block) + 1) // 2
                self.wfile.write(block[:half])
                if pause:
                    self.wfile.flush()
                    time.sleep(pause)
                self.wfile.write(block[half:])
            if pause:
                self.wfile.flush()
                time.sleep(pause)
        self.wfile.write(audio[metaint * blocks:])
        self.wfile.flush()

    def file(self):
        """A file of the servers' content (name=) or pattern bytes (pattern=N), served with Range
        unless ranges=0 (then always 200 and the whole body, as servers that ignore Range do),
        with Content-Length unless length=0 (then delimited by closing the connection), cut
        after cut=N bytes of a response (on every connection, or with cut_first=1 only on the
        first request of its tag=), pausing pause_ms before the byte at offset pause_at."""
        body = self.file_body()
        if body is None:
            return self.not_found()
        total = len(body)
        first, last = 0, total - 1
        wanted = self.headers.get("Range", "")
        status, headers = 200, [("Content-Type", "application/octet-stream"), ("Accept-Ranges", "bytes")]
        if wanted.startswith("bytes=") and self.query.get("ranges") != "0":
            start, _, end = wanted[6:].partition("-")
            first = int(start)
            last = min(int(end), total - 1) if end else total - 1
            if first >= total:
                return self.send_head(416, [("Content-Range", "bytes */%d" % total)], 0)
            status = 206
            size = total if self.query.get("length") != "0" else "*"
            headers.append(("Content-Range", "bytes %d-%d/%s" % (first, last, size)))
        known = self.query.get("length") != "0"
        self.send_head(status, headers, last - first + 1 if known else None, close=not known)
        if self.command == "HEAD":
            return
        budget = last - first + 1
        cut = self.number("cut", 0)
        if cut > 0 and (self.query.get("cut_first") != "1" or self.server.first_of_tag(self.query.get("tag", ""))):
            budget = min(budget, cut)
        self.send_slice(body, first, first + budget)
        if budget < last - first + 1:
            self.close_connection = True

    def file_body(self):
        name = self.query.get("name")
        if name:
            path = os.path.join(self.server.files, os.path.basename(name))
            return self.server.mapped(path) if os.path.isfile(path) else None
        return pattern_bytes(self.number("pattern", 1000), BODY_SEED)

    def send_slice(self, body, begin, end):
        pause_at, pause_ms = self.number("pause_at", -1), self.number("pause_ms", 0)
        view = memoryview(body)
        position = begin
        while position < end:
            stop = min(end, position + (1 << 20))
            if begin <= pause_at < end and position <= pause_at < stop:
                if position < pause_at:
                    self.wfile.write(view[position:pause_at])
                self.wfile.flush()
                time.sleep(pause_ms / 1000.0)
                position = pause_at
                pause_at = -1
                continue
            self.wfile.write(view[position:stop])
            position = stop
        self.wfile.flush()

    def requests(self):
        body = json.dumps(self.server.record.snapshot(), ensure_ascii=True).encode()
        self.send_body(200, body, "application/json")

    def reset(self):
        self.server.record.clear()
        self.send_body(200, b"reset\n", "text/plain")


def metadata_block(index):
    if index % 2 == 1:
        return b"\0"
    text = ("StreamTitle='Title %d';" % (index // 2)).encode()
    blocks = (len(text) + 15) // 16
    return bytes([blocks]) + text.ljust(blocks * 16, b"\0")


RADIO_NAME = "ZUReader odd radio"


def radio_block(index):
    """Block k of /radio: by turns a plain title, an empty block, a title with quotes inside and
    a block without a title (which leaves the title as it was)."""
    kind = index % 4
    if kind == 1:
        return b"\0"
    if kind == 0:
        text = "StreamTitle='Title %d';" % index
    elif kind == 2:
        text = "StreamTitle='Rock 'n' Roll \"%d\"';StreamUrl='http://127.0.0.1/';" % index
    else:
        text = "StreamUrl='http://127.0.0.1/%d';" % index
    data = text.encode()
    size = (len(data) + 15) // 16
    return bytes([size]) + data.ljust(size * 16, b"\0")


ROUTES = {
    "/stall": OddHandler.stall,
    "/drop": OddHandler.drop,
    "/no-head": OddHandler.no_head,
    "/integrity": OddHandler.integrity,
    "/loop": OddHandler.loop,
    "/auth": OddHandler.auth,
    "/echo": OddHandler.echo,
    "/status": OddHandler.status,
    "/icy": OddHandler.icy,
    "/radio": OddHandler.radio,
    "/file": OddHandler.file,
    "/__requests": OddHandler.requests,
    "/__reset": OddHandler.reset,
}


class OddServer(socketserver.ThreadingMixIn, http.server.HTTPServer):
    daemon_threads = True
    allow_reuse_address = True

    def first_of_tag(self, tag):
        with self.lock:
            first = tag not in self.tags_seen
            self.tags_seen.add(tag)
            return first

    def mapped(self, path):
        with self.lock:
            if path not in self.maps:
                with open(path, "rb") as source:
                    self.maps[path] = mmap.mmap(source.fileno(), 0, access=mmap.ACCESS_READ)
            return self.maps[path]

    def handle_error(self, request, client_address):
        # Clients hanging up in the middle of a stall or a stream are part of the tests.
        logging.info("connection from %s ended: %r", client_address[0], sys.exc_info()[1])


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--port", type=int, required=True)
    parser.add_argument("--requests", required=True)
    parser.add_argument("--log", required=True)
    parser.add_argument("--user", required=True)
    parser.add_argument("--password", required=True)
    parser.add_argument("--files", required=True)
    options = parser.parse_args()
    logging.basicConfig(filename=options.log, level=logging.INFO,
                        format="%(asctime)s %(message)s")
    server = OddServer(("127.0.0.1", options.port), OddHandler)
    server.record = RequestRecord(options.requests)
    server.user, server.password = options.user, options.password
    server.files, server.lock, server.tags_seen, server.maps = options.files, threading.Lock(), set(), {}
    logging.info("listening on 127.0.0.1:%d", options.port)
    server.serve_forever()


if __name__ == "__main__":
    main()
