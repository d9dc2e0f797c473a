# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""What can go wrong, with the words that the program quorra has for it."""

from __future__ import annotations

from typing import Any

from quorra._words import RESULTS, STATUSES


class Error(Exception):
    """An operation failed. Its text says what was being done, and what went wrong."""

    #: What the library returned, or None if it was not the library that failed.
    code: int | None
    #: A name for what went wrong: "timeout", "bad_address", "status" for the reader's STATUS.
    word: str
    #: The reader's STATUS byte, where it refused the command.
    status: int | None
    #: Of the first byte that it concerns, where that is known.
    address: int | None
    #: How many attempts are left at the code that was presented, where the card tells.
    attempts_left: int | None

    def __init__(self, text: str, *, code: int | None = None, word: str = "failed",
                 status: int | None = None, address: int | None = None,
                 attempts_left: int | None = None) -> None:
        super().__init__(text)
        self.code = code
        self.word = word
        self.status = status
        self.address = address
        self.attempts_left = attempts_left


class NoReader(Error):
    """No reader answers, its device cannot be opened, or its configuration file cannot be read."""


class InUse(NoReader):
    """Another program has the reader."""

    #: The number of its process, where that is known.
    process: int | None

    def __init__(self, text: str, *, process: int | None = None, **particulars: Any) -> None:
        super().__init__(text, **particulars)
        self.process = process


class NoCard(Error):
    """The slot is empty."""


class Unanswered(Error):
    """The reader's reply is lost or spoilt: nobody knows whether it did what it was told. The next
    operation opens the session anew."""


class Refused(Error):
    """The reader refused the command with a STATUS."""


class WrongCode(Refused):
    """The code is wrong, and the card counts one attempt less."""


class Locked(Error):
    """No attempt at the code is left; nothing was sent."""


class LastAttempt(Error):
    """One attempt at the code is left, a wrong code would lock the card for good, and nobody has said
    that it may be tried; nothing was sent."""


class NotWritten(Error):
    """The card holds something else than what was written to it."""


class WrongCard(Error):
    """The card is of another kind, or its kind cannot be told."""


class Unsupported(Error, ValueError):
    """Cards of this kind cannot do that, or have no such bytes: nothing was sent."""


class Closed(Error):
    """The session is closed, or belongs to another process."""


# The program quorra opens devices itself, and has no word for this result of the library.
_NO_DEVICE = (-16, "opening", "no_device", "the serial device cannot be opened")


def word_for(result: int, kind: str = "ordinary") -> str:
    """A name for a result below 0: "timeout", "bad_address"; "status" for the reader's STATUS. In some
    operations a number means something else than elsewhere: `kind` is "opening", "probing",
    "protecting", "guarded_reading", "guarded_writing", "presenting", "verified" or "subtracting"."""
    return _row(result, kind)[0] or "status"


def words_for(result: int, kind: str = "ordinary") -> str:
    """The same in words."""
    word, words = _row(result, kind)
    return words if word else f"the reader refused the command with status {-result} (0x{-result:02X})"


def _row(result: int, kind: str) -> tuple[str, str]:
    for code, only_when, word, words in (*RESULTS, _NO_DEVICE):
        if code == result and only_when in (None, kind):
            return word, words
    return "", ""


def is_status(result: int, kind: str = "ordinary") -> bool:
    """Whether a result stands for the reader's STATUS."""
    return result < 0 and not _row(result, kind)[0]


def is_unanswered(result: int) -> bool:
    """Whether a result means that the reader's reply is lost or spoilt."""
    return result in (-128, -132, -133)


def status_word(status: int) -> str:
    """The name that the virtual reader has for a STATUS: "no_card". Empty if it has none."""
    return STATUSES.get(status, ("", ""))[0]


def failure(doing: str, result: int, kind: str = "ordinary", *, virtual: bool = False,
            **particulars: Any) -> Error:
    """The error for a result below 0. What a STATUS means is known of the virtual reader only."""
    words = words_for(result, kind)
    if not is_status(result, kind):
        if kind == "opening":
            error: type[Error] = NoReader
        else:
            error = Unanswered if is_unanswered(result) else Error
        return error(f"{doing}: {words} ({result})", code=result, word=word_for(result, kind), **particulars)
    name, sentence = STATUSES.get(-result, ("", "")) if virtual else ("", "")
    if sentence:
        words += ": " + sentence[0].lower() + sentence[1:].rstrip(".")
    error = NoCard if name == "no_card" else Refused
    return error(f"{doing}: {words} ({result})", code=result, word="status", status=-result, **particulars)
