# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Has `import quorra` find the package where a file quorra.so comes first in the path: the library is named
as an extension module would be, and is none. quorra-import.pth imports this when Python starts."""

import sys
from importlib.machinery import ExtensionFileLoader, PathFinder


class _PackageFinder:
    """Passes over quorra.so, and leaves everything else as it is."""

    @staticmethod
    def find_spec(name, path=None, target=None):  # type: ignore[no-untyped-def]
        if name != "quorra":
            return None
        for entry in sys.path:
            found = PathFinder.find_spec(name, [entry], target)
            if found is not None and not isinstance(found.loader, ExtensionFileLoader):
                return found
        return None


sys.meta_path.insert(0, _PackageFinder)  # type: ignore[arg-type]
