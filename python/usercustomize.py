# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Python imports this when it starts with the tree's own folder in PYTHONPATH, where it reads no .pth file."""

import _quorra_import as _quorra_import
