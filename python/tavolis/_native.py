"""The functions and structures of tvlc.h."""

from __future__ import annotations

import ctypes as c
import os
from typing import Any

from .errors import TavolisError, error_class

OK = 0
NOT_CONNECTED = 8
LOCKED = 46

PROGRESS = c.CFUNCTYPE(c.c_int, c.c_char_p, c.c_uint64, c.c_void_p)


class _Struct(c.Structure):
    """A structure of the interface, which begins with its size."""

    def __init__(self) -> None:
        super().__init__(c.sizeof(self))


class Error(_Struct):
    _fields_ = [
        ("size", c.c_size_t),
        ("code", c.c_int),
        ("system_error", c.c_int),
        ("path", c.c_char * 1024),
        ("text", c.c_char * 256),
    ]


class StoreInfo(_Struct):
    _fields_ = [
        ("size", c.c_size_t),
        ("is_server", c.c_int),
        ("in_place", c.c_int),
        ("instance", c.c_int),
        ("compares", c.c_int),
        ("version", c.c_uint),
        ("short_name", c.c_char * 64),
        ("long_name", c.c_char * 256),
        ("computer", c.c_char * 128),
        ("user", c.c_char * 64),
        ("root", c.c_char * 260),
        ("work", c.c_char * 260),
        ("server_version", c.c_char * 32),
    ]


class Entry(_Struct):
    _fields_ = [
        ("size", c.c_size_t),
        ("name", c.c_char_p),
        ("is_folder", c.c_int),
        ("is_left_out", c.c_int),
    ]


class SyncEntry(_Struct):
    _fields_ = [
        ("size", c.c_size_t),
        ("operation", c.c_int),
        ("is_removed", c.c_int),
        ("bytes", c.c_uint64),
        ("source", c.c_char_p),
        ("target", c.c_char_p),
    ]


class Owner(_Struct):
    _fields_ = [
        ("size", c.c_size_t),
        ("instance", c.c_int),
        ("pid", c.c_int),
        ("computer", c.c_char * 64),
        ("address", c.c_char * 16),
        ("user", c.c_char * 72),
    ]


class LockRow(_Struct):
    _fields_ = [
        ("size", c.c_size_t),
        ("object", c.c_char_p),
        ("computer", c.c_char_p),
        ("address", c.c_char_p),
        ("class_name", c.c_char_p),
        ("user", c.c_char_p),
        ("instance", c.c_int),
        ("pid", c.c_int),
        ("is_alive", c.c_int),
    ]


class Instance(_Struct):
    _fields_ = [
        ("size", c.c_size_t),
        ("computer", c.c_char_p),
        ("address", c.c_char_p),
        ("class_name", c.c_char_p),
        ("instance", c.c_int),
        ("pid", c.c_int),
    ]


class Value(_Struct):
    _fields_ = [("size", c.c_size_t), ("name", c.c_char_p), ("value", c.c_char_p)]


class Pack(_Struct):
    _fields_ = [
        ("size", c.c_size_t),
        ("number", c.c_int),
        ("suffix", c.c_char_p),
        ("file", c.c_char_p),
    ]


class TableInfo(_Struct):
    _fields_ = [
        ("size", c.c_size_t),
        ("record_length", c.c_size_t),
        ("key1_length", c.c_size_t),
        ("key2_length", c.c_size_t),
    ]


class Field(_Struct):
    _fields_ = [
        ("size", c.c_size_t),
        ("name", c.c_char * 64),
        ("type", c.c_char),
        ("length", c.c_int),
        ("decimals", c.c_int),
        ("offset", c.c_size_t),
        ("bytes", c.c_size_t),
    ]


class Finding(_Struct):
    _fields_ = [
        ("size", c.c_size_t),
        ("check", c.c_char_p),
        ("needed", c.c_int),
        ("verdict", c.c_int),
        ("detail", c.c_char_p),
        ("remedy", c.c_char_p),
    ]


ENTRY_CALLBACK = c.CFUNCTYPE(c.c_int, c.POINTER(Entry), c.c_void_p)
FINDING_CALLBACK = c.CFUNCTYPE(None, c.POINTER(Finding), c.c_void_p)

