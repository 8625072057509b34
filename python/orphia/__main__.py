# SPDX-License-Identifier: GPL-3.0-or-later
"""The command: `batch` is Python's, all others are those of the compiled command, which comes with the package."""
from __future__ import annotations

import os
import sys

from orphia.native import command_path


def main() -> int:
    arguments = sys.argv[1:]
    if arguments[:1] == ["batch"]:
        from orphia.batch.command import run

        return run(arguments[1:])
    if arguments[:2] == ["complete", "batch"] and len(arguments) > 2:
        from orphia.batch.completion import run as complete

        return complete(arguments[2:])
    os.execv(command_path(), ["orphia", *arguments])
    return 1


if __name__ == "__main__":
    sys.exit(main())
