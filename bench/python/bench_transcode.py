#!/usr/bin/env python3
"""Transcoding a 5-minute WAV to 128 kbit/s MP3 through our providers against ffmpeg, in one run.

- Ours: `zureader transcode SRC --encoder MP3 -o OUT`, the transcoder reader read to its end, with
  the encoders registered in a settings store of the run's own; with --driver, provider_driver
  instead, which loads libzuplayer.so and libzuencoders.so by their entry points and runs the
  decode-and-encode alone, without the reader.
- Peer: `ffmpeg -i SRC -c:a libmp3lame -b:a 128k -f mp3 -` to /dev/null.

Prints each time (the best of ROUNDS), the speed ratio (ours over ffmpeg's speed; 1.0 is as
fast) by elapsed time and by processor time (steadier on a machine others share), and our time
to the first byte of the output.

Usage: bench_transcode.py [--build out/native] [--driver] [--rounds N] [--seconds S]"""
import argparse
import os
import resource
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def cpu_seconds():
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def measured(function, *args):
    """(elapsed, first byte, processor seconds) of one run of function(*args)."""
    before = cpu_seconds()
    elapsed, first = function(*args)
    return elapsed, first, cpu_seconds() - before


def timed(command, out=None):
    """Seconds the command took, and seconds until OUT first held a byte (None without OUT)."""
    start = time.monotonic()
    first = None
    with open(os.devnull, "wb") as null:
        process = subprocess.Popen(command, stdout=null, stderr=subprocess.DEVNULL)
        while process.poll() is None:
            if out and first is None and os.path.exists(out) and os.path.getsize(out) > 0:
                first = time.monotonic() - start
            time.sleep(0.001 if first is None else 0.02)
    if process.returncode != 0:
        sys.exit(f"{command[0]} failed with exit status {process.returncode}")
    return time.monotonic() - start, first


def driver_run(build, source, out):
    text = subprocess.run([os.path.join(build, "bin", "provider_driver"), "encode", os.path.join(build, "lib"),
                           source, "0", "Bitrate=128000", "0", out], check=True, stdout=subprocess.PIPE,
                          timeout=600).stdout.decode()
    got = dict(line.split("=", 1) for line in text.splitlines() if "=" in line)
    if got.get("result") != "1":
        sys.exit("provider_driver failed: " + text)
    return float(got["total_ms"]) / 1000, float(got["first_bytes_ms"]) / 1000


def cli_run(build, source, out):
    return timed([os.path.join(build, "bin", "zureader"), "transcode", source, "--encoder", "MP3", "--settings",
                  "Bitrate=128000", "-o", out], out)


def register_encoders(build, folder):
    """The CLI's settings stores live in FOLDER, holding our encoders, for this run alone."""
    for name in ("ZUREADER_HOME", "ZUREADER_MACHINE_HOME"):
        os.environ[name] = os.path.join(folder, name.lower())
        os.makedirs(os.environ[name])
    os.environ.pop("ZUREADER_PROVIDER_DIR", None)
    subprocess.run([os.path.join(build, "bin", "zureader"), "encoders", "--register"], check=True,
                   stdout=subprocess.DEVNULL)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default=os.path.join(ROOT, "out", "native"))
    parser.add_argument("--driver", action="store_true", help="the providers alone, through provider_driver")
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--seconds", type=int, default=300)
    args = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="zu-bench-transcode-") as folder:
        source = os.path.join(folder, "source.wav")
        subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i",
                        f"aevalsrc=exprs='0.5*sin(2*PI*(300+100*mod(floor(t),8))*t)':s=44100:d={args.seconds}:c=stereo",
                        "-c:a", "pcm_s16le", source], check=True)
        best = {}
        run = driver_run if args.driver else cli_run
        if not args.driver:
            register_encoders(args.build, folder)
        peer = ["ffmpeg", "-nostdin", "-v", "error", "-i", source, "-c:a", "libmp3lame", "-b:a", "128k", "-f", "mp3", "-"]
        for _ in range(args.rounds):
            out = os.path.join(folder, "ours.mp3")
            ours = measured(run, args.build, source, out)
            os.remove(out)
            theirs = measured(timed, peer)
            for key, value in (("ours", ours[0]), ("first", ours[1]), ("ours_cpu", ours[2]),
                               ("peer", theirs[0]), ("peer_cpu", theirs[2])):
                if value is not None:
                    best[key] = min(best.get(key, value), value)
    print(f"{args.seconds} s WAV to 128 kbit/s MP3 ({'provider_driver' if args.driver else 'zureader transcode'}):")
    print(f"  ours   {best['ours']:.3f} s elapsed, {best['ours_cpu']:.3f} s processor")
    print(f"  ffmpeg {best['peer']:.3f} s elapsed, {best['peer_cpu']:.3f} s processor")
    print(f"  speed ratio (ours / ffmpeg): {best['peer'] / best['ours']:.3f} elapsed, "
          f"{best['peer_cpu'] / best['ours_cpu']:.3f} processor")
    if "first" in best:
        print(f"  time to first byte: {best['first'] * 1000:.0f} ms ({best['first'] / best['ours'] * 100:.1f}% of the total)")
    return 0


if __name__ == "__main__":
    sys.exit(main())
