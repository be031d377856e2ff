"""Usage: run_examples.py PROJECT TVL TVLSERVER

Runs the commands in the EXAMPLES of the man pages, each page on a store of its own, and compares what they print with
the page: the first column of each line, without its numbers. Paths like /srv/store are below a scratch folder.
"""

from __future__ import annotations

import collections
import grp
import os
import re
import signal
import socket
import subprocess
import sys
import tempfile
from pathlib import Path

MARK = "=== example"

# Commands that are not run, and why.
NOT_RUN = {
    "tvl doctor --peer monday /mnt/store": "needs a second computer",
    "tvl lock ORD1 -- vi order1.txt": "needs a person at the editor",
    "tvl init --postgresql store /srv/large": "needs a PostgreSQL server",
    "tvlserver --config /srv/store/tvl.ini --listen 0.0.0.0:7440 --allow 10.0.0.0/8": "runs until it is stopped",
    "tvl --tcp store.example.org:7440 ping": "needs a server with this name",
    ("tvl.ini.5", "tvl config show --origin"): "depends on the name of the computer and on /etc",
}
if os.geteuid() != 0 or not any(group.gr_name == "staff" for group in grp.getgrall()):
    NOT_RUN["tvl init --shared staff /srv/team"] = "needs root and a group"

# What is done for a page before its first command, or before one of its commands. HOLD: another client holds ORD1.
HOLD = "hold"
BEFORE = {
    "tvl-init.1": "rm -r /srv/store",
    "tvl.1": "rm -r /srv/store",
    "tvl-get.1": "tvl put -qr docs; rm -r docs",
    "tvl-cp.1": "tvl put -qr docs; tvl -q mkdir archive",
    "tvl-hash.1": "mkdir desk && cp -r docs desk",
    "tvl-info.1": "mkdir desk",
    "tvl-lock.1": "printf '#!/bin/sh' >nightly-run; chmod +x nightly-run",
    "tvl lock ORD1 -- true": HOLD,
    "tvl-locks.1": HOLD,
    "tvl-who.1": HOLD,
    "tvl-ls.1": "tvl put -qr docs",
    "tvl-mv.1": "tvl put -qr docs; tvl -q mkdir archive",
    "tvl-rm.1": "tvl put -qr docs; tvl -q mkdir archive",
    "tvl put -r docs": "echo new >docs/b.txt",
    "tvl-packs.1": "tvl -q env set UpdateDirectory packs; mkdir /srv/store/packs; "
    "touch /srv/store/packs/upd12.exe /srv/store/packs/upd123a.exe",
    "tvl-sync.1": "mkdir -p /srv/store/archive && cp -r docs /srv/store/archive",
    "tvl-config.1": r"printf '[TavolisFileSystem]\nDocumentRoot=/srv/store\nTmpDir=$Root/tmp\nFileComp=1\n"
    r"FileCompare=date\n[Environments]\nA=$B\nB=$A\nDocumentRoot=/srv/store\nTmpDir=$Root/tmp\n' >bad.ini",
    "tvl doctor --fix": "rm /srv/store/tmp/locks/dtlocks.dat; mkdir /srv/store/docs; touch /srv/store/docs/.14879.2.tvlpart",
    "tvl-restore.1": "tvl put -qr docs; tvl -q backup /mnt/backup/monday",
}


def examples(page: Path) -> list[tuple[str, list[str]]]:
    """The commands of a page, each with the lines that it prints."""
    found: list[tuple[str, list[str]]] = []
    section, is_literal = "", False
    for line in page.read_text(encoding="utf-8").splitlines():
        if line == "```":
            is_literal = not is_literal
        elif line.startswith("# ") and not is_literal:
            section = line[2:]
        elif section == "EXAMPLES" and is_literal:
            text = line.replace("\\\\", "\\")
            if text.startswith("$ "):
                found.append((text[2:], []))
            elif found:
                found[-1][1].append(text)
    return found


