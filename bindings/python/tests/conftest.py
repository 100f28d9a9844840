"""Fixtures of the binding's tests: the loopback servers the library's tests start (their ports file
is named by ZU_TEST_SERVERS) and short audio files made with ffmpeg, served by their nginx."""
import os
import shutil
import subprocess
import uuid

import pytest


def _read_ports(path):
    values = {}
    with open(path, encoding="utf-8") as file:
        for line in file:
            name, _, value = line.rstrip("\n").partition("=")
            values[name] = value
    return values


@pytest.fixture(scope="session")
def servers():
    path = os.environ.get("ZU_TEST_SERVERS", "")
    if not path or not os.path.exists(path):
        pytest.skip("no loopback servers: start tests/servers/start.sh DIR and set ZU_TEST_SERVERS=DIR/ports.env")
    values = _read_ports(path)
    values["http"] = f"http://127.0.0.1:{values['NGINX_HTTP']}"
    return values


# Tags the test files carry; mutagen must find the same through the library as on disk.
TAGS = {"title": "Zu Test Title \u00e9", "artist": "ZUReader Tests", "album": "Loopback", "date": "2026"}

_ENCODINGS = {
    "mp3": ["-c:a", "libmp3lame", "-b:a", "128k", "-id3v2_version", "3"],
    "flac": ["-c:a", "flac"],
}


def _make_audio(folder, kind):
    """A 4-second stereo tone with TAGS, made once per build folder."""
    path = os.path.join(folder, f"tone.{kind}")
    if os.path.exists(path):
        return path
    metadata = [arg for key, value in TAGS.items() for arg in ("-metadata", f"{key}={value}")]
    partial = path + ".part"
    subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", "-f", "lavfi", "-i", "sine=frequency=440:duration=4",
                    "-ac", "2", *metadata, *_ENCODINGS[kind], "-f", kind, partial], check=True, timeout=60)
    os.replace(partial, path)
    return path


@pytest.fixture(scope="session")
def media(servers, tmp_path_factory):
    """{kind: (local path, URL)} for an MP3 and a FLAC file, each served under a name of its own."""
    folder = os.environ.get("ZU_TEST_MEDIA_CACHE") or str(tmp_path_factory.mktemp("media"))
    os.makedirs(folder, exist_ok=True)
    served = {}
    for kind in _ENCODINGS:
        local = _make_audio(folder, kind)
        name = f"tone-{uuid.uuid4().hex[:8]}.{kind}"
        shutil.copyfile(local, os.path.join(servers["NGINX_ROOT"], name))
        served[kind] = (local, f"{servers['http']}/{name}")
    return served
