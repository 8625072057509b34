# SPDX-License-Identifier: GPL-3.0-or-later
"""The compiled half, the engine's library and the command: private to the package."""
from pathlib import Path


def command_path() -> str:
    """The compiled command."""
    return str(Path(__file__).parent / "orphia")
