#!/usr/bin/env python3
"""Checks the include structure of the tree. Usage: check_includes.py SOURCE_ROOT
- tools/, bench/ and examples/ are hosts: they include the public headers (<zureader/...>) and their
  own files, never a library source.
- In src/, arrows point down only: api -> readers (net, buffering, transcode, dvd) -> core -> host ->
  platform. A reader folder never includes another reader folder.
- No header of src/ reaches itself again through its includes."""
import os
import re
import sys

RANK = {"api": 5, "net": 4, "buffering": 4, "transcode": 4, "dvd": 4, "core": 3, "host": 2, "platform": 1}
QUOTED = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.M)


def sources(folder):
    for base, _, names in os.walk(folder):
        for name in names:
            if name.endswith((".h", ".cpp")):
                yield os.path.join(base, name)


def quoted_includes(path):
    with open(path, encoding="utf-8") as file:
        return QUOTED.findall(file.read())


def check_hosts(root, faults):
    for host in ("tools", "bench", "examples"):
        for path in sources(os.path.join(root, host)):
            for name in quoted_includes(path):
                if not os.path.isfile(os.path.join(os.path.dirname(path), name)):
                    faults.append(f"{os.path.relpath(path, root)} includes \"{name}\", not a file of its own")


def check_layers(root, faults):
    src = os.path.join(root, "src")
    graph = {}
    for path in sources(src):
        own = os.path.relpath(path, src).split(os.sep)[0]
        edges = graph.setdefault(os.path.relpath(path, src), [])
        for name in quoted_includes(path):
            other = name.split("/")[0]
            if other not in RANK:
                faults.append(f"src/{os.path.relpath(path, src)} includes \"{name}\" outside the layers")
                continue
            if other != own and RANK[other] >= RANK[own]:
                faults.append(f"src/{os.path.relpath(path, src)} ({own}) includes \"{name}\" ({other}) above or beside it")
            edges.append(name)
    return graph


def check_cycles(graph, faults):
    state = {}

    def visit(node, trail):
        state[node] = "open"
        for nxt in graph.get(node, []):
            if state.get(nxt) == "open":
                faults.append("include circle: " + " -> ".join(trail[trail.index(nxt):] + [nxt]))
            elif nxt not in state:
                visit(nxt, trail + [nxt])
        state[node] = "done"

    for node in sorted(graph):
        if node not in state:
            visit(node, [node])


def check_case_clashes(root, faults):
    """Paths that differ only in case are one file on a case-blind file system (Windows')."""
    seen = {}
    for folder in ("include", "src"):
        for directory, _, files in os.walk(os.path.join(root, folder)):
            for name in files:
                path = os.path.relpath(os.path.join(directory, name), root)
                other = seen.setdefault(path.lower(), path)
                if other != path:
                    faults.append(f"{path} and {other} differ only in case")


def main():
    root = sys.argv[1]
    faults = []
    check_hosts(root, faults)
    check_cycles(check_layers(root, faults), faults)
    check_case_clashes(root, faults)
    for fault in faults:
        print(fault)
    print(f"{len(faults)} include faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
