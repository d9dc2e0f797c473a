# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""A contact smart-card reader on a serial line, real or virtual, and the cards in it.

    with quorra.open("reader.conf") as reader:
        card = reader.card()
        print(card.read(0, 16).hex(" "))

`quorra.virtual("card.toml")` starts a virtual reader in place of a real one. The functions of the library
itself are in `quorra.lib`."""

from quorra import des, lib
from quorra._library import LibraryNotFound, path_of_library
from quorra._prototypes import CONSTANTS as _CONSTANTS
from quorra.bench import Bench, BenchError, VirtualReader, find_program, new_card, virtual
from quorra.card import Card
from quorra.errors import (Closed, Error, InUse, LastAttempt, Locked, NoCard, NoReader, NotWritten, Refused,
                           Unanswered, Unsupported, WrongCard, WrongCode, status_word, word_for, words_for)
from quorra.kinds import KINDS, CodeKind, Kind, Zone, kind_named
from quorra.processor import ProcessorCard, Response
from quorra.reader import CardState, Reader, UncertainKind
from quorra.reader import open_reader as open
from quorra.recognition import Recognition

__version__ = "{QUORRA_VERSION_MAJOR}.{QUORRA_VERSION_MINOR}.{QUORRA_VERSION_PATCH}".format(**_CONSTANTS)

__all__ = [
    "Bench", "BenchError", "Card", "CardState", "Closed", "CodeKind", "Error", "InUse", "KINDS", "Kind",
    "LastAttempt", "LibraryNotFound", "Locked", "NoCard", "NoReader", "NotWritten", "ProcessorCard", "Reader",
    "Recognition", "Refused", "Response", "Unanswered", "UncertainKind", "Unsupported", "VirtualReader",
    "WrongCard", "WrongCode", "Zone", "__version__", "des", "find_program", "kind_named", "lib", "path_of_library",
    "new_card", "open", "status_word", "virtual", "word_for", "words_for",
]
