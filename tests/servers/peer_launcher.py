"""Starts native peer programs for a test program that cannot start them itself: a Windows test
program under Wine starts a native program detached, at times not at all, and never learns its
exit status. The test connects over TCP on 127.0.0.1 and sends one line: the time limit in
seconds, then the program and its arguments, separated by the byte 0x1F. The launcher answers
"started" once the program runs (or "failed"), then its exit status as a number when it ends
(137 when the limit or a request killed it). The test sends "kill" to end the program early; the
limit (at most 120 s) ends it in any case, so a peer never outlives its test for long.

Usage: peer_launcher.py --port PORT
"""
import argparse
import os
import select
import signal
import socket
import socketserver
import subprocess
import time

SEPARATOR = "\x1f"
MAX_LIMIT = 120


class Launch(socketserver.StreamRequestHandler):
    def handle(self):
        line = self.rfile.readline().decode("utf-8").rstrip("\n")
        fields = line.split(SEPARATOR)
        try:
            limit = min(int(fields[0]), MAX_LIMIT)
            process = subprocess.Popen(fields[1:], stdin=subprocess.DEVNULL, start_new_session=True)
        except (ValueError, IndexError, OSError):
            self.wfile.write(b"failed\n")
            return
        self.wfile.write(b"started\n")
        self.wfile.flush()
        end = time.monotonic() + limit
        listening = True
        while process.poll() is None:
            readable, _, _ = select.select([self.connection] if listening else [], [], [], 0.02)
            # A half-close is not a request to stop: only "kill" is.
            request = self.connection.recv(16) if readable else b""
            listening = listening and not (readable and not request)
            if request.startswith(b"kill") or time.monotonic() > end:
                os.killpg(process.pid, signal.SIGKILL)
                process.wait()
        status = process.returncode
        self.wfile.write(b"%d\n" % (status if status >= 0 else 128 - status))


class Server(socketserver.ThreadingTCPServer):
    allow_reuse_address = True
    daemon_threads = True


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--port", type=int, required=True)
    args = parser.parse_args()
    with Server(("127.0.0.1", args.port), Launch) as server:
        server.serve_forever()


if __name__ == "__main__":
    main()
