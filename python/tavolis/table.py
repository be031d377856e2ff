"""Keyed tables as mappings from key 1 to rows with the fields of a schema."""

from __future__ import annotations

import ctypes as c
from collections.abc import Iterable, Iterator, Mapping, MutableMapping
from dataclasses import dataclass
from decimal import Decimal
from types import TracebackType

from . import _native as native
from ._handle import Closing, Handle
from .errors import TavolisError

Value = str | int | Decimal

_LONGEST_TEXT = 6144
_ROW_NOT_DELETED = 35


@dataclass(frozen=True)
class Field:
    """A field of a schema: a text of `length` bytes, or a number with `length` digits and `decimals` places."""

    name: str
    is_number: bool
    length: int
    decimals: int

    def value(self, text: str) -> Value:
        if not self.is_number:
            return text
        return Decimal(text) if self.decimals else int(text)


class Row(Mapping[str, Value]):
    """The fields of a row, also as attributes: row.total is row["total"]. Names are in lower case."""

    __slots__ = ("_values",)

    def __init__(self, values: Mapping[str, Value]) -> None:
        self._values = dict(values)

    def __getitem__(self, name: str) -> Value:
        return self._values[name]

    def __getattr__(self, name: str) -> Value:
        try:
            return self._values[name]
        except KeyError:
            raise AttributeError(name) from None

    def __iter__(self) -> Iterator[str]:
        return iter(self._values)

    def __len__(self) -> int:
        return len(self._values)

    def __repr__(self) -> str:
        return "Row(" + ", ".join(f"{name}={value!r}" for name, value in self._values.items()) + ")"


class Table(Closing, MutableMapping[str, Row]):
    """A table of a store. Keys are those of key 1; an assigned row may be any mapping, and fields that it lacks are blank.

    Each call is one transaction. `batch` collects changes for one.
    """

    def __init__(self, handle: Handle, pointer: c.c_void_p, schema: str) -> None:
        self._handle = handle
        self._pointer = pointer
        self._schema = schema
        with self._records() as records:
            self.fields = records.fields()

    def __getitem__(self, key: str) -> Row:
        rows = self.read([key])
        if not rows:
            raise KeyError(key)
        return rows[0][1]

    def __setitem__(self, key: str, row: Mapping[str, object]) -> None:
        self.write([(key, row)])

    def __delitem__(self, key: str) -> None:
        try:
            self.delete([key])
        except TavolisError as failure:
            if failure.code != _ROW_NOT_DELETED or key in self:
                raise
            raise KeyError(key) from failure

    def __iter__(self) -> Iterator[str]:
        return (key for key, _ in self.read(None))

    def __len__(self) -> int:
        return len(self.read(None))

    def prefix(self, prefix: str) -> Iterator[tuple[str, Row]]:
        """The rows whose key begins with `prefix`, as one snapshot in the order of their keys."""
        return iter(self.read([prefix], by_prefix=True))

    def by_key2(self, key2: str, *, by_prefix: bool = False) -> Iterator[tuple[str, Row]]:
        """The rows with this key 2, or with keys 2 that begin with it. Their key 1 cannot be read."""
        return iter(self.read([key2], by_prefix=by_prefix, key_number=2))

    def read(
        self, keys: Iterable[str] | None, *, by_prefix: bool = False, key_number: int = 1
    ) -> list[tuple[str, Row]]:
        """The rows with these keys, or all rows for None."""
        array, count = _array(keys)
        with self._records() as records:
            self._handle.call(
                "table_read", self._pointer, key_number, int(by_prefix), array, count, records.pointer
            )
            return [
                (records.key(row, key_number), records.row(row, self.fields))
                for row in range(records.count())
            ]

    def write(
        self, rows: Iterable[tuple[str, Mapping[str, object]] | tuple[str, Mapping[str, object], str]]
    ) -> None:
        """Writes rows in one transaction: key 1, fields and, if wanted, key 2."""
        with self._records() as records:
            for key, row, *key2 in rows:
                records.add(str(key), row, key2[0] if key2 else None)
            self._handle.call("table_write", self._pointer, records.pointer)

    def delete(self, keys: Iterable[str], *, by_prefix: bool = False) -> None:
        """Deletes rows in one transaction, up to the first key that does not exist."""
        array, count = _array(keys)
        self._handle.call("table_delete", self._pointer, int(by_prefix), array, count)

    def batch(self) -> Batch:
        return Batch(self)

    def close(self) -> None:
        self._handle.close("table_close", self._pointer)

    def __del__(self) -> None:
        if self._pointer:
            native.library.tvlc_table_close(self._pointer)

    def _records(self) -> _Records:
        pointer = c.c_void_p()
        self._handle.call(
            "records_new", self._pointer, native.encoded(self._schema), c.byref(pointer)
        )
        return _Records(self._handle, pointer)


