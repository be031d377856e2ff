"""Writes the rows of a CSV file to a table, or a table to a CSV file.

    csv_table.py CONFIG import TABLE SCHEMA KEY_LENGTH FILE.CSV
    csv_table.py CONFIG export TABLE SCHEMA FILE.CSV

The first column of the file is the key of a row, named "key"; the others have the names of the fields.
"""

from __future__ import annotations

import csv
import sys

from tavolis import FileError, Store, Table, TavolisError


def open_or_make(store: Store, name: str, schema: str, key_length: int) -> Table:
    try:
        return store.table(name, schema)
    except FileError:
        return store.make_table(name, schema, key1=key_length)


def import_rows(config: str, name: str, schema: str, key_length: str, path: str) -> None:
    with Store.directory(config) as store, open(path, newline="", encoding="utf-8") as file:
        table = open_or_make(store, name, schema, int(key_length))
        with table.batch() as batch:
            for row in csv.DictReader(file):
                batch[row.pop("key")] = row


def export_rows(config: str, name: str, schema: str, path: str) -> None:
    with Store.directory(config) as store, open(path, "w", newline="", encoding="utf-8") as file:
        table = store.table(name, schema)
        writer = csv.writer(file, lineterminator="\n")
        writer.writerow(["key", *(field.name for field in table.fields)])
        for key, row in table.items():
            writer.writerow([key, *row.values()])


def main(arguments: list[str]) -> int:
    try:
        match arguments:
            case [config, "import", name, schema, key_length, path]:
                import_rows(config, name, schema, key_length, path)
            case [config, "export", name, schema, path]:
                export_rows(config, name, schema, path)
            case _:
                print(__doc__, file=sys.stderr)
                return 2
    except TavolisError as failure:
        print(failure, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
