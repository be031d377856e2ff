"""What the objects on one connection share: calls that raise, progress, and Ctrl-C."""

from __future__ import annotations

import ctypes as c
import signal
import threading
from collections.abc import Callable
from types import FrameType
from typing import Any, Self

from . import _native as native
from .errors import ConnectionFailed, TavolisError

Progress = Callable[[str, int], object]


class Handle:
    """The connection of a store. Calls and the errors that belong to them are kept together by a lock."""

    def __init__(self, pointer: c.c_void_p) -> None:
        self.pointer = pointer
        self._lock = threading.RLock()
        self._end = threading.RLock()  # stop must not meet a connection that is being freed

    def call(self, name: str, first: c.c_void_p, *arguments: Any) -> None:
        """Calls a function on an object of this connection. Raises if it fails."""
        failure = self.attempt(name, first, *arguments)
        if failure is not None:
            raise failure

    def attempt(self, name: str, first: c.c_void_p, *arguments: Any) -> TavolisError | None:
        """Calls a function, and returns its failure."""
        with self._lock:
            if not first or not self.pointer:
                return ConnectionFailed(native.NOT_CONNECTED, "the store or the object is closed")
            if getattr(native.library, "tvlc_" + name)(first, *arguments) == native.OK:
                return None
            error = native.Error()
            native.library.tvlc_last_error(self.pointer, c.byref(error))
            return native.error_of(error)

    def close(self, name: str, pointer: c.c_void_p) -> None:
        """Closes an object. Raises within a callback of the same store."""
        with self._lock:
            if not pointer:
                return
            with self._end:
                native.check_code(getattr(native.library, "tvlc_" + name)(pointer))
                pointer.value = None

    def stop(self, on: bool) -> None:
        with self._end:
            if self.pointer:
                native.library.tvlc_stop(self.pointer, int(on))

    def call_long(
        self,
        name: str,
        first: c.c_void_p,
        *arguments: Any,
        progress: Progress | None,
        after: tuple[Any, ...] = (),
    ) -> None:
        """Calls a function with a progress callback and its data, which the arguments `after` follow.

        The callback is always passed, since Python handles signals only while it runs.
        """
        reporter = Reporter(progress)
        with Interruptible(self) as interruptible:
            failure = self.attempt(name, first, *arguments, reporter.callback, None, *after)
        if reporter.raised is not None:
            raise reporter.raised
        if interruptible.interrupted:
            raise KeyboardInterrupt
        if failure is not None:
            raise failure


class Closing:
    """An object that is closed at the end of a `with` statement."""

    def close(self) -> None:
        raise NotImplementedError

    def __enter__(self) -> Self:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()


class Reporter:
    """Passes progress to Python. An exception, or the result False, stops the operation."""

    def __init__(self, progress: Progress | None) -> None:
        self.raised: BaseException | None = None
        self.callback = native.PROGRESS(self._report)
        self._progress = progress

    def _report(self, path: bytes, size: int, _data: object) -> int:
        try:
            return int(self._progress is not None and self._progress(native.decoded(path), size) is False)
        except BaseException as raised:  # pylint: disable=broad-except
            self.raised = raised
            return 1


class Interruptible:
    """Turns Ctrl-C into the end of a long operation between two files.

    Python's own handler raises at an arbitrary place, which may be outside the part of a callback that catches it.
    """

    def __init__(self, handle: Handle) -> None:
        self.interrupted = False
        self._handle = handle
        self._replaced = False

    def __enter__(self) -> Interruptible:
        is_main = threading.current_thread() is threading.main_thread()
        if is_main and signal.getsignal(signal.SIGINT) is signal.default_int_handler:
            signal.signal(signal.SIGINT, self._interrupt)
            self._replaced = True
        return self

    def __exit__(self, *_: object) -> None:
        if self._replaced:
            signal.signal(signal.SIGINT, signal.default_int_handler)
        if self.interrupted:
            self._handle.stop(False)

    def _interrupt(self, _number: int, _frame: FrameType | None) -> None:
        self.interrupted = True
        self._handle.stop(True)
