"""Appends a line to a file of the store under a lock, so that no program overwrites the line of another.

    locked_edit.py CONFIG WORK NAME LINE
"""

from __future__ import annotations

import sys
from pathlib import Path

from tavolis import Store, TavolisError

PATIENCE_SECONDS = 30


def append_line(config: str, work: str, name: str, line: str) -> None:
    # The name of the lock may be any of at most 32 bytes that the programs agree upon.
    with Store.directory(config, work=work, class_name="edit") as store:
        with store.lock(name, wait=PATIENCE_SECONDS) as lock:
            if store.exists(name):
                store.get(name)
            with open(Path(work) / name, "a", encoding="utf-8") as file:
                print(line, file=file)
            # After a long edit, make sure that the lock was not lost meanwhile, for example because the
            # share was gone.
            if not lock.is_held:
                raise SystemExit(f"{name}: the lock was lost")
            store.put(name)


def main(arguments: list[str]) -> int:
    if len(arguments) != 4:
        print(__doc__, file=sys.stderr)
        return 2
    try:
        append_line(*arguments)
    except TavolisError as failure:
        print(failure, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
