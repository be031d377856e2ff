"""Stores: files, trees, locks, presence, values."""

from __future__ import annotations

import ctypes as c
import os
import time
from collections.abc import Callable
from dataclasses import dataclass
from types import TracebackType
from typing import Any, TypeVar

from . import _native as native
from ._handle import Closing, Handle, Progress
from .errors import Locked
from .sync import Exclude, Sync
from .table import Table, schema_length

StrPath = str | os.PathLike[str]
T = TypeVar("T")

_POLL_SECONDS = 0.2


@dataclass(frozen=True)
class StoreInfo:
    """A connection: its store, its own names, and its folders."""

    is_server: bool
    in_place: bool
    instance: int
    compares: int
    version: int
    short_name: str
    long_name: str
    computer: str
    user: str
    root: str
    work: str
    server_version: str


@dataclass(frozen=True)
class Entry:
    """A name in a folder. One that is left out cannot be used in a path."""

    name: str
    is_folder: bool
    is_left_out: bool


@dataclass(frozen=True)
class Owner:
    """The owner of a lock."""

    instance: int
    pid: int
    computer: str
    address: str
    user: str


@dataclass(frozen=True)
class LockRow:
    """An existing lock. If its owner is not alive, the next client that asks gets the lock."""

    object: str
    computer: str
    address: str
    class_name: str
    user: str
    instance: int
    pid: int
    is_alive: bool


@dataclass(frozen=True)
class Instance:
    """A client that is connected to the store."""

    computer: str
    address: str
    class_name: str
    instance: int
    pid: int


@dataclass(frozen=True)
class Pack:
    """An update pack of the store."""

    number: int
    suffix: str
    file: str


@dataclass(frozen=True)
class Finding:
    """What one check of a store found: the verdict 0 is ok, 1 a warning, 2 bad."""

    check: str
    needed: bool
    verdict: int
    detail: str
    remedy: str


