#!/usr/bin/env python3
"""Checks that the built library exports exactly the functions its public headers declare, by name
and undecorated, and that the README's table of exported functions lists exactly those (on Linux).
Usage: check_exports.py HEADER LIBRARY windows|linux [HEADER...] [--readme README.md]"""
import re
import subprocess
import sys


def declared(header_text, windows):
    if windows:
        # The system-string helpers exist only where there is no system BSTR.
        header_text = re.sub(r"#ifndef _WIN32.*?#endif", "", header_text, flags=re.S)
    # The macros' own definitions are not declarations.
    header_text = re.sub(r"^\s*#.*$", "", header_text, flags=re.M)
    return set(re.findall(r"ZUREADER_C?_?API\s+[\w\s\*]*?\b(\w+)\s*\(", header_text))


def exported_windows(library):
    dump = subprocess.run(["x86_64-w64-mingw32-objdump", "-p", library], check=True,
                          capture_output=True, text=True).stdout
    table = dump.split("[Ordinal/Name Pointer] Table", 1)[1]
    return set(re.findall(r"^\s*\[\s*\d+\]\s+(\S+)\s*$", table.split("\n\n", 1)[0], flags=re.M))


def exported_linux(library):
    dump = subprocess.run(["nm", "-D", "--defined-only", library], check=True,
                          capture_output=True, text=True).stdout
    return {line.split()[-1] for line in dump.splitlines() if line.strip()}


def documented(readme):
    """The function names in backticks in the README's section "Exported functions"."""
    with open(readme, encoding="utf-8") as f:
        section = f.read().split("### Exported functions", 1)[-1].split("\n#", 1)[0]
    return set(re.findall(r"`((?:Get|ZU)\w+)`", section))


def main():
    arguments = sys.argv[1:]
    readme = None
    if "--readme" in arguments:
        readme = arguments.pop(arguments.index("--readme") + 1)
        arguments.remove("--readme")
    header, library, system = arguments[:3]
    want = set()
    every = set()
    for path in [header] + arguments[3:]:
        with open(path, encoding="utf-8") as f:
            text = f.read()
        want |= declared(text, system == "windows")
        every |= declared(text, False)
    if readme:
        listed = documented(readme)
        if listed != every:
            print(f"README table: not listed {sorted(every - listed)}, not declared {sorted(listed - every)}")
            return 1
    have = exported_windows(library) if system == "windows" else exported_linux(library)
    missing, extra = sorted(want - have), sorted(have - want)
    print(f"{len(have)} exports: {', '.join(sorted(have))}")
    if missing or extra or not want:
        print(f"missing: {missing}\nunexpected: {extra}")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
