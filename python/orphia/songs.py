# SPDX-License-Identifier: GPL-3.0-or-later
"""Notes and songs, from wherever they come."""
from __future__ import annotations

import io
import math
import os
from collections.abc import Iterable, Sequence
from typing import Any, Optional

import numpy as np

from orphia.arrays import as_number
from orphia.files import path_of
from orphia.native import _core

LONGEST = 6 * 3600.0
DEFAULT_VELOCITY = 0.8


def song_of(notes: Optional[Iterable[Sequence[float]]], midi: Any) -> _core.Song:
    """Notes and a song together."""
    made = _song_of_notes([] if notes is None else notes)
    if midi is None:
        return made
    song = _song_of_midi(midi)
    return song.together(made) if made.note_count > 0 else song


def _key(value: Any, place: str) -> int:
    key = as_number(value, f"key of {place}", 0, 127)
    if key != int(key):
        raise ValueError(f"key {value} of {place} is no whole number")
    return int(key)


def _song_of_notes(notes: Iterable[Sequence[float]]) -> _core.Song:
    """Of (start, duration, key) or (start, duration, key, velocity)."""
    seconds: list[float] = []
    messages: list[tuple[int, int, int]] = []
    try:
        rows = list(notes)
    except TypeError:
        raise TypeError(f"notes must be a list of (start, duration, key, velocity), not {type(notes).__name__}") from None
    for number, row in enumerate(rows):
        place = f"note {number}"
        try:
            start, duration, key, velocity = row if len(row) == 4 else (*row, DEFAULT_VELOCITY)
        except (TypeError, ValueError):
            raise ValueError(f"{place} is not (start, duration, key, velocity)") from None
        begin = as_number(start, f"start of {place}", 0.0, LONGEST)
        end = begin + as_number(duration, f"duration of {place}", 0.0, LONGEST)
        strength = as_number(velocity, f"velocity of {place}", 0.0, 1.0)
        if strength == 0.0:
            raise ValueError(f"velocity of {place} is 0; it must be above 0, up to 1")
        pitch = _key(key, place)
        seconds += [begin, end]
        messages += [(0x90, pitch, max(1, math.floor(strength * 127 + 0.5))), (0x80, pitch, 0)]
    # A key that ends when it begins again must end first.
    order = sorted(range(len(seconds)), key=lambda n: (seconds[n], messages[n][0] == 0x90))
    return _core.Song.make(np.array([seconds[n] for n in order], dtype=np.float64),
                           np.array([messages[n] for n in order], dtype=np.uint8).reshape(-1, 3), 0.0, 120.0)


def _song_of_midi(midi: Any) -> _core.Song:
    """Of a path, the bytes of a file, or an object of mido or pretty_midi."""
    if isinstance(midi, (bytes, bytearray)):
        return _core.Song.parse(bytes(midi))
    if isinstance(midi, (str, os.PathLike)):
        return _core.Song.read(path_of(midi, "midi"))
    data = io.BytesIO()
    if hasattr(midi, "tracks") and hasattr(midi, "save"):
        midi.save(file=data)
    elif hasattr(midi, "instruments") and hasattr(midi, "write"):
        midi.write(data)
    else:
        raise TypeError("midi must be a path, bytes, or a song of mido or pretty_midi, not " + type(midi).__name__)
    return _core.Song.parse(data.getvalue())