# The letters stand for argument types: h a handle or an array, s a text, i int, z size_t, o an output or a
# structure by address, p and e and f a callback, n uint16_t, q int64_t.
_TYPES: dict[str, Any] = {
    "h": c.c_void_p,
    "s": c.c_char_p,
    "i": c.c_int,
    "z": c.c_size_t,
    "o": c.c_void_p,
    "p": PROGRESS,
    "e": ENTRY_CALLBACK,
    "f": FINDING_CALLBACK,
    "n": c.c_uint16,
    "q": c.c_int64,
}

_FUNCTIONS = {
    "open_directory": "ossso",
    "open_server": "osnssso",
    "close": "h",
    "last_error": "ho",
    "describe": "ho",
    "get": "hssio",
    "put": "hssio",
    "exists": "hso",
    "compare": "hsso",
    "hash": "sooo",
    "list": "hsseo",
    "make_folder": "hs",
    "remove_file": "hs",
    "rename": "hss",
    "copy_file": "hss",
    "copy_tree": "hsspoo",
    "get_tree": "hsspoo",
    "put_tree": "hsspoo",
    "remove_tree": "hspo",
    "sync_pull": "hsssio",
    "sync_push": "hsssio",
    "sync_count": "ho",
    "sync_get_entry": "hzo",
    "sync_remove_entry": "hz",
    "sync_run": "hpo",
    "sync_result": "hzoo",
    "sync_close": "h",
    "lock": "hso",
    "unlock": "hso",
    "holds": "hso",
    "is_present": "ho",
    "locks": "hoo",
    "instances": "hsoo",
    "get_value": "hso",
    "set_value": "hss",
    "values": "hoo",
    "packs": "hsoo",
    "table_open": "hso",
    "table_make": "hszzzio",
    "table_close": "h",
    "table_describe": "ho",
    "table_read": "hiihzh",
    "table_write": "hh",
    "table_delete": "hihz",
    "schema_length": "so",
    "records_new": "hso",
    "records_close": "h",
    "records_count": "ho",
    "records_clear": "h",
    "records_add": "hssozo",
    "records_key": "hzioz",
    "records_bytes": "hzoz",
    "records_field_count": "ho",
    "records_field": "hzo",
    "records_get_text": "hzsoz",
    "records_set_text": "hzss",
    "make_store": "sio",
    "check_store": "sifoo",
}


def _load() -> c.CDLL:
    library = c.CDLL(os.environ.get("TVL_LIBRARY", "libtvlclient.so.1"))
    for name, letters in _FUNCTIONS.items():
        function = library["tvlc_" + name]
        function.restype = c.c_int
        function.argtypes = [_TYPES[letter] for letter in letters]
        setattr(library, "tvlc_" + name, function)
    library.tvlc_stop.argtypes = [c.c_void_p, c.c_int]
    library.tvlc_stop.restype = None
    library.tvlc_free.argtypes = [c.c_void_p]
    library.tvlc_free.restype = None
    library.tvlc_error_text.argtypes = [c.c_int]
    library.tvlc_error_text.restype = c.c_char_p
    return library


library = _load()


def encoded(text: str | os.PathLike[str] | None) -> bytes | None:
    """A text or path as bytes. A NUL would end it early."""
    if text is None:
        return None
    data = os.fsencode(text)
    if b"\0" in data:
        raise ValueError("embedded NUL")
    return data


def decoded(data: bytes | None) -> str:
    """Bytes of the library as a text. Names that are not UTF-8 survive the way back."""
    return os.fsdecode(data or b"")


def error_of(error: Error) -> TavolisError:
    return error_class(error.code)(error.code, decoded(error.text), error.system_error, decoded(error.path))


def check_code(code: int) -> None:
    """Raises for a function that describes no failure."""
    if code != OK:
        raise error_class(code)(code, decoded(library.tvlc_error_text(code)))


def check(code: int, error: Error) -> None:
    """Raises for a function that described its failure in `error`."""
    if code != OK:
        raise error_of(error)
