"""The install_cpputil library from Python: installation log, interrupt flag, input file,
validation, version comparison, sandbox detection, locale and trace channels.

Pure Python over the library's C interface (``ctypes``), so it needs no compiler and works with
any Python 3 that can load the shared library, found by its SONAME
(``libinstall_cpputil.so.1``; ``install_cpputil.dll`` on Windows). Exception texts are the
library's own, byte for byte::

    import install_cpputil as cpputil

    with cpputil.Logger("logs/install.log"):
        cpputil.append_message("Setup begun.")
        settings = cpputil.parse("input.txt")   # {"mode": "typical", "product": ["Core"]}
        cpputil.validate({"mode": settings["mode"]}, {"mode": "strval:typical,custom"})
"""

from __future__ import annotations

import ctypes
import os
import sys
import types
from typing import Callable, Dict, List, Mapping, Optional, Union

__all__ = [
    "Interrupted",
    "Logger",
    "ValidationError",
    "append_file",
    "append_message",
    "channel_mask",
    "compare_versions",
    "get_destination",
    "get_last_destination",
    "interrupt_is_set",
    "interrupt_set",
    "interrupt_unset",
    "is_sandbox_workflow",
    "locale",
    "parse",
    "reset_install_path",
    "set_channel_mask",
    "set_install_path",
    "settings_text",
    "should_append",
    "throw_if_set",
    "validate",
    "validate_arg",
    "version",
]

StrPath = Union[str, "os.PathLike[str]"]

_lib = ctypes.CDLL("install_cpputil.dll" if sys.platform == "win32" else "libinstall_cpputil.so.1")

# The statuses of install/cpputil/cpputil.h.
_OK = 0
_RUNTIME_ERROR = 1
_INVALID_ARGUMENT = 2
_OUT_OF_RANGE = 3
_INTERRUPTED = 4
_OUT_OF_MEMORY = 5
_BAD_ARGUMENT = 6
_BUFFER_TOO_SMALL = 7
_NOT_FOUND = 8


class Interrupted(RuntimeError):
    """The interrupt flag was found set by :func:`throw_if_set`."""


class ValidationError(ValueError):
    """An argument breaks its rule; the text is ``key='KEY' value='VALUE' rule='RULE'``."""


_ERRORS = {
    _RUNTIME_ERROR: RuntimeError,
    _INVALID_ARGUMENT: ValueError,
    _OUT_OF_RANGE: OverflowError,
    _INTERRUPTED: Interrupted,
    _OUT_OF_MEMORY: MemoryError,
    _BAD_ARGUMENT: ValueError,
    _NOT_FOUND: KeyError,
}

_size = ctypes.c_size_t
_handle = ctypes.c_void_p
_text_in = ctypes.c_char_p
_int_out = ctypes.POINTER(ctypes.c_int)
_size_out = ctypes.POINTER(_size)


def _declare(name: str, result: object, *arguments: object) -> Callable[..., object]:
    function = getattr(_lib, "install_cpputil_" + name)
    function.restype = result
    function.argtypes = list(arguments)
    return function


# The C functions used here, each with its result and argument types.
_c = types.SimpleNamespace(**{
    declaration[0]: _declare(*declaration) for declaration in [
        ("version", ctypes.c_char_p),
        ("last_error", ctypes.c_char_p),
        ("free", None, ctypes.c_void_p),
        ("logger_create", ctypes.c_int, _text_in, ctypes.POINTER(_handle)),
        ("logger_destroy", None, _handle),
        ("append_message", ctypes.c_int, _text_in),
        ("append_file", ctypes.c_int, _text_in),
        ("get_destination", ctypes.c_int, ctypes.c_char_p, _size, _size_out),
        ("get_last_destination", ctypes.c_int, ctypes.c_char_p, _size, _size_out),
        ("interrupt_set", None),
        ("interrupt_is_set", ctypes.c_int),
        ("interrupt_unset", None),
        ("interrupt_throw_if_set", ctypes.c_int, _text_in),
        ("parse", ctypes.c_int, _text_in, ctypes.POINTER(_handle)),
        ("map_free", None, _handle),
        ("map_size", _size, _handle),
        ("map_key", ctypes.c_int, _handle, _size, ctypes.c_char_p, _size, _size_out),
        ("map_entry", ctypes.c_int, _handle, _size, _int_out, _size_out),
        ("map_value", ctypes.c_int, _handle, _size, _size, ctypes.c_char_p, _size, _size_out),
        ("settings_text", ctypes.c_int, _text_in, ctypes.POINTER(ctypes.c_void_p), _size_out),
        ("should_append", ctypes.c_int, _text_in, _int_out),
        ("validate_arg", ctypes.c_int, _text_in, _text_in, _text_in),
        ("validate_args", ctypes.c_int, ctypes.POINTER(_text_in), _size,
         ctypes.POINTER(_text_in), _size),
        ("compare_versions", ctypes.c_int, _text_in, _text_in, _int_out),
        ("is_sandbox_workflow", ctypes.c_int),
        ("set_install_path", ctypes.c_int, _text_in),
        ("reset_install_path", None),
        ("locale", ctypes.c_int, ctypes.c_char_p, _size, _size_out),
        ("set_channel_mask", ctypes.c_int, _text_in, ctypes.c_uint32),
        ("channel_mask", ctypes.c_int, _text_in, ctypes.POINTER(ctypes.c_uint32)),
    ]
})


