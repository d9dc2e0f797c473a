# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The types of the library's parameters, and what of Python may be passed for them."""

from __future__ import annotations

import ctypes
import os
from typing import Any


class _Bytes(ctypes.POINTER(ctypes.c_ubyte)):  # type: ignore[misc]
    """const unsigned char *: bytes, a bytearray, a memoryview, an array of ctypes, or None."""

    _type_ = ctypes.c_ubyte

    @classmethod
    def from_param(cls, value: Any) -> Any:
        return value if isinstance(value, bytes) else _place_of(value)


class _Room(ctypes.POINTER(ctypes.c_ubyte)):  # type: ignore[misc]
    """A pointer to what is written: as above, but no bytes, which never change."""

    _type_ = ctypes.c_ubyte

    @classmethod
    def from_param(cls, value: Any) -> Any:
        return _place_of(value)


class _Path(ctypes.c_char_p):
    """const char *: the name of a file."""

    @classmethod
    def from_param(cls, value: Any) -> Any:
        return None if value is None else os.fsencode(value)


def _place_of(value: Any) -> Any:
    if value is None:
        return None
    if isinstance(value, (bytearray, memoryview)):
        size = value.nbytes if isinstance(value, memoryview) else len(value)
        return (ctypes.c_ubyte * size).from_buffer(value)
    if isinstance(value, ctypes.Array):
        if not issubclass(value._type_, (ctypes.c_ubyte, ctypes.c_char, ctypes.Array)):
            raise TypeError(f"an array of bytes is needed, not one of {value._type_.__name__}")
        return value
    if isinstance(value, (ctypes.c_ubyte, ctypes.c_char)):
        return ctypes.byref(value)
    # What byref() and cast() make.
    if type(value).__name__ == "CArgObject" or isinstance(value, ctypes._Pointer):
        return value
    raise TypeError(f"bytes are needed, not {type(value).__name__}")


class termios(ctypes.Structure):
    """struct termios of <termios.h>."""

    _fields_ = [
        ("c_iflag", ctypes.c_uint),
        ("c_oflag", ctypes.c_uint),
        ("c_cflag", ctypes.c_uint),
        ("c_lflag", ctypes.c_uint),
        ("c_line", ctypes.c_ubyte),
        ("c_cc", ctypes.c_ubyte * 32),
        ("c_ispeed", ctypes.c_uint),
        ("c_ospeed", ctypes.c_uint),
    ]


PARAMETERS: dict[str, Any] = {
    "int": ctypes.c_int,
    "unsigned int": ctypes.c_uint,
    "unsigned char": ctypes.c_ubyte,
    "int *": ctypes.POINTER(ctypes.c_int),
    "unsigned int *": ctypes.POINTER(ctypes.c_uint),
    "unsigned char *": _Room,
    "const unsigned char *": _Bytes,
    "unsigned char (*)[48]": _Room,
    "unsigned char (*)[6]": _Room,
    "char *": _Room,
    "const char *": _Path,
}
RESULTS: dict[str, Any] = {"int": ctypes.c_int, "void": None}
VARIABLES: dict[str, Any] = {
    "int": ctypes.c_int,
    "unsigned char": ctypes.c_ubyte,
    "char[60]": ctypes.c_char * 60,
    "struct termios": termios,
}
