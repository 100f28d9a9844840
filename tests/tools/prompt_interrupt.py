"""The terminal credential prompt under an interrupt: runs zureader on a pseudo-terminal of its own
against a page behind Basic authentication, answers the user name, starts typing the password and
presses Ctrl-C. Checks that the password is not echoed while it is typed and that the terminal
echoes again once the program has reacted: killed by the interrupt ("killed", as cat is), or
giving the prompt up and exiting with STATUS (as radio does, which catches interrupts).

Usage: prompt_interrupt.py ZUREADER COMMAND URL USER killed|STATUS
Prints one line per failed check; exits 0 when all hold. Every wait is bounded."""
import fcntl
import os
import select
import signal
import subprocess
import sys
import termios
import time

WAIT_SECONDS = 60
TYPED = "half-a-passw"


def echoes(fd):
    return bool(termios.tcgetattr(fd)[3] & termios.ECHO)


def read_until(master, marker, seen):
    """Reads the program's terminal output until marker appears; False when it does not in time."""
    deadline = time.monotonic() + WAIT_SECONDS
    while marker not in seen:
        left = deadline - time.monotonic()
        if left <= 0 or not select.select([master], [], [], left)[0]:
            return False
        try:
            chunk = os.read(master, 4096)
        except OSError:
            return False
        if not chunk:
            return False
        seen += chunk
    return True


def drain(master, seen):
    """Takes what the program wrote before it ended (the terminal stays open on this side)."""
    while select.select([master], [], [], 0.2)[0]:
        try:
            chunk = os.read(master, 4096)
        except OSError:
            return
        if not chunk:
            return
        seen += chunk


def wait_for(condition):
    deadline = time.monotonic() + WAIT_SECONDS
    while not condition():
        if time.monotonic() > deadline:
            return False
        time.sleep(0.02)
    return True


def main():
    cli, command, url, user, expected = sys.argv[1:6]
    master, slave = os.openpty()

    def take_terminal():
        os.setsid()
        fcntl.ioctl(0, termios.TIOCSCTTY, 0)

    program = subprocess.Popen([cli, command, url], stdin=slave, stdout=slave, stderr=slave,
                               preexec_fn=take_terminal, close_fds=True)
    failures = []

    def check(holds, what):
        if not holds:
            failures.append(what)
        return holds

    seen = bytearray()
    try:
        if check(read_until(master, b"User for ", seen), "the prompt asks for a user"):
            os.write(master, (user + "\n").encode())
        if check(read_until(master, b"Password: ", seen), "the prompt asks for the password"):
            check(wait_for(lambda: not echoes(slave)), "echo goes off for the password")
            shown = len(seen)
            os.write(master, TYPED.encode())
            time.sleep(0.3)
            os.write(master, b"\x03")
            try:
                status = program.wait(WAIT_SECONDS)
            except subprocess.TimeoutExpired:
                status = None
            drain(master, seen)
            check(TYPED.encode() not in bytes(seen[shown:]), "the password is not echoed")
            want = -signal.SIGINT if expected == "killed" else int(expected)
            check(status == want, f"{command} ends with {want} on an interrupt, not {status}")
        check(echoes(slave), "echo is back on after the interrupt")
    finally:
        if program.poll() is None:
            program.kill()
            program.wait()
    for failure in failures:
        print(f"FAILED: {failure}")
    if failures:
        print("terminal output: " + bytes(seen).decode("utf-8", "replace"))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
