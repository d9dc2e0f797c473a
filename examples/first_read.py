#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Reads the first bytes of the card, whatever memory card it is: first_read.py reader.conf"""

import sys

import quorra

if len(sys.argv) != 2:
    sys.exit("usage: first_read.py reader.conf")
try:
    with quorra.open(sys.argv[1]) as reader:
        card = reader.card()
        print(card.read(0, 8).hex(" ").upper())
except quorra.Error as error:
    sys.exit(f"{error.word}: {error}")
