# SPDX-License-Identifier: GPL-3.0-or-later
"""What counts as sound, and what is told of all else."""
from __future__ import annotations

from typing import Any

import numpy as np
import numpy.typing as npt

from orphia.native import _core

Sound = npt.NDArray[np.float32]


def as_sound(array: npt.ArrayLike, name: str, may_be_empty: bool = False) -> Sound:
    """The array as float32 of the shape (channels, frames), dense, finite, of one or two channels."""
    sound = np.asarray(array)
    if sound.dtype.kind != "f" or sound.dtype.itemsize not in (4, 8):
        hint = "; divide by its full scale" if sound.dtype.kind in "iu" else ""
        raise TypeError(f"{name} must be float32 or float64, not {sound.dtype}{hint}")
    if sound.ndim == 1:
        sound = sound[np.newaxis, :]
    if sound.ndim != 2:
        raise ValueError(f"{name} must have the shape (frames,) or (channels, frames), not {sound.shape}")
    if sound.shape[0] not in (1, 2):
        hint = "; transpose it" if sound.shape[1] in (1, 2) else ""
        raise ValueError(f"{name} has {sound.shape[0]} channels; one or two are taken{hint}")
    if sound.shape[1] == 0 and not may_be_empty:
        raise ValueError(f"{name} has no frames")
    with np.errstate(over="ignore"):
        sound = np.ascontiguousarray(sound, dtype=np.float32)
    finite = np.isfinite(sound)
    if not finite.all():
        frame = int(np.argmin(finite.all(axis=0)))
        raise ValueError(f"{name} holds {int((~finite).sum())} values that are not finite, the first at frame {frame}")
    return sound


def _float_of(value: Any, name: str, kind: str = "a number") -> float:
    """Of anything that is a number; what is too large is infinite."""
    refusal = f"{name} must be {kind}, not {type(value).__name__}"
    if isinstance(value, (bool, np.bool_, str, bytes)):
        raise TypeError(refusal)
    try:
        return float(value)
    except OverflowError:
        return float("inf")
    except (TypeError, ValueError):
        raise TypeError(refusal) from None


def as_rate(sample_rate: Any) -> int:
    """A sample rate in Hz that the engine runs at."""
    rate = _float_of(sample_rate, "sample_rate", "a number of Hz")
    if not _core.minimum_rate <= rate <= _core.maximum_rate or rate != int(rate):
        raise ValueError(f"sample_rate {sample_rate} is no whole number from {_core.minimum_rate} to "
                         f"{_core.maximum_rate} Hz")
    return int(rate)


def as_seed(seed: Any) -> int:
    """A start of the noise."""
    if isinstance(seed, bool) or not isinstance(seed, (int, np.integer)):
        raise TypeError(f"seed must be a whole number, not {type(seed).__name__}")
    if not 0 <= seed < 2**32:
        raise ValueError(f"seed {seed} is outside 0 .. {2**32 - 1}")
    return int(seed)


def as_number(value: Any, name: str, least: float, most: float) -> float:
    """A finite number within a range."""
    number = _float_of(value, name)
    if not least <= number <= most:
        raise ValueError(f"{name}: {value} is outside {least:g} .. {most:g}")
    return number


def as_tail(tail: Any) -> float:
    """Seconds after the end, as many as the command takes."""
    return as_number(tail, "tail", 0.0, 600.0)
