"""Writes rows of a keyed table, and reads and changes those whose key begins with a prefix.

    orders_table.py CONFIG
"""

from __future__ import annotations

import sys

from tavolis import FileError, Store, Table, TavolisError

# A text of 8 bytes, and a number of 7 digits before the point and 2 after it.
SCHEMA = "number-D8 total-F7.2"
ORDERS = {"A1": "12.50", "A2": "7.00", "B1": "-3.20"}


def open_or_make(store: Store, name: str) -> Table:
    try:
        return store.table(name, SCHEMA)
    except FileError:
        return store.make_table(name, SCHEMA, key1=8)


def write_and_cancel(config: str) -> None:
    with Store.directory(config) as store, open_or_make(store, "orders.dat") as table:
        with table.batch() as batch:  # one transaction
            for number, total in ORDERS.items():
                batch[number] = {"number": number, "total": total}
        with table.batch() as batch:
            for key, order in table.prefix("A"):
                batch[key] = {**order, "total": 0}
                print(f"{order.number} {order.total} is cancelled")


def main(arguments: list[str]) -> int:
    if len(arguments) != 1:
        print(__doc__, file=sys.stderr)
        return 2
    try:
        write_and_cancel(*arguments)
    except TavolisError as failure:
        print(failure, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
