"""Usage: check.py TVL

Runs tvl on terminals of several widths and checks its progress line and its colours.
"""

import fcntl
import os
import pty
import re
import struct
import sys
import tempfile
import termios
import unicodedata

WIDE = "\u66f8\u985e\u306e\u540d\u524d" * 8 + "e\u0301.bin"
CLEAR = "\r\x1b[K"
LARGEST = 3 << 30  # bytes
SIDES = ("docs", "store/docs")


def run(tvl: str, folder: str, columns: int, arguments: list[str], **variables: str) -> str:
    """Returns what tvl writes to its terminal."""
    process, terminal = pty.fork()
    if process == 0:
        fcntl.ioctl(1, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        os.chdir(folder)
        environment = {"PATH": os.environ["PATH"], "TERM": "xterm", "TVL_CONFIG": folder + "/store/tvl.ini"}
        os.execve(tvl, ["tvl", *arguments], {**environment, **variables})
    output = b""
    while True:
        try:
            piece = os.read(terminal, 65536)
        except OSError:  # the program has closed the terminal
            break
        if not piece:
            break
        output += piece
    os.waitpid(process, 0)
    os.close(terminal)
    return output.decode()


def width(text: str) -> int:
    return sum(
        0 if unicodedata.combining(character) else 2 if unicodedata.east_asian_width(character) in "WF" else 1
        for character in text
    )


def bars(output: str) -> list[str]:
    """Returns the progress lines, each of which is drawn over the one before."""
    return [part.split("\n")[0] for part in output.split(CLEAR)[1:] if part and "\n" not in part]


def check(condition: bool, *evidence: object) -> None:
    if not condition:
        raise SystemExit(f"unexpected: {evidence!r}")


def check_bars(tvl: str, folder: str, columns: int, arguments: list[str], expected: str) -> None:
    """Works with ever larger files, until one takes long enough for a progress line."""
    size = 256 << 20
    while True:
        for side in SIDES:
            os.truncate(f"{folder}/{side}/{WIDE}", size)
        lines = bars(run(tvl, folder, columns, arguments))
        for line in lines:
            check(width(line) < columns, columns, line)
        if any(re.search(expected, line) for line in lines):
            return
        check(size <= LARGEST, columns, expected, lines)
        size *= 2


def check_colours(tvl: str, folder: str) -> None:
    red, green = "\x1b[31m", "\x1b[32m"
    missing, status = ["get", "none"], ["status"]
    check(run(tvl, folder, 80, missing).startswith(red + "tvl: get none: "), "failure")
    check(f"  {green}ok\x1b[m  " in run(tvl, folder, 80, status), "status")
    for variables in ({"NO_COLOR": "1"}, {"TERM": "dumb"}):
        for arguments in (missing, status):
            check("\x1b" not in run(tvl, folder, 80, arguments, **variables), variables, arguments)
    check("\x1b" not in run("/bin/sh", folder, 80, ["-c", f"'{tvl}' status 2>&1 | cat"]), "pipe")


def main() -> None:
    tvl = os.path.abspath(sys.argv[1])
    with tempfile.TemporaryDirectory() as folder:
        run(tvl, folder, 80, ["init", "store"])
        with open(folder + "/store/tvl.ini", "r+", encoding="ascii") as file:
            text = file.read().replace("ZipOnTransfert=0", "ZipOnTransfert=1")
            file.seek(0)
            file.write(text)
        for side in SIDES:
            os.mkdir(f"{folder}/{side}")
            for name in ("a", WIDE):
                with open(f"{folder}/{side}/{name}", "wb") as file:
                    file.truncate(32 << 20)
        put, push = ["put", "-r", "-f", "docs"], ["sync", "push", "docs", "docs"]
        check_bars(tvl, folder, 60, push, r"^scanning  [0-9:]+  /")
        check_bars(tvl, folder, 100, put, r"^ +[0-9]+%  1/2 files  .* of .*/s  .* left  docs/")
        check_bars(tvl, folder, 40, put, r"^ +[0-9]+%  1/2  .*docs/\u66f8")
        check_bars(tvl, folder, 14, put, r"^ +[0-9]+%  1/2$")
        check_colours(tvl, folder)


main()