class Batch:
    """Changes of a table that are made at the end of a `with` block, unless it raises.

    All rows are written in one transaction, then the deletions made in another.
    """

    def __init__(self, table: Table) -> None:
        self._table = table
        self._changes: dict[str, Mapping[str, object] | None] = {}

    def __setitem__(self, key: str, row: Mapping[str, object]) -> None:
        self._changes[key] = row

    def __delitem__(self, key: str) -> None:
        self._changes[key] = None

    def __enter__(self) -> Batch:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, value: BaseException | None, trace: TracebackType | None
    ) -> None:
        if kind is not None:
            return
        written = [(key, row) for key, row in self._changes.items() if row is not None]
        deleted = [key for key, row in self._changes.items() if row is None]
        if written:
            self._table.write(written)
        if deleted:
            self._table.delete(deleted)


class _Records:
    """A record set, for one call."""

    def __init__(self, handle: Handle, pointer: c.c_void_p) -> None:
        self.pointer = pointer
        self._handle = handle
        self._buffer = c.create_string_buffer(_LONGEST_TEXT)

    def __enter__(self) -> _Records:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, value: BaseException | None, trace: TracebackType | None
    ) -> None:
        self._handle.close("records_close", self.pointer)

    def fields(self) -> tuple[Field, ...]:
        count = c.c_size_t()
        self._handle.call("records_field_count", self.pointer, c.byref(count))
        return tuple(self._field(index) for index in range(count.value))

    def count(self) -> int:
        count = c.c_size_t()
        self._handle.call("records_count", self.pointer, c.byref(count))
        return count.value

    def key(self, row: int, number: int) -> str:
        return self._text("records_key", row, number)

    def row(self, row: int, fields: tuple[Field, ...]) -> Row:
        return Row(
            {field.name: field.value(self._text("records_get_text", row, field.name.encode())) for field in fields}
        )

    def add(self, key: str, values: Mapping[str, object], key2: str | None) -> None:
        row = c.c_size_t()
        self._handle.call(
            "records_add", self.pointer, native.encoded(key), native.encoded(key2), None, 0, c.byref(row)
        )
        for name, value in values.items():
            text = format(value, "f") if isinstance(value, Decimal) else str(value)
            self._handle.call(
                "records_set_text", self.pointer, row.value, native.encoded(name), native.encoded(text)
            )

    def _field(self, index: int) -> Field:
        field = native.Field()
        self._handle.call("records_field", self.pointer, index, c.byref(field))
        return Field(native.decoded(field.name).lower(), field.type == b"F", field.length, field.decimals)

    def _text(self, function: str, row: int, which: bytes | int) -> str:
        self._handle.call(function, self.pointer, row, which, self._buffer, _LONGEST_TEXT)
        return native.decoded(self._buffer.value)


def schema_length(schema: str) -> int:
    """The number of bytes that the fields of a schema take in a record."""
    length = c.c_size_t()
    native.check_code(native.library.tvlc_schema_length(native.encoded(schema), c.byref(length)))
    return length.value


def _array(keys: Iterable[str] | None) -> tuple[c.Array[c.c_char_p] | None, int]:
    if keys is None:
        return None, 0
    if isinstance(keys, str):
        raise TypeError("keys must be a list of texts, not one text")
    texts = [native.encoded(key) for key in keys]
    return (c.c_char_p * len(texts))(*texts), len(texts)
