#!/usr/bin/env python3
"""Checks the Linux transcoding providers (libzuplayer.so, libzuencoders.so, libzutools.so) against
ffmpeg and ffprobe, through provider_driver, which loads them by their entry points as the library does.
Usage: transcode_peers.py PROVIDER_DRIVER MODULE_DIR MEDIA_CACHE [LONG_SECONDS [ZUREADER]]
With ZUREADER (the CLI) the same media also go through `zureader encoders --register` and
`zureader transcode`, the library's transcoder reader loading the providers from beside itself.
Test media are made once per build folder in MEDIA_CACHE: tone steps whose second k has 300+100*k Hz
(WAV, FLAC, and MP3 made from the WAV), a long FLAC (LONG_SECONDS, 600 unless given), a 5.1 WAV, and short videos (H.264 with FLAC sound in Matroska,
Motion JPEG with PCM sound in AVI)."""
import array
import os
import re
import subprocess
import sys
import tempfile

results = {"passed": 0, "failed": 0}
RATE = 44100
MP3_FRAME = 1152.0 / RATE


def check(ok, what):
    results["passed" if ok else "failed"] += 1
    if not ok:
        print("FAILED: " + what)


def run(command, timeout=120):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          timeout=timeout).stdout


def ffmpeg(*args):
    run(["ffmpeg", "-nostdin", "-v", "error", "-y"] + list(args), timeout=300)


def has_encoder(name):
    return re.search(rb"\s" + name.encode() + rb"\s", run(["ffmpeg", "-hide_banner", "-encoders"])) is not None


def make_media(cache, long_seconds):
    os.makedirs(cache, exist_ok=True)
    stamp = os.path.join(cache, f"ready-3-{long_seconds}")
    if os.path.exists(stamp):
        return
    tones = f"aevalsrc=exprs='0.5*sin(2*PI*(300+100*floor(t))*t)':s={RATE}:d=8:c=stereo"
    ffmpeg("-f", "lavfi", "-i", tones, "-c:a", "pcm_s16le", os.path.join(cache, "tones.wav"))
    ffmpeg("-f", "lavfi", "-i", tones, "-c:a", "flac", os.path.join(cache, "tones.flac"))
    ffmpeg("-i", os.path.join(cache, "tones.wav"), "-c:a", "libmp3lame", "-b:a", "128k", os.path.join(cache, "tones.mp3"))
    ffmpeg("-f", "lavfi", "-i", f"sine=f=440:r={RATE}:d={long_seconds}", "-ac", "2", "-c:a", "flac",
           os.path.join(cache, "long.flac"))
    ffmpeg("-f", "lavfi", "-i", f"sine=f=440:r=48000:d=2", "-ac", "6", "-c:a", "pcm_s16le",
           os.path.join(cache, "surround.wav"))
    video = ["libx264", "-preset", "veryfast"] if has_encoder("libx264") else ["mpeg4"]
    ffmpeg("-f", "lavfi", "-i", "testsrc=s=320x240:r=25:d=3", "-f", "lavfi", "-i", "sine=f=500:r=48000:d=3",
           "-c:v", *video, "-g", "25", "-pix_fmt", "yuv420p", "-c:a", "flac", os.path.join(cache, "clip.mkv"))
    for name, seconds in (("clip.avi", 3), ("long.avi", 60)):
        ffmpeg("-f", "lavfi", "-i", f"testsrc=s=320x240:r=25:d={seconds}", "-f", "lavfi", "-i",
               f"sine=f=500:r=48000:d={seconds}", "-c:v", "mjpeg", "-q:v", "5", "-c:a", "pcm_s16le",
               os.path.join(cache, name))
    open(stamp, "w").close()


def pairs(output):
    return dict(line.split("=", 1) for line in output.decode().splitlines() if "=" in line)


def pcm(path, channels=2):
    return run(["ffmpeg", "-nostdin", "-v", "error", "-i", path, "-ac", str(channels), "-f", "s16le", "-"])


def decode_errors(path):
    done = subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-i", path, "-f", "null", "-"],
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120)
    return done.stdout.decode(errors="replace").strip() or ("" if done.returncode == 0 else "exit status")


