"""Fetches files from a store or stores them, and shows the progress.

    transfer.py CONFIG WORK get|put NAME...
"""

from __future__ import annotations

import sys

from tavolis import Store, TavolisError


def transfer(config: str, work: str, direction: str, names: list[str]) -> None:
    with Store.directory(config, work=work) as store:
        move = store.put if direction == "put" else store.get
        for number, name in enumerate(names, 1):
            outcome = "transferred" if move(name) else "already the same"
            print(f"[{number}/{len(names)}] {name}: {outcome}", flush=True)


def main(arguments: list[str]) -> int:
    match arguments:
        case [config, work, "get" | "put" as direction, *names] if names:
            try:
                transfer(config, work, direction, names)
            except TavolisError as failure:
                print(failure, file=sys.stderr)
                return 1
        case _:
            print(__doc__, file=sys.stderr)
            return 2
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
