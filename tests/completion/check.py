"""Usage: check.py TVL SHELL

Completes command lines of tvl in a shell on a terminal. Exit code 77, for a skipped test, without the shell.
"""

import os
import pty
import re
import select
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time

TAB, TO_START = "\t", "\x01"
LIMIT = 60  # seconds for an answer

STARTS = {
    "bash": ["--noprofile", "--norc", "-i"],
    "zsh": ["-f", "-i"],
    "fish": ["--no-config", "-i"],
}
SETUPS = {
    "bash": "source <(tvl complete-script bash)",
    "zsh": "bindkey -e; autoload -Uz compinit; compinit -u; source <(tvl complete-script zsh)",
    "fish": "tvl complete-script fish | source",
}

# What is typed before the tab key, and the words of the line afterwards.
CASES = [
    ("tvl doc", ["tvl", "doctor"]),
    ("tvl env uns", ["tvl", "env", "unset"]),
    ("tvl get --recu", ["tvl", "get", "--recursive"]),
    ("tvl get --verb", ["tvl", "get", "--verbose"]),
    ("tvl get with", ["tvl", "get", "with blank.txt"]),
    ("tvl get docs/de", ["tvl", "get", "docs/deep/"]),
    ("tvl put loc", ["tvl", "put", "local.txt"]),
    ("tvl --work sub put in", ["tvl", "--work", "sub", "put", "inner.txt"]),
    ("tvl unlock OR", ["tvl", "unlock", "ORD:1"]),
    ("tvl who mg", ["tvl", "who", "mgrx"]),
    ("tvl table info orders", ["tvl", "table", "info", "orders.dat"]),
    ("tvl sync pull docs sub --exclude da", ["tvl", "sync", "pull", "docs", "sub", "--exclude", "database"]),
    ("tvl env get AVA", ["tvl", "env", "get", "AVALUE"]),
    ("tvl --config nowhere.ini get with", ["tvl", "--config", "nowhere.ini", "get", "with"]),
]


class Shell:
    def __init__(self, name: str, folder: str, environment: dict[str, str]) -> None:
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            os.chdir(folder)
            os.execvpe(name, [name, *STARTS[name]], environment)
        self.text = ""

    def send(self, text: str) -> None:
        os.write(self.terminal, text.encode())

    def read_until(self, pattern: str) -> re.Match[str]:
        end = time.monotonic() + LIMIT
        while True:
            if match := re.search(pattern, self.text, re.DOTALL):
                self.text = self.text[match.end():]
                return match
            left = end - time.monotonic()
            if left <= 0 or not select.select([self.terminal], [], [], left)[0]:
                raise AssertionError(f"no {pattern!r} in {self.text!r}")
            self.text += os.read(self.terminal, 4096).decode(errors="replace")

    def complete(self, typed: str) -> list[str]:
        """Types, presses tab, and has a program show the words of the line instead of running it."""
        self.send(typed + TAB + TO_START + "show-words \r")
        shown = self.read_until("WORDS(.*?)END").group(1)
        return re.findall("<(.*?)>", shown)

    def end(self) -> None:
        os.close(self.terminal)
        os.kill(self.process, signal.SIGKILL)
        os.waitpid(self.process, 0)


def write(path: str, text: str, mode: int = 0o644) -> None:
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)
    os.chmod(path, mode)


def fill(folder: str, tvl: str, environment: dict[str, str]) -> subprocess.Popen[str]:
    """Makes a store, its contents and local files. Returns a client that holds a lock."""

    def run(*words: str) -> None:
        subprocess.run([tvl, *words], check=True, cwd=folder, env=environment, stdout=subprocess.DEVNULL)

    write(f"{folder}/show-words", "#!/bin/sh\nprintf WORDS; printf '<%s>' \"$@\"; echo END\n", 0o755)
    os.makedirs(f"{folder}/docs/deep")
    os.mkdir(f"{folder}/sub")
    for name in "with blank.txt", "docs/deep/file", "sub/inner.txt", "local.txt":
        write(f"{folder}/{name}", "text")
    run("init", "store")
    run("put", "-r", "docs", "with blank.txt")
    run("table", "create", "orders.dat", "--key1", "8", "--key2", "0", "--record", "20")
    run("env", "set", "AVALUE", "1")
    holder = subprocess.Popen([tvl, "--class", "mgrx", "lock", "ORD:1"], cwd=folder, env=environment, text=True,
                              stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    assert holder.stdout and "locked" in holder.stdout.readline()
    return holder


def check_shell(name: str, folder: str, environment: dict[str, str]) -> list[str]:
    shell = Shell(name, folder, environment)
    shell.send(SETUPS[name] + "\r")
    wrong = []
    for typed, expected in CASES:
        words = shell.complete(typed)
        if words != expected:
            wrong.append(f"{name}: {typed!r} became {words}, not {expected}")
    shell.end()
    return wrong


def check_busy_store(folder: str, tvl: str, environment: dict[str, str]) -> list[str]:
    """A store that does not answer in time: no candidates, no message, and no wait of the shell."""
    table = sqlite3.connect(f"{folder}/store/tmp/locks/dtlocks.dat")
    table.execute("BEGIN EXCLUSIVE")
    begin = time.monotonic()
    result = subprocess.run([tvl, "complete-line", "--", "tvl unlock "], env=environment, cwd=folder,
                            capture_output=True, check=False)
    taken = time.monotonic() - begin
    table.close()
    if result.stdout or result.stderr or result.returncode or not 1.5 < taken < 8:
        return [f"busy store: {result} after {taken:.1f} s"]
    return []


def main(tvl: str, name: str) -> int:
    if not shutil.which(name):
        print(f"{name} is not installed")
        return 77
    with tempfile.TemporaryDirectory() as folder:
        environment = {"HOME": folder, "PATH": f"{folder}:{os.path.dirname(tvl)}:{os.environ['PATH']}",
                       "TERM": "xterm", "LANG": "C.UTF-8", "TVL_CONFIG": f"{folder}/store/tvl.ini"}
        holder = fill(folder, tvl, environment)
        wrong = check_shell(name, folder, environment)
        if name == "bash":
            wrong += check_busy_store(folder, tvl, environment)
        holder.communicate("")
    print("\n".join(wrong))
    return 1 if wrong else 0


sys.exit(main(*sys.argv[1:]))