def probe(path, entries):
    return pairs(run(["ffprobe", "-v", "error", "-show_entries", entries, "-of", "default=noprint_wrappers=1",
                      path]))


def decoded_seconds(path):
    # Decoded samples, not the container's figure: ffprobe counts an MP3's encoder delay and
    # padding in its duration, which ffmpeg's decoder drops as the LAME header says.
    return len(pcm(path)) / 4.0 / RATE


def tone_hz(path, seconds=0.5):
    samples = array.array("h", run(["ffmpeg", "-nostdin", "-v", "error", "-i", path, "-ac", "1", "-ar", "48000",
                                    "-t", str(seconds), "-f", "s16le", "-"]))
    crossings = sum(1 for a, b in zip(samples, samples[1:]) if a < 0 <= b)
    return crossings * 48000.0 / max(len(samples), 1)


class Driver:
    def __init__(self, command, modules):
        self.command = command
        self.modules = modules

    def encode(self, source, index, out, settings="", start_ms="0", *extra, timeout=300):
        return pairs(run(self.command + ["encode", self.modules, source, str(index), settings, start_ms, out]
                         + list(extra), timeout=timeout))

    def video(self, source, out, *extra):
        return pairs(run(self.command + ["video", self.modules, source, out] + list(extra), timeout=300))

    def factory(self, index, *settings):
        return run(self.command + ["factory", self.modules, str(index)] + list(settings)).decode()


def check_mp3(driver, media, folder):
    for kind in ("wav", "flac"):
        name = f"{kind} -> MP3: "
        out = os.path.join(folder, f"tones-{kind}.mp3")
        got = driver.encode(os.path.join(media, f"tones.{kind}"), 0, out)
        check(got["result"] == "1", name + "Encode answered 1")
        check(decode_errors(out) == "", name + "decodes without an error: " + decode_errors(out))
        duration = decoded_seconds(out)
        check(abs(duration - 8.0) <= MP3_FRAME, name + f"duration {duration} within a frame of 8 s")
        check(got["filename"] == out and got["seen_filename"] == out, name + "Output Filename, also from another thread")
        check(got["duration"] == "8.000", name + f"Output Duration {got['duration']}")
        check(got["bitrate"] == "128000", name + f"Output Bitrate Estimate {got['bitrate']}")
        check(float(got["first_bytes_ms"]) >= 0, name + "first bytes reported")
        out = os.path.join(folder, f"late-{kind}.mp3")
        got = driver.encode(os.path.join(media, f"tones.{kind}"), 0, out, "", "3000")
        hz = tone_hz(out)
        check(abs(hz - 600) < 20, name + f"--start 3000 begins with the fourth tone: {hz:.1f} Hz")
        duration = decoded_seconds(out)
        check(abs(duration - 5.0) <= MP3_FRAME, name + f"from 3 s: duration {duration}")
        check(got["duration"] == "5.000", name + f"from 3 s: Output Duration {got['duration']}")
    out = os.path.join(folder, "96k.mp3")
    got = driver.encode(os.path.join(media, "tones.wav"), 0, out, "Bitrate=96000")
    rate = int(probe(out, "stream=bit_rate")["bit_rate"])
    check(got["settings"] == "1" and got["bitrate"] == "96000" and abs(rate - 96000) < 2000,
          f"Bitrate=96000: settings {got['settings']}, estimate {got['bitrate']}, ffprobe {rate}")


