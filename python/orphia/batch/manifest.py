# SPDX-License-Identifier: GPL-3.0-or-later
"""The book of what is done: a JSON line for each file, in the folder of results."""
from __future__ import annotations

import fcntl
import json
import os
from pathlib import Path
from types import TracebackType
from typing import IO, Any, Optional

NAME = "manifest.jsonl"


class Manifest:
    """Held by one run at a time. The last line of a file counts; a line that was cut off is none.

    Raises
    ------
    OSError
        When the folder cannot be made or written, or another run has it.
    """

    def __init__(self, folder: Path) -> None:
        folder.mkdir(parents=True, exist_ok=True)
        self._path = folder / NAME
        self._file: IO[bytes] = open(self._path, "a+b")
        try:
            fcntl.flock(self._file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError:
            self._file.close()
            raise BlockingIOError(f"{self._path}: another run is at work here") from None
        self.records = self._read()
        _remove_leftovers(folder)

    def _read(self) -> dict[str, dict[str, Any]]:
        records: dict[str, dict[str, Any]] = {}
        self._file.seek(0)
        text = self._file.read()
        for line in text.split(b"\n"):
            try:
                record = json.loads(line)
                records[record["input"]] = record
            except (ValueError, TypeError, KeyError):
                continue
        if text and not text.endswith(b"\n"):
            self._file.write(b"\n")
        return records

    def add(self, record: dict[str, Any]) -> None:
        """Written at once, so that nothing is forgotten whatever happens next."""
        self._file.write(json.dumps(record).encode() + b"\n")
        self._file.flush()

    def __enter__(self) -> Manifest:
        return self

    def __exit__(self, kind: Optional[type[BaseException]], error: Optional[BaseException],
                 trace: Optional[TracebackType]) -> None:
        self._file.close()


def _remove_leftovers(folder: Path) -> None:
    """What killed runs had begun to write."""
    for place, _, names in os.walk(folder):
        for name in names:
            if name.startswith(".orphia-") and name.endswith(".part"):
                try:
                    os.unlink(os.path.join(place, name))
                except OSError:
                    continue
