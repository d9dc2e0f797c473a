# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The manual pages, made of the public header, the help of the programs, the pages in docs/ and the
texts in man/; and all of that as HTML."""