def check_exact_start(driver, media, folder):
    for kind, start_ms in (("wav", "3000"), ("flac", "3370"), ("flac", "0")):
        source = pcm(os.path.join(media, f"tones.{kind}"))
        out = os.path.join(folder, f"exact-{kind}-{start_ms}.wav")
        got = driver.encode(os.path.join(media, f"tones.{kind}"), 3, out, "", start_ms)
        first = round(int(start_ms) * RATE / 1000) * 4
        check(got["result"] == "1" and pcm(out) == source[first:],
              f"{kind} from {start_ms} ms to WAV: the samples from that one on, exactly")
        check(got["bitrate"] == str(RATE * 2 * 16), f"WAV bit rate {got['bitrate']}")
    # A lossy source with an encoder delay, seeking by a byte estimate: once the decoder has settled
    # (its bit reservoir and overlap reach back up to two frames) the samples are the ones ffmpeg
    # decodes at that position.
    source = pcm(os.path.join(media, "tones.mp3"))
    for start_ms in ("3370", "5000"):
        out = os.path.join(folder, f"exact-mp3-{start_ms}.wav")
        driver.encode(os.path.join(media, "tones.mp3"), 3, out, "", start_ms)
        first = round(int(start_ms) * RATE / 1000) * 4
        ours, theirs = pcm(out), source[first:]
        settled = 2 * 1152 * 4
        check(len(ours) == len(theirs) and ours[settled:] == theirs[settled:],
              f"mp3 from {start_ms} ms to WAV: {len(ours) // 4} samples, the ones from that time on")


def check_other_encoders(driver, media, folder):
    source_samples = 8 * RATE
    for index, kind, slack in ((1, "aac", 4096), (2, "flac", 0)):
        out = os.path.join(folder, f"tones.{kind}")
        got = driver.encode(os.path.join(media, "tones.flac"), index, out)
        samples = len(pcm(out)) // 4
        check(got["result"] == "1" and decode_errors(out) == "", f"{kind}: decodes without an error")
        check(abs(samples - source_samples) <= slack, f"{kind}: {samples} samples, {source_samples} in the source")
        bitrate = int(got["bitrate"] or 0)
        expected = 128000 if kind == "aac" else os.path.getsize(out) * 8 / 8.0
        check(abs(bitrate - expected) < expected * 0.05, f"{kind}: bit rate {bitrate}, about {expected:.0f}")
    out = os.path.join(folder, "surround.wav")
    got = driver.encode(os.path.join(media, "surround.wav"), 3, out)
    layout = probe(out, "stream=channels,sample_rate")
    check(got["result"] == "1" and layout == {"channels": "2", "sample_rate": "48000"},
          f"5.1 at 48 kHz mixed down to two channels at its own rate: {layout}")
    # An existing, longer file is replaced, not overwritten in place.
    with open(out, "wb") as junk:
        junk.write(b"\xaa" * (4 << 20))
    driver.encode(os.path.join(media, "tones.wav"), 3, out)
    check(os.path.getsize(out) < (2 << 20) and len(pcm(out)) == source_samples * 4, "an existing file is truncated")


def check_streaming(driver, media, folder, seconds):
    out = os.path.join(folder, "long.mp3")
    got = driver.encode(os.path.join(media, "long.flac"), 0, out)
    first, total = float(got["first_bytes_ms"]), float(got["total_ms"])
    print(f"{seconds} s FLAC to MP3: first bytes after {first:.0f} ms of {total:.0f} ms, "
          f"longest wait between progress calls {float(got['longest_gap_ms']):.0f} ms")
    check(got["result"] == "1" and 0 <= first < total * 0.25, "first bytes while the encoder still runs")
    # Every 100 ms on average; a single longer wait is the machine's (other processes run on it),
    # not the provider's, unless it is far longer.
    calls, gap = int(got["calls"]), float(got["longest_gap_ms"])
    check(calls >= total / 100 and gap < 500, f"progress every 100 ms: {calls} calls, longest gap {gap:.0f} ms")
    # ffprobe's figure includes the encoder delay and padding: under two frames more.
    duration = float(probe(out, "format=duration")["duration"])
    check(seconds <= duration < seconds + 2 * MP3_FRAME, f"long source: duration {duration}")
    out = os.path.join(folder, "cancelled.mp3")
    got = driver.encode(os.path.join(media, "long.flac"), 0, out, "", "0", "cancel")
    duration = float(probe(out, "format=duration")["duration"])
    check(got["result"] == "0" and float(got["total_ms"]) < total / 2 and duration < seconds,
          f"a cancel ends the encoding early: {got['total_ms']} ms, {duration} s written")
    check(decode_errors(out) == "", "what a cancelled encoding wrote is a whole file: " + decode_errors(out))
    got = driver.encode(os.path.join(folder, "missing.wav"), 0, os.path.join(folder, "missing.mp3"))
    check(got["result"] == "0" and float(got["first_bytes_ms"]) >= 0,
          "a source that cannot be opened fails, and the caller is not left waiting")


