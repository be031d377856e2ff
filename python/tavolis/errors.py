"""One exception class for each family of codes."""

from __future__ import annotations


class TavolisError(Exception):
    """A failed operation: the code of the library, the system's error number or 0, and the path or ""."""

    def __init__(self, code: int, text: str, errno: int = 0, path: str = "") -> None:
        super().__init__(f"{text}: {path}" if path else text)
        self.code = code
        self.errno = errno
        self.path = path


class NotSupported(TavolisError):
    """A server does not offer the operation."""


class ConfigurationError(TavolisError):
    """The configuration of a store cannot be used."""


class ConnectionFailed(TavolisError):
    """The connection is closed or lost, the server cannot be reached, or it refused this client."""


class FileError(TavolisError):
    """A file, folder or table of the store, or a local one, cannot be accessed."""


class TableError(TavolisError):
    """Rows of a table cannot be read or written, or a value does not fit its field."""


class Stopped(TavolisError):
    """The progress callback, or Store.stop, ended the operation."""


class StoreError(TavolisError):
    """A store exists already, or is in use."""


class ArgumentError(TavolisError, ValueError):
    """An argument is too long or out of range."""


class Busy(TavolisError):
    """A callback used its own store, or the store has a plan that is not carried out."""


class OutOfMemory(TavolisError, MemoryError):
    """Memory ran out in the library."""


class LockError(TavolisError):
    """The lock would be ignored by other clients, since this one has no presence."""


class Locked(LockError):
    """Another instance has the lock."""


_FAMILIES: tuple[tuple[range, type[TavolisError]], ...] = (
    (range(1, 2), NotSupported),
    (range(2, 8), ConfigurationError),
    (range(8, 13), ConnectionFailed),
    (range(18, 29), FileError),
    (range(30, 36), TableError),
    (range(40, 41), Stopped),
    (range(41, 43), StoreError),
    (range(43, 44), ArgumentError),
    (range(44, 45), Busy),
    (range(45, 46), OutOfMemory),
    (range(46, 47), Locked),
    (range(47, 48), LockError),
)


def error_class(code: int) -> type[TavolisError]:
    """The class for a code. A server may send any code."""
    for codes, family in _FAMILIES:
        if code in codes:
            return family
    return TavolisError
