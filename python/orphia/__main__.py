# SPDX-License-Identifier: GPL-3.0-or-later
"""The command: `batch` is Python's, all others are those of the compiled command, which comes with the package."""
from __future__ import annotations

import os
import sys
from pathlib import Path


def main() -> int:
    arguments = sys.argv[1:]
    if arguments[:1] == ["batch"]:
        from orphia.batch.command import run

        return run(arguments[1:])
    command = Path(__file__).parent / "native" / "orphia"
    os.execv(command, ["orphia", *arguments])
    return 1


if __name__ == "__main__":
    sys.exit(main())
