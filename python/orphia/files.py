# SPDX-License-Identifier: GPL-3.0-or-later
"""Sound files."""
from __future__ import annotations

import os
from typing import Any, NamedTuple, Optional, Union

import numpy.typing as npt

from orphia.arrays import Sound, as_rate, as_sound
from orphia.native import _core

Path = Union[str, "os.PathLike[str]"]


def path_of(path: Any, name: str = "path") -> bytes:
    """As the system has it, which need not be text."""
    if not isinstance(path, (str, os.PathLike)):
        raise TypeError(f"{name} must be a str or a path, not {type(path).__name__}")
    encoded = os.fsencode(path)
    if b"\0" in encoded:
        raise ValueError(f"{name} holds a null character")
    return encoded


def read(path: Path, sample_rate: Optional[int] = None) -> tuple[Sound, int]:
    """Reads a sound file of one or two channels, of any format that libsndfile knows.

    Parameters
    ----------
    path : str or path
    sample_rate : int, optional
        In Hz, to which the sound is brought (better than 120 dB); else the file's own.

    Returns
    -------
    sound : ndarray of float32, shape (2, frames)
        Both sides alike for a mono file.
    sample_rate : int

    Raises
    ------
    FileError
        With the file's name and the reason.
    """
    sound, rate = _core.read_audio(path_of(path), 0 if sample_rate is None else as_rate(sample_rate))
    return sound, rate


def write(path: Path, sound: npt.ArrayLike, sample_rate: int, bits: Optional[Union[int, str]] = None) -> int:
    """Writes a stereo file, whole or not at all.

    Parameters
    ----------
    path : str or path
        Its ending tells the format: .wav, .flac or .ogg.
    sound : array_like, shape (frames,) or (channels, frames)
    sample_rate : int
        In Hz.
    bits : {16, 24, "float"}, optional
        24 by default, where the format has a choice.

    Returns
    -------
    int
        Samples beyond full scale that were cut off there.
    """
    return _core.write_audio(path_of(path), as_sound(sound, "sound"), as_rate(sample_rate),
                             "" if bits is None else str(bits))


class Loudness(NamedTuple):
    """LUFS after EBU R 128, None for silence and less than 0.4 s; and the true peak, 1 at full scale."""

    lufs: Optional[float]
    peak: float


def loudness(sound: npt.ArrayLike, sample_rate: int) -> Loudness:
    """Loudness and true peak of a sound.

    >>> import numpy as np
    >>> tone = np.sin(np.arange(48000) * 2 * np.pi * 997 / 48000)
    >>> round(loudness(tone / 10, 48000).lufs)
    -20
    """
    return Loudness(*_core.loudness(as_sound(sound, "sound"), as_rate(sample_rate)))
