"""Synchronization: a plan that can be changed, and is carried out once."""

from __future__ import annotations

import ctypes as c
import enum
from dataclasses import dataclass

from . import _native as native
from ._handle import Closing, Handle, Progress
from .errors import TavolisError


class Exclude(enum.IntFlag):
    """Files that a plan ignores."""

    NONE = 0
    DATABASE = 1
    DOCUMENT = 2
    PDF = 4


class Operation(enum.IntEnum):
    """What a plan does for an entry."""

    KEEP = 0
    DELETE = 1
    FOLDER = 2
    COPY = 3
    LEFT_OUT = 4


@dataclass(frozen=True)
class PlanEntry:
    """An entry of a plan. `size` is that of a file to keep or to copy."""

    index: int
    operation: Operation
    source: str
    target: str
    size: int
    is_removed: bool


@dataclass(frozen=True)
class Result:
    """The result of an entry: `failure` is None if it succeeded."""

    entry: PlanEntry
    is_done: bool
    failure: TavolisError | None


class Sync(Closing):
    """A plan. Nothing changes before `run`. A store has one plan at a time that is not carried out."""

    def __init__(self, handle: Handle, pointer: c.c_void_p) -> None:
        self._handle = handle
        self._pointer = pointer

    @property
    def plan(self) -> list[PlanEntry]:
        return [self._entry(index) for index in range(self._count())]

    def remove(self, entry: PlanEntry | int) -> None:
        """Removes an entry: nothing is done for it. The others keep their index."""
        index = entry if isinstance(entry, int) else entry.index
        self._handle.call("sync_remove_entry", self._pointer, index)

    def remove_deletions(self) -> None:
        """Removes all deletions from the plan."""
        for entry in self.plan:
            if entry.operation is Operation.DELETE:
                self.remove(entry)

    def run(self, progress: Progress | None = None) -> None:
        """Carries out the plan. Raises the last failure; `results` has those of all entries."""
        self._handle.call_long("sync_run", self._pointer, progress=progress)

    @property
    def results(self) -> list[Result]:
        return [self._result(entry) for entry in self.plan]

    def close(self) -> None:
        self._handle.close("sync_close", self._pointer)

    def __del__(self) -> None:
        if self._pointer:
            native.library.tvlc_sync_close(self._pointer)

    def _count(self) -> int:
        count = c.c_size_t()
        self._handle.call("sync_count", self._pointer, c.byref(count))
        return count.value

    def _entry(self, index: int) -> PlanEntry:
        entry = native.SyncEntry()
        self._handle.call("sync_get_entry", self._pointer, index, c.byref(entry))
        return PlanEntry(
            index,
            Operation(entry.operation),
            native.decoded(entry.source),
            native.decoded(entry.target),
            entry.bytes,
            entry.is_removed != 0,
        )

    def _result(self, entry: PlanEntry) -> Result:
        done, error = c.c_int(), native.Error()
        self._handle.call("sync_result", self._pointer, entry.index, c.byref(done), c.byref(error))
        failure = native.error_of(error) if error.code != native.OK else None
        return Result(entry, done.value != 0, failure)
