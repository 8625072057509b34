# SPDX-License-Identifier: GPL-3.0-or-later
"""What the package raises besides ValueError and TypeError."""
from __future__ import annotations

import warnings
from collections.abc import Iterable


class UnknownNameError(ValueError, KeyError):
    """No parameter has that name, or several have; the message suggests some."""

    __str__ = Exception.__str__


class FileError(OSError, ValueError):
    """A file cannot be read or written, or holds something else than it should."""


class EngineError(RuntimeError):
    """The engine's library is missing or another one than it should."""


class OrphiaWarning(UserWarning):
    """What a preset asks for in vain, or a sound that was cut."""


def warn_all(messages: Iterable[str], stacklevel: int = 3) -> None:
    """Warns of each, as if the caller's caller did."""
    for message in messages:
        warnings.warn(message, OrphiaWarning, stacklevel=stacklevel)
