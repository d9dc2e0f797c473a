#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Reads the first bytes of a memory card through PC/SC: pcsc_read.py [READER]

It needs pcscd with the driver of this project, and the package python3-pyscard. Memory cards are read
as storage cards are: READ BINARY with class FF.
"""

import sys

from smartcard.System import readers
from smartcard.util import toHexString


def main() -> int:
    wanted = sys.argv[1] if len(sys.argv) > 1 else "Quorra"
    found = [reader for reader in readers() if wanted in str(reader)]
    if not found:
        print(f"pcscd has no reader that is called {wanted}", file=sys.stderr)
        return 1
    connection = found[0].createConnection()
    connection.connect()
    data, sw1, sw2 = connection.transmit([0xFF, 0xB0, 0x00, 0x00, 0x08])
    connection.disconnect()
    if (sw1, sw2) != (0x90, 0x00):
        print(f"the card answers {sw1:02X}{sw2:02X}", file=sys.stderr)
        return 1
    print(toHexString(data))
    return 0


if __name__ == "__main__":
    sys.exit(main())
