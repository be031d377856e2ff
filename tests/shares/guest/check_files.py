"""Compares stored files with what store_user puts under their names: `check_files.py STORE REPORTED`.

REPORTED has a line for each file: its name and the number of its last reported put. A later put may have arrived without a
report. Prints the files that are lost, empty, torn or older than that.
"""

import sys
from pathlib import Path

PUTS_UNTIL_REUSE = 400  # of a name


def contents(name, number):
    lines = []
    left = 1024 * (1 + number % 24)
    while left > 0:
        lines.append(f"{name} {number} {len(lines)}\n")
        left -= len(lines[-1])
    return "".join(lines)


def fault(path, reported):
    try:
        stored = path.read_text()
    except FileNotFoundError:
        return "lost"
    if not stored:
        return "empty"
    name = path.name.rsplit("-", 1)[0]
    words = stored.split("\n", 1)[0].split()
    number = int(words[1]) if len(words) == 3 and words[1].isdigit() else -1
    if stored != contents(name, number) or number % PUTS_UNTIL_REUSE != reported % PUTS_UNTIL_REUSE:
        return "torn"
    return "old" if number < reported else None


def main():
    store, reported = Path(sys.argv[1]), Path(sys.argv[2])
    for line in reported.read_text().splitlines():
        name, number = line.split()
        if found := fault(store / name, int(number)):
            print(found, name)


main()