def _utf8(text: str) -> bytes:
    """The text as the library takes it: UTF-8, without NUL, which would end it."""
    if "\0" in text:
        raise ValueError("embedded null character")
    return text.encode("utf-8", "surrogatepass")


def _path(path: StrPath) -> bytes:
    encoded = os.fsencode(path)  # UTF-8 on Windows too
    if b"\0" in encoded:
        raise ValueError("embedded null byte")
    return encoded


def _check(status: int, errors: Optional[Mapping[int, type]] = None) -> None:
    """Raises the exception for a status, with the library's text of this thread's last call."""
    if status != _OK:
        error = (errors or {}).get(status) or _ERRORS.get(status, RuntimeError)
        raise error(_c.last_error().decode("utf-8", "replace"))


def _text_out(function: Callable[..., int], *arguments: object) -> str:
    """A text that the library writes into a buffer, which grows to the size it asks for."""
    capacity = 256
    needed = _size(0)
    while True:
        buffer = ctypes.create_string_buffer(capacity)
        status = function(*arguments, buffer, capacity, ctypes.byref(needed))
        if status != _BUFFER_TOO_SMALL:
            break
        capacity = needed.value
    _check(status)
    return buffer.raw[: needed.value - 1].decode("utf-8", "replace")


def version() -> str:
    """The loaded library's version, e.g. ``"1.1.0"``."""
    return _c.version().decode("ascii")


class Logger:
    """The installation log's destination, from construction to :meth:`close` (or the end of a
    ``with`` block), as the C++ ``logger::Logger``'s life.

    The file's folder is created and the file opened for appending; the destination in force is
    retired, with a notice in its log. Loggers do not stack: once one ends, no destination is set.
    Raises ``RuntimeError`` with the library's text when the folder or the file cannot be made.
    """

    def __init__(self, path: StrPath) -> None:
        self._scope: Optional[_handle] = None
        scope = _handle()
        _check(_c.logger_create(_path(path), ctypes.byref(scope)))
        self._scope = scope

    def close(self) -> None:
        """Ends the destination; it becomes :func:`get_last_destination`. Idempotent."""
        scope, self._scope = self._scope, None
        if scope is not None:
            _c.logger_destroy(scope)

    def __enter__(self) -> Logger:
        return self

    def __exit__(self, *exception: object) -> None:
        self.close()

    def __del__(self) -> None:
        if getattr(self, "_scope", None) is not None:
            self.close()


def append_message(text: str) -> None:
    """Appends ``(time stamp) text`` to the log, or to the default log while none is set."""
    _check(_c.append_message(_utf8(text)))


def append_file(path: StrPath) -> None:
    """Copies the file into the log as one record; ``RuntimeError`` with the library's text when
    no destination is set or the file does not exist or cannot be opened."""
    _check(_c.append_file(_path(path)))


def get_destination() -> str:
    """The log's destination, or ``""`` when none is set."""
    return _text_out(_c.get_destination)


def get_last_destination() -> str:
    """The destination that the last ended :class:`Logger` had, or ``""``."""
    return _text_out(_c.get_last_destination)


def interrupt_set() -> None:
    """Sets the process-wide interrupt flag."""
    _c.interrupt_set()


def interrupt_is_set() -> bool:
    """Whether the interrupt flag is set."""
    return _c.interrupt_is_set() != 0


def interrupt_unset() -> None:
    """Clears the interrupt flag."""
    _c.interrupt_unset()


def throw_if_set(tag: str = "") -> None:
    """Raises :class:`Interrupted` (``"Interrupted."``, or ``"Interrupted. " + tag``) when the
    flag is set."""
    _check(_c.interrupt_throw_if_set(_utf8(tag)))