class Store(Closing):
    """A connection to a store, to be opened by `directory` or `server`.

    Names in the store are relative to the store, local names to the working directory.
    """

    def __init__(self, pointer: c.c_void_p) -> None:
        self._handle = Handle(pointer)

    @classmethod
    def directory(
        cls, config: StrPath, *, work: StrPath | None = None, class_name: str = "tvlc"
    ) -> Store:
        """Opens a store by its configuration. Without `work`, its files are used in place."""
        pointer, error = c.c_void_p(), native.Error()
        code = native.library.tvlc_open_directory(
            c.byref(pointer),
            native.encoded(config),
            native.encoded(work),
            native.encoded(class_name),
            c.byref(error),
        )
        native.check(code, error)
        return cls(pointer)

    @classmethod
    def server(
        cls,
        host: str,
        port: int,
        *,
        tag: str = "",
        work: StrPath | None = None,
        class_name: str = "tvlc",
    ) -> Store:
        """Opens a store that a server serves. It offers transfers, locks and presence only."""
        if not 0 < port < 65536:
            raise ValueError("the port must be from 1 to 65535")
        pointer, error = c.c_void_p(), native.Error()
        code = native.library.tvlc_open_server(
            c.byref(pointer),
            native.encoded(host),
            port,
            native.encoded(work),
            native.encoded(class_name),
            native.encoded(tag),
            c.byref(error),
        )
        native.check(code, error)
        return cls(pointer)

    @staticmethod
    def make(folder: StrPath, *, group_id: int = -1) -> None:
        """Creates a store, which all members of a group can use if `group_id` is not -1."""
        error = native.Error()
        native.check(
            native.library.tvlc_make_store(native.encoded(folder), group_id, c.byref(error)), error
        )

    @staticmethod
    def check(folder: StrPath, *, try_out: bool = False) -> list[Finding]:
        """Tests whether locks can be trusted in a folder. `try_out` also writes, in a folder of its own."""
        findings: list[Finding] = []
        error = native.Error()
        callback = native.FINDING_CALLBACK(lambda found, _: findings.append(_row(Finding, found[0])))
        code = native.library.tvlc_check_store(
            native.encoded(folder), int(try_out), callback, None, c.byref(error)
        )
        native.check(code, error)
        return findings

    def close(self) -> None:
        """Ends the connection with its presence and its locks. Closing it again does nothing."""
        self._handle.close("close", self._handle.pointer)

    def __del__(self) -> None:
        handle = getattr(self, "_handle", None)
        if handle is not None and handle.pointer:
            native.library.tvlc_close(handle.pointer)

    def stop(self, on: bool = True) -> None:
        """Ends long operations with Stopped, until it is called with False. Any thread, at any time."""
        self._handle.stop(on)

    @property
    def info(self) -> StoreInfo:
        result = native.StoreInfo()
        self._call("describe", c.byref(result))
        return _row(StoreInfo, result)

    # --- Files ---

    def get(self, name: StrPath, local: StrPath | None = None, *, force: bool = False) -> bool:
        """Fetches a file. Returns False if both copies were the same, so that nothing was transferred."""
        return self._transfer("get", name, local, force)

    def put(self, name: StrPath, local: StrPath | None = None, *, force: bool = False) -> bool:
        """Stores a local file as `name`. Returns False if both copies were the same."""
        return self._transfer("put", name, local, force)

    def exists(self, name: StrPath) -> bool:
        return self._flag("exists", native.encoded(name))

    def compare(self, name: StrPath, local: StrPath | None = None) -> bool:
        """Returns whether the store's compare policy finds both files equal."""
        return self._flag("compare", native.encoded(name), native.encoded(local))

    # --- The store's tree ---

    def listing(self, folder: StrPath = "", pattern: str | None = None) -> list[Entry]:
        entries: list[Entry] = []
        raised: list[BaseException] = []

        def add(entry: Any, _: object) -> int:
            try:
                entries.append(_row(Entry, entry[0]))
            except BaseException as failure:  # pylint: disable=broad-except
                raised.append(failure)
            return len(raised)

        callback = native.ENTRY_CALLBACK(add)
        failure = self._handle.attempt(
            "list", self._handle.pointer, native.encoded(folder), native.encoded(pattern), callback, None
        )
        if raised:
            raise raised[0]
        if failure is not None:
            raise failure
        return entries

    def make_folder(self, name: StrPath) -> None:
        self._call("make_folder", native.encoded(name))

    def remove_file(self, name: StrPath) -> None:
        self._call("remove_file", native.encoded(name))

    def rename(self, old_name: StrPath, new_name: StrPath) -> None:
        self._call("rename", native.encoded(old_name), native.encoded(new_name))

    def copy_file(self, source: StrPath, target: StrPath) -> None:
        self._call("copy_file", native.encoded(source), native.encoded(target))

    def copy_tree(self, source: StrPath, target: StrPath, progress: Progress | None = None) -> None:
        """Copies a tree within the store. Files that cannot be copied do not end it, but raise at the end."""
        self._copy_tree("copy_tree", source, target, progress)

    def get_tree(self, name: StrPath, local: StrPath, progress: Progress | None = None) -> None:
        """Copies a tree from the store to a local folder; see copy_tree."""
        self._copy_tree("get_tree", name, local, progress)

    def put_tree(self, name: StrPath, local: StrPath, progress: Progress | None = None) -> None:
        """Copies a local folder to the store as `name`; see copy_tree."""
        self._copy_tree("put_tree", name, local, progress)

    def remove_tree(self, name: StrPath, progress: Progress | None = None) -> None:
        self._handle.call_long(
            "remove_tree", self._handle.pointer, native.encoded(name), progress=progress
        )

    def sync(
        self,
        name: StrPath,
        local: StrPath,
        *,
        push: bool = False,
        pattern: str | None = None,
        exclude: Exclude = Exclude.NONE,
    ) -> Sync:
        """Plans how to make the local folder equal to the store's, or with `push` the reverse."""
        pointer = c.c_void_p()
        self._call(
            "sync_push" if push else "sync_pull",
            native.encoded(name),
            native.encoded(local),
            native.encoded(pattern),
            int(exclude),
            c.byref(pointer),
        )
        return Sync(self._handle, pointer)

    # --- Locks and presence ---

    def lock(self, name: str, *, wait: float = 0) -> Lock:
        """A lock to be held by `with`. It waits up to `wait` seconds for its owner."""
        return Lock(self, name, wait)

    def acquire(self, name: str) -> Owner | None:
        """Asks for a lock. Returns None if this connection has it now, else its owner."""
        owner = native.Owner()
        failure = self._handle.attempt(
            "lock", self._handle.pointer, native.encoded(name), c.byref(owner)
        )
        if failure is not None and failure.code == native.LOCKED:
            return _row(Owner, owner)
        if failure is not None:
            raise failure
        return None

    def release(self, name: str) -> None:
        """Releases a lock. Raises Locked if another instance has it."""
        self._call("unlock", native.encoded(name), None)

    def holds(self, name: str) -> bool:
        """Returns whether other clients see this connection as the owner of the lock."""
        return self._flag("holds", native.encoded(name))

    @property
    def is_present(self) -> bool:
        return self._flag("is_present")

    def locks(self) -> list[LockRow]:
        return self._rows("locks", native.LockRow, LockRow)

    def who(self, class_name: str | None = None) -> list[Instance]:
        """The other live instances, of one class or of all."""
        return self._rows("instances", native.Instance, Instance, native.encoded(class_name))

    # --- Values and update packs ---

    def value(self, name: str) -> str | None:
        text = c.c_void_p()
        self._call("get_value", native.encoded(name), c.byref(text))
        if not text.value:
            return None
        try:
            return native.decoded(c.string_at(text.value))
        finally:
            native.library.tvlc_free(text)

    def set_value(self, name: str, value: str | None) -> None:
        """Sets a value, or deletes it with None."""
        self._call("set_value", native.encoded(name), native.encoded(value))

    def values(self) -> dict[str, str]:
        rows = self._rows("values", native.Value, _Value)
        return {row.name: row.value for row in rows}

    def packs(self, prefix: str = "") -> list[Pack]:
        return self._rows("packs", native.Pack, Pack, native.encoded(prefix))

    # --- Tables ---

    def table(self, name: StrPath, schema: str) -> Table:
        """Opens a table whose records have the fields of a schema, such as "customer-D8 total-F7.2"."""
        pointer = c.c_void_p()
        self._call("table_open", native.encoded(name), c.byref(pointer))
        return Table(self._handle, pointer, schema)

    def make_table(
        self, name: StrPath, schema: str, *, key1: int, key2: int = 0, replace: bool = False
    ) -> Table:
        """Creates a table with keys of these lengths. `replace` deletes an existing one with its rows."""
        pointer = c.c_void_p()
        self._call(
            "table_make",
            native.encoded(name),
            schema_length(schema),
            key1,
            key2,
            int(replace),
            c.byref(pointer),
        )
        return Table(self._handle, pointer, schema)

    # --- Shared ---

    def _call(self, function: str, *arguments: Any) -> None:
        self._handle.call(function, self._handle.pointer, *arguments)

    def _flag(self, function: str, *arguments: Any) -> bool:
        answer = c.c_int()
        self._call(function, *arguments, c.byref(answer))
        return answer.value != 0

    def _transfer(self, function: str, name: StrPath, local: StrPath | None, force: bool) -> bool:
        return self._flag(function, native.encoded(name), native.encoded(local), int(force))

    def _copy_tree(
        self, function: str, first: StrPath, second: StrPath, progress: Progress | None
    ) -> None:
        self._handle.call_long(
            function,
            self._handle.pointer,
            native.encoded(first),
            native.encoded(second),
            progress=progress,
            after=(None,),
        )

    def _rows(
        self, function: str, struct: type[c.Structure], result: Callable[..., T], *arguments: Any
    ) -> list[T]:
        array, count = c.c_void_p(), c.c_size_t()
        self._call(function, *arguments, c.byref(array), c.byref(count))
        try:
            pointers = c.cast(array, c.POINTER(c.POINTER(struct)))
            return [_row(result, pointers[at][0]) for at in range(count.value)]
        finally:
            native.library.tvlc_free(array)


