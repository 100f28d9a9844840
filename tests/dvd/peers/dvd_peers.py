#!/usr/bin/env python3
"""Checks `zureader dvd` on the authored disc against lsdvd, ffprobe and ffmpeg.
Usage: dvd_peers.py ZUREADER DISC_FOLDER LANGUAGE_TABLE_CPP [EMULATOR...]
- lsdvd: the titles, chapter counts, durations (each chapter's entry cell: what the reader delivers)
  within a second, and the audio languages (lsdvd's codes looked up in our language table, since
  lsdvd prints native names) agree with the rip description.
- ffprobe and ffmpeg: a title written with -o holds one video stream and one audio stream, as
  sub-stream 0x80, lasts the title's duration within a second, and carries the tone of the audio
  stream chosen (440 Hz on stream 0, 880 Hz on stream 1)."""
import array
import os
import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ElementTree

results = {"passed": 0, "failed": 0}


def check(ok, what):
    results["passed" if ok else "failed"] += 1
    if not ok:
        print("FAILED: " + what)


def run(command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=60).stdout


def description(cli, disc):
    text = run(cli + ["dvd", disc, "--description"]).decode("utf-8")
    return dict(line.split("=", 1) for line in text.splitlines() if "=" in line)


def language_names(table_path):
    names = {}
    with open(table_path, encoding="utf-8") as table:
        for name, code2 in re.findall(r'\{u"((?:[^"\\]|\\.)*)", u"[a-z-]*", u"([a-z]*)"\}', table.read()):
            names.setdefault(code2, name.encode().decode("unicode_escape").split(";")[0])
    return names


def check_lsdvd(disc, pairs, names):
    # libdvdread prints a banner of its own before the XML.
    output = run(["lsdvd", "-x", "-Ox", disc])
    lsdvd = ElementTree.fromstring(output[output.find(b"<?xml"):])
    tracks = lsdvd.findall("track")
    check(len(tracks) == int(pairs["NumTitles"]), "title count")
    for i, track in enumerate(tracks):
        name = f"title {i + 1}: "
        chapters = track.findall("chapter")
        check(len(chapters) == int(pairs[f"Chapters{i:02d}"]), name + "chapter count")
        cells = {int(cell.find("ix").text): float(cell.find("length").text) for cell in track.findall("cell")}
        entry_cells = sum(cells[int(chapter.find("startcell").text)] for chapter in chapters)
        check(abs(entry_cells - int(pairs[f"Duration{i:02d}"])) < 1.0, name + "duration")
        ours = pairs[f"AudioStreamList{i:02d}"].split("|")
        theirs = [audio.find("langcode").text for audio in track.findall("audio")]
        check(len(ours) == len(theirs), name + "audio stream count")
        for text, code in zip(ours, theirs):
            check(text.split(" (")[0] == names.get(code), name + f"language {code}: {text}")


def tone_hz(mpg):
    pcm = run(["ffmpeg", "-nostdin", "-loglevel", "error", "-i", mpg, "-map", "0:a", "-ac", "1", "-ar", "48000",
               "-f", "s16le", "-"])
    samples = array.array("h", pcm)
    # Skip the first half second, where a decoder may still be settling.
    samples = samples[24000:]
    crossings = sum(1 for a, b in zip(samples, samples[1:]) if a < 0 <= b)
    return crossings * 48000.0 / max(len(samples), 1)


def check_rips(cli, disc, pairs, folder):
    for title in (1, 2):
        for audio, hz in ((0, 440), (1, 880)):
            name = f"title {title}, audio {audio}: "
            output = os.path.join(folder, f"t{title}a{audio}.mpg")
            run(cli + ["dvd", disc, "--title", str(title), "--audio", str(audio), "-o", output])
            probe = run(["ffprobe", "-v", "error", "-show_entries", "stream=codec_type,id:format=duration",
                         "-of", "default=noprint_wrappers=1", output]).decode()
            kinds = re.findall(r"codec_type=(\w+)", probe)
            check(sorted(kinds) == ["audio", "video"], name + f"streams {kinds}")
            check("id=0x80" in probe, name + "audio as sub-stream 0x80")
            duration = float(re.search(r"duration=([\d.]+)", probe).group(1))
            check(abs(duration - int(pairs[f"Duration{title - 1:02d}"])) < 1.0, name + f"duration {duration}")
            measured = tone_hz(output)
            check(abs(measured - hz) < hz * 0.03, name + f"tone {measured:.1f} Hz, not {hz}")


def main():
    zureader, disc, table = sys.argv[1:4]
    cli = sys.argv[4:] + [zureader]
    pairs = description(cli, disc)
    check_lsdvd(disc, pairs, language_names(table))
    with tempfile.TemporaryDirectory() as folder:
        check_rips(cli, disc, pairs, folder)
    print(f"{results['passed']} passed, {results['failed']} failed")
    return 1 if results["failed"] or not results["passed"] else 0


if __name__ == "__main__":
    sys.exit(main())
