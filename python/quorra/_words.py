# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Words for results of the library, and for the status bytes of the virtual reader. Made by
generate.py."""

# What the same number means depends on what is being done.
OPERATION_KINDS: tuple[str, ...] = (
    "ordinary",
    "opening",
    "probing",
    "protecting",
    "guarded_reading",
    "guarded_writing",
    "presenting",
    "verified",
    "subtracting",
)

# A code, the kind of operation in which it counts (None: any), a name and words. The first row that fits
# counts; where there is none, the result is the reader's STATUS, negated.
RESULTS: tuple[tuple[int, str | None, str, str], ...] = (
    (-1, "opening", "no_configuration",
     "the configuration file cannot be opened or read"),
    (-128, "protecting", "not_read_back",
     "the result could not be read back"),
    (-128, "guarded_reading", "no_card_or_bad_start_byte",
     "the card is not there, or the reader's reply has a wrong first byte"),
    (-128, None, "bad_start_byte",
     "the reader's reply has a wrong first byte"),
    (-129, "protecting", "not_protected",
     "a byte is still writable, or is not what was written"),
    (-129, "guarded_writing", "no_card_or_not_sent",
     "the card is not there, or a byte could not be sent to the reader"),
    (-129, "presenting", "wrong_code_or_not_sent",
     "the card holds another code, or a byte could not be sent to the reader"),
    (-129, "verified", "differs_or_not_sent",
     "the reader holds something else afterwards, or a byte could not be sent to it"),
    (-129, "subtracting", "differs_or_not_sent",
     "the reader holds something else afterwards, or a byte could not be sent to it"),
    (-129, None, "not_sent",
     "a byte could not be sent to the reader"),
    (-132, None, "timeout",
     "timeout waiting for the reader's reply"),
    (-133, "probing", "another_card",
     "another card, or none"),
    (-133, None, "bad_check_byte",
     "the check byte of the reader's reply is wrong"),
    (-135, "subtracting", "out_of_range",
     "the result would be below 0, or above 2147483647"),
    (-136, "opening", "no_reader",
     "no reader answers, or there is no terminal to reach it through"),
    (-141, "opening", "no_reader",
     "no reader answers at any speed"),
    (-143, None, "bad_length",
     "a length or count is out of range"),
    (-144, None, "bad_address",
     "an address is out of range"),
)

# By STATUS: a name and a sentence.
STATUSES: dict[int, tuple[str, str]] = {
    0x00: ("success", "The command was carried out."),
    0x11: ("wrong_check_byte", "The check byte of the request is wrong."),
    0x12: ("unknown_command", "The reader does not know the command."),
    0x13: ("unknown_card_type", "The command does not exist for this card type."),
    0x14: ("wrong_body_length", "The body of the request has the wrong length."),
    0x15: ("out_of_range", "An address, a count or another value is out of range."),
    0x21: ("no_card", "No card is in the slot."),
    0x22: ("no_answer", "The card does not answer as it should."),
    0x23: ("not_written", "A byte was not written: it is protected, or the code is missing."),
    0x24: ("wrong_code", "The security code is wrong."),
    0x25: ("card_blocked", "The card is blocked: no attempt at its code is left."),
    0x31: ("image_not_saved", "The image file could not be saved."),
    0x41: ("code_required", "The reader's security mode is on, and its code has not been presented."),
    0x42: ("sam_without_power", "The SAMs have no power."),
    0x43: ("answer_too_long", "The answer of the card is too long for a reply."),
}
