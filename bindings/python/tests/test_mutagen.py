"""A real client: mutagen reads tags and durations through zureader.open exactly as from disk."""
import time

import mutagen
import pytest

import zureader


def _summary(audio):
    # ID3 frames print as their text; Vorbis comments are lists of texts.
    tags = {key: value if isinstance(value, list) else str(value) for key, value in audio.tags.items()}
    return tags, round(audio.info.length, 6), audio.info.sample_rate, audio.info.channels


def _range_requests(servers, name):
    """nginx's access-log lines for name that asked for a part of it; nginx logs once the
    connection is done with, so a moment is allowed for the last one."""
    deadline = time.monotonic() + 3
    while True:
        with open(servers["NGINX_ACCESS_LOG"], encoding="utf-8", errors="replace") as log:
            lines = [line for line in log if name in line and 'range="bytes=' in line]
        if lines or time.monotonic() > deadline:
            return lines
        time.sleep(0.05)


@pytest.mark.parametrize("kind", ["mp3", "flac"])
def test_mutagen_reads_tags_and_duration_over_http(servers, media, kind):
    local, url = media[kind]
    from_disk = _summary(mutagen.File(local))
    with zureader.open(url, timeout_ms=10000) as f:
        through_library = _summary(mutagen.File(f))
    assert through_library == from_disk
    # mutagen looked at the end of the file (for trailing tags or the last frames): the library
    # asked nginx for that part.
    assert _range_requests(servers, url.rsplit("/", 1)[1])
    tags, length, rate, channels = from_disk
    assert 3.9 < length < 4.2 and rate in (44100, 48000) and channels == 2
    if kind == "mp3":
        assert tags["TIT2"] == "Zu Test Title \u00e9" and tags["TPE1"] == "ZUReader Tests"
    else:
        assert tags["title"] == ["Zu Test Title \u00e9"] and tags["artist"] == ["ZUReader Tests"]