class Scratch:
    """The folder of a page with its store, and the programs that run meanwhile."""

    def __init__(self, folder: str, tvl: str, server: str) -> None:
        self.folder = folder
        self.server = server
        self.running: list[subprocess.Popen[str]] = []
        self.addresses: dict[str, str] = {}
        programs = {os.path.dirname(program) for program in (tvl, server)}
        self.environment = {"PATH": ":".join([*programs, os.environ["PATH"]]), "HOME": folder, "LC_ALL": "C.UTF-8"}
        self.environment["TVL_CONFIG"] = f"{folder}/srv/store/tvl.ini"
        for name in ("srv", "mnt", "tmp", "home"):
            os.mkdir(f"{folder}/{name}")
        self.shell("mkdir docs; echo hello >docs/a.txt; echo you! >docs/b.txt; tvl -q init /srv/store")

    def placed(self, text: str) -> str:
        """The text with its paths below the scratch folder, and the addresses of the real server."""
        text = re.sub(r"(?<![\w/.])/(srv|mnt|tmp)/", rf"{self.folder}/\1/", text)
        for written, real in self.addresses.items():
            text = text.replace(written, real)
        return text

    def start(self, *command: str) -> subprocess.Popen[str]:
        process = subprocess.Popen(command, env=self.environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.running.append(process)
        return process

    def serve(self) -> None:
        config = self.environment["TVL_CONFIG"]
        process = self.start(self.server, "--config", config, "--listen", "127.0.0.1:0", "--status", "127.0.0.1:0")
        assert process.stderr
        for line in process.stderr:
            if match := re.search(r" listen (for status )?(127\.0\.0\.1:\d+)", line):
                self.addresses["127.0.0.1:8080" if match[1] else "127.0.0.1:7440"] = match[2]
            if len(self.addresses) == 2:
                return
        raise AssertionError("the server did not start")

    def hold(self) -> None:
        process = self.start("tvl", "lock", "ORD1", "--", "sh", "-c", "echo held; exec sleep 60")
        assert process.stdout and process.stdout.readline() == "held\n"

    def shell(self, script: str) -> str:
        return subprocess.run(
            ["bash", "-c", self.placed(script)], cwd=f"{self.folder}/home", env=self.environment, text=True,
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120, check=False,
        ).stdout

    def close(self) -> None:
        for process in self.running:
            process.send_signal(signal.SIGKILL)
            process.communicate()


def skeleton(lines: list[str], folder: str) -> collections.Counter[str]:
    """The first columns without what differs from one computer to another. Their order is that of the folder."""
    computer = socket.gethostname().split(".")[0][:15].lower()
    found: collections.Counter[str] = collections.Counter()
    for line in lines:
        text = line.replace(folder, "").replace(computer, "pc12").rstrip()
        column = re.split(r"\s{2,}", text.strip())[0]
        column = re.sub(r"[0-9a-f]{40}|\d+(\.\d+)*", "#", column)
        column = re.sub(r"by \S+ on pc# \(#\)", "by NAME on pc# (#)", re.sub(r"# [kMG]?B\b", "# B", column))
        found[re.sub(r"# (document|table|file|folder|row)s?\b", r"# \1s", column)] += bool(column)
    return +found


def differences(command: str, expected: list[str], printed: list[str], folder: str) -> list[str]:
    wanted, seen = skeleton([line for line in expected if line != "..."], folder), skeleton(printed, folder)
    missing, extra = wanted - seen, seen - wanted
    if not expected or "..." in expected:
        extra.clear()
    if not missing and not extra:
        return []
    return [f"$ {command}", *(f"  not printed: {line}" for line in missing), *(f"  also printed: {line}" for line in extra)]


def prepare(scratch: Scratch, name: str) -> None:
    step = BEFORE.get(name, "")
    if step == HOLD:
        scratch.hold()
    elif step:
        printed = scratch.shell(step)
        assert not printed, f"{name}: {printed}"


def run_page(page: Path, tvl: str, server: str) -> list[str]:
    name = page.name.removesuffix(".scd")
    commands = [
        (command, expected)
        for command, expected in examples(page)
        if command not in NOT_RUN and (name, command) not in NOT_RUN
    ]
    if not commands:
        return []
    broken = []
    with tempfile.TemporaryDirectory() as folder:
        scratch = Scratch(folder, tvl, server)
        try:
            prepare(scratch, name)
            if any("127.0.0.1" in command for command, _ in commands):
                scratch.serve()
            kept = ""
            for command, expected in commands:
                prepare(scratch, command)
                # Assignments and the last status are kept from one command to the next.
                printed = scratch.shell(f"{kept}\n{command}\necho {MARK} $?")
                body, _, status = printed.rpartition(MARK)
                kept = re.sub(r"\n\(exit \d+\)", "", kept) + f"\n(exit {status.strip()})"
                if re.match(r"(export )?\w+=('[^']*'|\S+)$", command):
                    kept = f"{command}\n{kept}"
                broken += differences(command, expected, body.splitlines(), folder)
        finally:
            scratch.close()
    return broken


def main(project: str, tvl: str, server: str) -> int:
    broken = 0
    for page in sorted(Path(project, "man").glob("*.scd")):
        problems = run_page(page, tvl, server)
        broken += bool(problems)
        if problems:
            print(f"{page.name}:", *problems, sep="\n  ")
    return 1 if broken else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