@dataclass(frozen=True)
class _Value:
    name: str
    value: str


class Lock:
    """A lock that is held inside a `with` block. `owner` is the last other owner that was seen."""

    def __init__(self, store: Store, name: str, wait: float) -> None:
        self.name = name
        self.owner: Owner | None = None
        self._store = store
        self._wait = wait

    def __enter__(self) -> Lock:
        end = time.monotonic() + self._wait
        while (owner := self._store.acquire(self.name)) is not None:
            self.owner = owner
            left = end - time.monotonic()
            if left <= 0:
                text = f"process {owner.pid} of {owner.user} on {owner.computer} has the lock"
                raise Locked(native.LOCKED, text, path=self.name)
            time.sleep(min(_POLL_SECONDS, left))
        return self

    def __exit__(
        self, kind: type[BaseException] | None, value: BaseException | None, trace: TracebackType | None
    ) -> None:
        self._store.release(self.name)

    @property
    def is_held(self) -> bool:
        """Whether other clients still respect the lock."""
        return self._store.holds(self.name)


def file_hash(path: StrPath) -> tuple[int, str]:
    """Size and SHA-1 of a local file."""
    size, digits, error = c.c_uint64(), c.create_string_buffer(41), native.Error()
    code = native.library.tvlc_hash(native.encoded(path), c.byref(size), digits, c.byref(error))
    native.check(code, error)
    return size.value, digits.value.decode()


def _row(result: Callable[..., T], struct: c.Structure) -> T:
    """Copies a structure, except for its size, to a data class with the same fields."""
    annotations: dict[str, str] = getattr(result, "__annotations__")
    values = {}
    for name, kind in annotations.items():
        value = getattr(struct, name)
        if kind == "str":
            value = native.decoded(value)
        values[name] = bool(value) if kind == "bool" else value
    return result(**values)
