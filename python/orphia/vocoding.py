# SPDX-License-Identifier: GPL-3.0-or-later
"""The vocoder core on two arrays."""
from __future__ import annotations

from typing import Any

import numpy as np
import numpy.typing as npt

from orphia.arrays import Sound, as_rate, as_seed, as_sound, as_tail
from orphia.native import _core
from orphia.parameters import Parameters, find, parse


def vocoder_parameters() -> Parameters:
    """What `vocode` takes as settings; values are those of the start.

    >>> vocoder_parameters()["ProgramLevel"].unit
    'dB'
    """
    catalog = _core.vocoder_catalog()
    return Parameters(catalog, lambda index: _core.vocoder_start(index))


def vocode(voice: npt.ArrayLike, carrier: npt.ArrayLike, sample_rate: int, *, seed: int = 1, limiter: bool = True,
           loop_carrier: bool = False, tail: float = 0.0, **settings: Any) -> Sound:
    """Lets a carrier speak: the stereo sixteen-band vocoder on two sounds.

    Parameters
    ----------
    voice, carrier : array_like, shape (frames,) or (channels, frames)
        float32 or float64, one or two channels, full scale 1. A carrier that is shorter than the voice is followed
        by silence, a longer one is cut.
    sample_rate : int
        Of both, 8000 to 384000 Hz.
    seed : int, optional
        Start of the noise; equal seeds give equal sound, to the bit.
    limiter : bool, optional
        Hold true peaks below -1 dBFS.
    loop_carrier : bool, optional
        Begin the carrier anew when it ends.
    tail : float, optional
        Seconds after the end of the voice.
    **settings
        Parameters of the core by name (`vocoder_parameters`): real values or texts, ``ProgramLevel="-12 dB"``,
        ``Shift=0.4``. All others are those of ``orphia vocode``.

    Returns
    -------
    ndarray of float32
        ``(frames,)`` when voice and carrier both are: the left side, from which the right one differs in its noise;
        else ``(2, frames)``.

    Raises
    ------
    ValueError, TypeError
        For sound that is none, unknown names, with similar ones, values out of range.

    Examples
    --------
    >>> import numpy as np, orphia
    >>> rng = np.random.default_rng(1)
    >>> noise = rng.normal(0, 0.1, 22050)
    >>> orphia.vocode(noise, np.stack([noise, noise]), 44100, Shift=0.4, ProgramLevel="-12 dB").shape
    (2, 22050)
    """
    rate = as_rate(sample_rate)
    spoken = as_sound(voice, "voice")
    sung = as_sound(carrier, "carrier")
    seconds = as_tail(tail)
    if loop_carrier:
        frames = spoken.shape[1] + int(np.ceil(seconds * rate))
        sung = np.ascontiguousarray(np.tile(sung, -(-frames // sung.shape[1])))
    catalog = _core.vocoder_catalog()
    wanted = [parse(catalog, find(catalog, name), value) for name, value in settings.items()]
    sound = _core.vocode(spoken, sung, rate, as_seed(seed), bool(limiter), seconds, wanted)
    return sound[0] if np.ndim(voice) == 1 and np.ndim(carrier) == 1 else sound
