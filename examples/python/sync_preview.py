"""Shows what a synchronization of a local folder with the store would do, and does it without its deletions.

    sync_preview.py CONFIG WORK FOLDER [--run]
"""

from __future__ import annotations

import sys

from tavolis import Operation, Store, Sync, TavolisError

WORDS = {
    Operation.KEEP: "keep",
    Operation.DELETE: "delete",
    Operation.FOLDER: "folder",
    Operation.COPY: "copy",
    Operation.LEFT_OUT: "left out",
}


def run_with_progress(sync: Sync) -> None:
    total = sum(entry.size for entry in sync.plan if entry.operation is Operation.COPY)
    done = 0

    def show(path: str, size: int) -> None:
        nonlocal done
        done += size
        print(f"{100 * done // total if total else 100:3d}% {path}")

    sync.run(show)


def preview(config: str, work: str, folder: str, run: bool) -> bool:
    with Store.directory(config, work=work) as store, store.sync(folder, folder) as sync:
        for entry in sync.plan:
            print(WORDS[entry.operation], entry.target)
        sync.remove_deletions()
        if not run:
            return True
        run_with_progress(sync)
        failures = [result.failure for result in sync.results if result.failure is not None]
        for failure in failures:
            print(failure, file=sys.stderr)
        return not failures


def main(arguments: list[str]) -> int:
    match arguments:
        case [config, work, folder, *rest] if rest in ([], ["--run"]):
            try:
                return 0 if preview(config, work, folder, bool(rest)) else 1
            except TavolisError as failure:
                print(failure, file=sys.stderr)
                return 1
    print(__doc__, file=sys.stderr)
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