def check_settings(driver):
    mp3 = driver.factory(0, "Settings", "Bitrate=64000", "Settings", "Bitrate=abc", "Settings", "Quality=2",
                         "Bitrate", "320000")
    check(re.findall(r"-> (\d)", mp3) == ["1", "0", "0", "1"], "MP3 settings: " + mp3)
    flac = driver.factory(2, "Settings", "Bitrate=64000", "Settings", "")
    check(re.findall(r"-> (\d)", flac) == ["0", "1"], "FLAC takes no bit rate: " + flac)
    check("factory=null" in driver.factory(4), "index 4 names no encoder")


def check_video(driver, media, folder):
    for name in ("clip.mkv", "clip.avi"):
        out = os.path.join(folder, name + ".mp4")
        got = driver.video(os.path.join(media, name), out)
        check(got.get("prepared") == "1" and got.get("result") == "0" and got.get("ended") == "1",
              f"{name}: converted: {got}")
        streams = probe(out, "stream=codec_type,codec_name:format=duration")
        text = run(["ffprobe", "-v", "error", "-show_entries", "stream=codec_type,codec_name", "-of", "csv=p=0",
                    out]).decode().split()
        check(sorted(text) in (["aac,audio", "h264,video"], ["aac,audio", "mpeg4,video"]),
              f"{name}: video and AAC audio streams: {text}")
        check(abs(float(streams["duration"]) - 3.0) < 1.0, f"{name}: duration {streams['duration']}")
        with open(out, "rb") as f:
            data = f.read()
        check(b"moof" in data and data.count(b"moof") >= 2, f"{name}: fragments ({data.count(b'moof')} moof boxes)")
        check(decode_errors(out) == "", f"{name}: decodes without an error: " + decode_errors(out))
        check(got.get("other_iid") == "null", "an unknown interface identifier gets no object")
    out = os.path.join(folder, "stopped.mp4")
    got = driver.video(os.path.join(media, "long.avi"), out, str(256 << 10))
    check(got.get("ended_by_itself") == "0" and float(got["close_ms"]) < 3000 and got.get("ended") == "1",
          f"Close stops a conversion under way and waits for it: {got}")
    for path, what in ((out + ".growing", "the output while it grows"), (out, "what a stopped conversion wrote")):
        frames = run(["ffprobe", "-v", "error", "-count_frames", "-select_streams", "v", "-show_entries",
                      "stream=nb_read_frames", "-of", "csv=p=0", path]).decode().strip()
        check(frames.isdigit() and 0 < int(frames) < 60 * 25, f"{what} is playable: {frames} frames")
    got = driver.video(os.path.join(folder, "missing.avi"), os.path.join(folder, "missing.mp4"))
    check(got.get("prepared") == "0" and got.get("prepare_result") not in ("0", None),
          f"a source that cannot be opened fails Prepare with an error code: {got}")


class Cli:
    """The CLI with fresh per-user and machine-wide settings stores."""

    def __init__(self, path, folder):
        self.path = path
        self.env = dict(os.environ)
        self.env.pop("ZUREADER_PROVIDER_DIR", None)
        for name, sub in (("ZUREADER_HOME", "home"), ("ZUREADER_MACHINE_HOME", "machine")):
            self.env[name] = os.path.join(folder, sub)
            os.makedirs(self.env[name])

    def run(self, *args, timeout=300):
        return subprocess.run([self.path] + list(args), stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              env=self.env, timeout=timeout)


