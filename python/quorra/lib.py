# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The functions, variables and constants of quorra.so, as they are.

Functions have the parameters and results of include/quorra.h. A handle is a number, a path may be a
string. Where the library writes, pass a bytearray or an array of ctypes with enough room; where it reads,
bytes will do, too. None is a null pointer. A number for the library to write goes into a ctypes.c_int or
c_uint, of the type that the header has. Variables are objects of ctypes in the library's own memory.

The library is loaded when the first of these names is asked for."""

from __future__ import annotations

from typing import Any

from quorra._library import library as _library
from quorra._prototypes import CONSTANTS as _CONSTANTS
from quorra._prototypes import DOCS as _DOCS
from quorra._prototypes import FUNCTIONS as _FUNCTIONS
from quorra._prototypes import VARIABLES as _VARIABLES
from quorra._types import PARAMETERS as _PARAMETERS
from quorra._types import RESULTS as _RESULTS
from quorra._types import VARIABLES as _TYPES_OF_VARIABLES
from quorra._types import termios as termios

__all__ = [*_CONSTANTS, *_VARIABLES, *_FUNCTIONS]


def __getattr__(name: str) -> Any:
    value: Any
    if name in _FUNCTIONS:
        result, parameters = _FUNCTIONS[name]
        value = getattr(_library(), name)
        value.restype = _RESULTS[result]
        value.argtypes = [_PARAMETERS[kind] for _, kind in parameters]
        value.__doc__ = _DOCS[name]
    elif name in _VARIABLES:
        value = _TYPES_OF_VARIABLES[_VARIABLES[name]].in_dll(_library(), name)
    elif name in _CONSTANTS:
        value = _CONSTANTS[name]
    else:
        raise AttributeError(f"quorra.so has no {name}")
    globals()[name] = value
    return value


def __dir__() -> list[str]:
    return sorted([*globals(), *__all__])