def parse(path: StrPath) -> Dict[str, Union[str, List[str]]]:
    """The input file's settings: each key holds a text, or a list for dotted list lines.
    ``FileNotFoundError`` with the library's text when the file does not exist."""
    parsed = _handle()
    _check(_c.parse(_path(path), ctypes.byref(parsed)), {_RUNTIME_ERROR: FileNotFoundError})
    try:
        settings: Dict[str, Union[str, List[str]]] = {}
        is_list = ctypes.c_int(0)
        count = _size(0)
        for index in range(_c.map_size(parsed)):
            _check(_c.map_entry(parsed, index, ctypes.byref(is_list), ctypes.byref(count)))
            values = [_text_out(_c.map_value, parsed, index, item) for item in range(count.value)]
            settings[_text_out(_c.map_key, parsed, index)] = values if is_list.value else values[0]
        return settings
    finally:
        _c.map_free(parsed)


def settings_text(path: StrPath) -> str:
    """The input file's setting lines, trimmed, each ended by a line feed."""
    text = ctypes.c_void_p()
    length = _size(0)
    _check(_c.settings_text(_path(path), ctypes.byref(text), ctypes.byref(length)),
           {_RUNTIME_ERROR: FileNotFoundError})
    try:
        return ctypes.string_at(text, length.value).decode("utf-8", "replace")
    finally:
        _c.free(text)


def should_append(line: str) -> bool:
    """Whether an input file's line carries a setting (not blank, not a ``#`` comment)."""
    answer = ctypes.c_int(0)
    _check(_c.should_append(_utf8(line), ctypes.byref(answer)))
    return answer.value != 0


def validate_arg(key: str, value: str, rule: str) -> None:
    """Checks one argument against a rule string such as ``"intval"`` or ``"strval:a,b"``;
    raises :class:`ValidationError` when it breaks it."""
    _check(_c.validate_arg(_utf8(key), _utf8(value), _utf8(rule)),
           {_INVALID_ARGUMENT: ValidationError, _RUNTIME_ERROR: ValidationError})


def _pairs(table: Mapping[str, str]) -> ctypes.Array[ctypes.c_char_p]:
    flat = [_utf8(text) for pair in table.items() for text in pair]
    return (ctypes.c_char_p * len(flat))(*flat)


def validate(arguments: Mapping[str, str], rules: Mapping[str, str]) -> None:
    """Checks each argument that has a rule, in key order; raises :class:`ValidationError` for
    the first that breaks it. A failed ``rfile`` rule also writes two lines into the log."""
    _check(_c.validate_args(_pairs(arguments), len(arguments), _pairs(rules), len(rules)),
           {_INVALID_ARGUMENT: ValidationError, _RUNTIME_ERROR: ValidationError})


def compare_versions(first: str, second: str) -> int:
    """-1, 0 or 1 as dotted version ``first`` is lower, equal or higher, piece by piece:
    ``compare_versions("1.10", "1.9") == 1``. ``ValueError`` for a piece that is no number,
    ``OverflowError`` for one beyond 32 bits."""
    result = ctypes.c_int(0)
    _check(_c.compare_versions(_utf8(first), _utf8(second), ctypes.byref(result)))
    return result.value


def is_sandbox_workflow() -> bool:
    """Whether an entry ``qx_anchor`` lies beside the installation root."""
    return _c.is_sandbox_workflow() != 0


def set_install_path(root: StrPath) -> None:
    """Makes ``root`` the installation root, in place of the folder above the library's own."""
    _check(_c.set_install_path(_path(root)))


def reset_install_path() -> None:
    """Drops the override of :func:`set_install_path`."""
    _c.reset_install_path()


def locale() -> str:
    """The installer locale: language, ``_``, region, e.g. ``"en_US"``."""
    return _text_out(_c.locale)


def set_channel_mask(channel: str, mask: int) -> None:
    """Sets the enabled-severities mask of a trace channel (``"*"``: every channel); the mask
    is 32 bits, severity S enabled when ``mask & S``."""
    if not 0 <= mask <= 0xFFFFFFFF:
        raise OverflowError("a channel mask has 32 bits")
    _check(_c.set_channel_mask(_utf8(channel), mask))


def channel_mask(channel: str) -> int:
    """The enabled-severities mask of a trace channel."""
    mask = ctypes.c_uint32(0)
    _check(_c.channel_mask(_utf8(channel), ctypes.byref(mask)))
    return mask.value


__version__ = version()