def check_cli(cli, media, folder, seconds):
    listed = cli.run("encoders", "--register", "--machine")
    names = [line.split("\t")[0] for line in listed.stdout.decode().splitlines()]
    check(listed.returncode == 0 and all(n in names for n in ("MP3", "AAC", "FLAC", "WAV")),
          f"encoders --register --machine registers the four encoders: {names}")
    check(os.path.exists(os.path.join(cli.env["ZUREADER_MACHINE_HOME"], "settings.ini")),
          "the machine-wide store holds them")
    for kind in ("wav", "flac"):
        out = os.path.join(folder, f"cli-{kind}.mp3")
        done = cli.run("transcode", os.path.join(media, f"tones.{kind}"), "--encoder", "MP3", "-o", out)
        duration = decoded_seconds(out) if done.returncode == 0 else -1
        check(done.returncode == 0 and decode_errors(out) == "" and abs(duration - 8.0) <= MP3_FRAME,
              f"transcode {kind} to MP3: {duration} s, {done.stderr.decode(errors='replace').strip()}")
        out = os.path.join(folder, f"cli-late-{kind}.mp3")
        cli.run("transcode", os.path.join(media, f"tones.{kind}"), "--encoder", "MP3", "--start-ms", "3000", "-o", out)
        hz = tone_hz(out) if os.path.exists(out) else 0
        check(abs(hz - 600) < 20, f"transcode {kind} --start-ms 3000 begins with the fourth tone: {hz:.1f} Hz")
    for limit in (1000, 54321):
        out = os.path.join(folder, f"cli-limit-{limit}.mp3")
        cli.run("transcode", os.path.join(media, "tones.wav"), "--encoder", "MP3", "--limit", str(limit), "-o", out)
        size = os.path.getsize(out) if os.path.exists(out) else -1
        check(size == limit, f"--limit {limit} gives exactly that many bytes: {size}")
    # The long source is the one whose header a reader takes while the encoder still runs.
    out = os.path.join(folder, "cli-long.mp3")
    done = cli.run("transcode", os.path.join(media, "long.flac"), "--encoder", "MP3", "--stats", "-o", out)
    text = " ".join(done.stderr.decode(errors="replace").split())
    print(f"{seconds} s FLAC to MP3 through the reader: " + text)
    stats = re.search(r"first byte after (\d+) ms; (\d+) bytes in (\d+) ms; length estimate (\d+) at the first byte",
                      text)
    check(done.returncode == 0 and stats is not None, "transcode --stats of the long source: " + text)
    if stats:
        first, size, total, estimate = (int(v) for v in stats.groups())
        check(size == os.path.getsize(out) and first < total * 0.25,
              f"first bytes while the encoder still runs: {first} of {total} ms")
        check(abs(estimate - size) <= size * 0.05, f"length estimate {estimate} within 5% of the {size} bytes")
    duration = decoded_seconds(out)
    check(decode_errors(out) == "" and abs(duration - seconds) <= MP3_FRAME,
          f"the long source through the reader: {duration} s, within a frame of {seconds} s")
    out = os.path.join(folder, "cli-video.mp4")
    done = cli.run("transcode", os.path.join(media, "clip.mkv"), "--video", "-o", out)
    kinds = run(["ffprobe", "-v", "error", "-show_entries", "stream=codec_type", "-of", "csv=p=0", out]).split() \
        if done.returncode == 0 else []
    duration = float(probe(out, "format=duration")["duration"]) if kinds else -1
    with open(out, "rb") if os.path.exists(out) else open(os.devnull, "rb") as f:
        fragments = f.read().count(b"moof")
    check(sorted(kinds) == [b"audio", b"video"] and abs(duration - 3.0) < 1.0 and fragments > 0,
          f"transcode --video: streams {kinds}, {duration} s, {fragments} fragments")


def main():
    if len(sys.argv) < 4:
        print(__doc__)
        return 2
    driver = Driver([sys.argv[1]], sys.argv[2])
    media = sys.argv[3]
    long_seconds = int(sys.argv[4]) if len(sys.argv) > 4 else 600
    make_media(media, long_seconds)
    with tempfile.TemporaryDirectory(prefix="zu-transcode-") as folder:
        check_settings(driver)
        check_mp3(driver, media, folder)
        check_exact_start(driver, media, folder)
        check_other_encoders(driver, media, folder)
        check_streaming(driver, media, folder, long_seconds)
        check_video(driver, media, folder)
        if len(sys.argv) > 5:
            check_cli(Cli(sys.argv[5], os.path.join(folder, "cli")), media, folder, long_seconds)
    print(f"{results['passed']} passed, {results['failed']} failed")
    return 1 if results["failed"] else 0


if __name__ == "__main__":
    sys.exit(main())
