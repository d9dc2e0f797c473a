# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Changes the sources a little, one place at a time, and sees whether the tests notice."""
