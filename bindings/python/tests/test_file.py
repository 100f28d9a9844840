"""zureader.open as a Python file object, against the loopback servers and local files."""
import base64
import io
import os
import random
import threading
import time
import urllib.parse
import urllib.request

import pytest

import zureader


def test_random_seeks_are_byte_exact(servers):
    local = os.path.join(servers["NGINX_ROOT"], "pattern.bin")
    with open(local, "rb") as file:
        expected = file.read()
    assert len(expected) == int(servers["PATTERN_SIZE"])
    rng = random.Random(18)
    for location in (servers["http"] + "/pattern.bin", local):
        with zureader.open(location, timeout_ms=10000) as f:
            assert f.readable() and f.seekable() and not f.writable()
            assert f.length == len(expected)
            for _ in range(60):
                whence = rng.choice((io.SEEK_SET, io.SEEK_CUR, io.SEEK_END))
                target = rng.randrange(len(expected) + 1)
                offset = {io.SEEK_SET: target, io.SEEK_CUR: target - f.tell(), io.SEEK_END: target - len(expected)}
                assert f.seek(offset[whence], whence) == target
                size = rng.randrange(1, 200000)
                assert f.read(size) == expected[target:target + size], (location, target, size)
                assert f.tell() == min(target + size, len(expected))
            f.seek(0)
            assert f.read() == expected
            assert f.read(10) == b""


def test_failures_raise_oserror_subclasses_with_the_status(servers, tmp_path):
    with pytest.raises(FileNotFoundError) as missing:
        zureader.open(servers["http"] + "/no/such/file.mp3", timeout_ms=10000)
    assert "404" in str(missing.value) and missing.value.status == 404
    assert isinstance(missing.value, zureader.ZUReaderError)

    # Nothing listens on port 1 of the loopback.
    with pytest.raises(ConnectionRefusedError) as refused:
        zureader.open("http://127.0.0.1:1/a.mp3", timeout_ms=10000)
    assert "status -1" in str(refused.value) and "127.0.0.1:1" in str(refused.value)

    with pytest.raises(TimeoutError) as waited:
        zureader.open(f"http://127.0.0.1:{servers['ODD_HTTP']}/stall?ms=3000&length=16&py=1", timeout_ms=500)
    assert "408" in str(waited.value)

    with pytest.raises(FileNotFoundError):
        zureader.open(tmp_path / "absent.bin")
    with pytest.raises(ValueError):
        zureader.open(tmp_path / "a.txt", mode="r")


def test_a_body_cut_short_raises_after_its_bytes(servers):
    with zureader.open(f"http://127.0.0.1:{servers['ODD_HTTP']}/drop?length=20000&py=2", timeout_ms=10000) as f:
        buffer = bytearray(40000)
        assert f.readinto(buffer) == 10000
        with pytest.raises(ConnectionAbortedError, match="10000 of the 20000"):
            f.readinto(buffer)


def test_closing_twice_is_harmless(servers):
    f = zureader.open(servers["http"] + "/hello.txt")
    with f:
        assert f.read() == b"Hello from the root.\n"
    assert f.closed
    f.close()
    with pytest.raises(ValueError):
        f.read(1)
    with pytest.raises(ValueError):
        f.info("StatusCode")


def test_buffered_reader_and_text_wrapper(servers, tmp_path):
    lines = [f"line {n}: na\u00efve caf\u00e9 \u2603\n" for n in range(5000)]
    name = "lines-%d.txt" % os.getpid()
    with open(os.path.join(servers["NGINX_ROOT"], name), "w", encoding="utf-8") as file:
        file.writelines(lines)
    raw = zureader.open(servers["http"] + "/" + name)
    with io.TextIOWrapper(io.BufferedReader(raw, buffer_size=4096), encoding="utf-8") as text:
        assert text.readline() == lines[0]
        assert list(text) == lines[1:]
    assert raw.closed

    with io.BufferedReader(zureader.open(servers["http"] + "/pattern.bin")) as buffered:
        head = buffered.peek(100)[:100]
        assert buffered.read(100) == head
        buffered.seek(-10, io.SEEK_END)
        assert len(buffered.read()) == 10


def test_write_then_read_a_local_file(tmp_path):
    path = tmp_path / "written \u00fc.bin"
    data = os.urandom(300000)
    with zureader.open(path, "wb") as f:
        assert f.writable()
        assert f.write(data) == len(data)
        assert f.write(memoryview(bytearray(b"tail"))) == 4
    with zureader.open(path, "r+b") as f:
        f.seek(100)
        f.write(b"XY")
    with zureader.open(path) as f:
        assert f.read() == data[:100] + b"XY" + data[102:] + b"tail"
        with pytest.raises(OSError):
            f.write(b"no")


def test_info_and_the_radio_title(servers):
    with zureader.open(servers["http"] + "/hello.txt") as f:
        assert f.info("StatusCode") == "200"
        assert f.info("ContentType") == "text/plain"
        assert f.stream_title is None

    odd = f"http://127.0.0.1:{servers['ODD_HTTP']}/radio?metaint=1000&blocks=6&py=3"
    with zureader.open(odd, buffered=True, timeout_ms=10000) as radio:
        assert radio.read(1500) and radio.stream_title == "Title 0"
        radio.read(2000)
        assert radio.stream_title == "Rock 'n' Roll \"2\""

    # The live station: its name until a title comes, then the title icecast is given.
    live = f"http://127.0.0.1:{servers['ICECAST']}{servers['ICECAST_MOUNT']}"
    with zureader.open(live, buffered=True, timeout_ms=10000) as radio:
        assert not radio.seekable()
        assert len(radio.read(1000)) == 1000
        assert radio.stream_title == servers["ICECAST_NAME"]
        song = "Python title %d" % os.getpid()
        _set_icecast_title(servers, song)
        deadline = time.monotonic() + 15
        while radio.stream_title != song and time.monotonic() < deadline:
            assert len(radio.read(4000)) == 4000
        assert radio.stream_title == song


def _set_icecast_title(servers, song):
    query = urllib.parse.urlencode({"mount": servers["ICECAST_MOUNT"], "mode": "updinfo", "song": song})
    request = urllib.request.Request(f"http://127.0.0.1:{servers['ICECAST']}/admin/metadata?{query}")
    login = f"{servers['ICECAST_ADMIN_USER']}:{servers['ICECAST_ADMIN_PASSWORD']}".encode()
    request.add_header("Authorization", "Basic " + base64.b64encode(login).decode())
    with urllib.request.urlopen(request, timeout=5) as answer:
        assert answer.status == 200


def test_close_from_another_thread_ends_a_waiting_read(servers):
    live = f"http://127.0.0.1:{servers['ICECAST']}{servers['ICECAST_MOUNT']}"
    radio = zureader.open(live, timeout_ms=10000)
    # The stream comes at real-time speed: a read of 50 MiB waits for it until the close, which
    # ends it (a short count, or a failure) within the 5 s a reader's close may take.
    buffer = bytearray(50 << 20)
    timer = threading.Timer(0.5, radio.close)
    start = time.monotonic()
    timer.start()
    try:
        while radio.readinto(buffer):
            pass
    except (OSError, ValueError):
        pass
    finally:
        timer.join()
    assert time.monotonic() - start < 6
    assert radio.closed
    radio.close()
