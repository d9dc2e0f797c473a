# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""DES as the library has it: single, in electronic-codebook fashion. It needs no reader."""

from __future__ import annotations

from quorra import lib

_KEY_SIZE = 8
_BLOCK_SIZE = 8


def _padded(size: int) -> int:
    return -(-size // _BLOCK_SIZE) * _BLOCK_SIZE


def _checked(key: bytes) -> bytes:
    if len(key) > _KEY_SIZE:
        raise ValueError(f"a key has up to {_KEY_SIZE} bytes, not {len(key)}")
    return bytes(key)


def encrypt(key: bytes, data: bytes) -> bytes:
    """Encrypts data, padded with zeros to a multiple of 8 bytes. A key of fewer than 8 bytes is completed
    with zeros. (`DES_Encrypt`)"""
    output = bytearray(_padded(len(data)))
    lib.DES_Encrypt(_checked(key), len(key), bytes(data), len(data), output)
    return bytes(output)


def decrypt(key: bytes, data: bytes) -> bytes:
    """Decrypts data. The zeros of the padding stay. (`DES_Decrypt`)"""
    output = bytearray(_padded(len(data)))
    lib.DES_Decrypt(_checked(key), len(key), bytes(data), len(data), output)
    return bytes(output)
