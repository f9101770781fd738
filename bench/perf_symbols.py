#!/usr/bin/env python3
"""Samples of a perf recording per function, for some processes only.

Usage: perf_symbols.py PERF_DATA PID[,PID...] PE_FILE...
PROFILE_TOP (default 40) is how many functions are listed.

perf cannot read the symbols of Windows (PE) files that Wine maps: a sample whose address
falls inside one of the PE files given (at its preferred base, where Wine loads it when
it can) is named from that file's symbol table (x86_64-w64-mingw32-nm); other samples keep
the names perf gives them. Prints the share of each shared object, then of each function.
"""
import bisect
import collections
import os
import re
import subprocess
import sys


def load_image(path):
    header = subprocess.run(["x86_64-w64-mingw32-objdump", "-p", path],
                            capture_output=True, text=True).stdout
    base = int(re.search(r"ImageBase\s+([0-9a-f]+)", header).group(1), 16)
    size = int(re.search(r"SizeOfImage\s+([0-9a-f]+)", header).group(1), 16)
    symbols = []
    listing = subprocess.run(["x86_64-w64-mingw32-nm", "-C", "--defined-only", path],
                             capture_output=True, text=True).stdout
    for line in listing.splitlines():
        parts = line.split(" ", 2)
        if len(parts) == 3 and parts[1].lower() in ("t", "w"):
            symbols.append((int(parts[0], 16), parts[2]))
    symbols.sort()
    return (path.rsplit("/", 1)[-1], base, base + size, [a for a, _ in symbols],
            [n for _, n in symbols])


def main():
    data, pids, paths = sys.argv[1], set(sys.argv[2].split(",")), sys.argv[3:]
    images = [load_image(path) for path in paths]
    script = subprocess.run(["perf", "script", "-i", data, "-F", "pid,ip,sym,dso"],
                            capture_output=True, text=True).stdout
    functions = collections.Counter()
    objects = collections.Counter()
    total = 0
    for line in script.splitlines():
        parts = line.split()
        if len(parts) < 3 or parts[0] not in pids:
            continue
        total += 1
        ip = int(parts[1], 16)
        name = None
        for image, low, high, addresses, names in images:
            if low <= ip < high:
                index = bisect.bisect_right(addresses, ip) - 1
                name = (image, names[index] if index >= 0 else "?")
                break
        if name is None:
            symbol = " ".join(parts[2:-1])
            name = (parts[-1].strip("()").rsplit("/", 1)[-1],
                    symbol if symbol and symbol != "[unknown]" else "?")
        objects[name[0]] += 1
        functions[name] += 1
    print(f"{total} samples")
    for name, count in objects.most_common(12):
        print(f"{100.0 * count / total:6.2f}% {name}")
    print()
    for (image, function), count in functions.most_common(int(os.environ.get("PROFILE_TOP", "40"))):
        print(f"{100.0 * count / total:6.2f}% {image}: {function[:100]}")


if __name__ == "__main__":
    main()
