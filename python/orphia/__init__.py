# SPDX-License-Identifier: GPL-3.0-or-later
"""Orphia VX, a circuit-true vocoder instrument, on NumPy arrays.

>>> import numpy as np, orphia
>>> rate = 44100
>>> voice = np.sin(np.arange(rate) * 0.03).astype(np.float32)
>>> carrier = np.sign(np.sin(np.arange(rate) * 0.015)).astype(np.float32) * 0.5
>>> orphia.vocode(voice, carrier, rate).shape
(44100,)
>>> instrument = orphia.Instrument(rate, preset="talking-pad")
>>> instrument["MasterVolume"] = "-6 dB"
>>> instrument.render(voice, notes=[(0, 1, 48), (0, 1, 55)], tail=0.5).shape
(2, 66150)

Sound is float32 at full scale 1, of the shape ``(frames,)`` or ``(channels, frames)``. Parameters have names, real
values and units, all listed by `Instrument.parameters`. The interpreter's lock is released while sound is made.
"""
from orphia.errors import EngineError, FileError, OrphiaWarning, UnknownNameError
from orphia.files import Loudness, loudness, read, write
from orphia.instrument import Instrument, Meters
from orphia.native import _core
from orphia.parameters import Parameter, Parameters
from orphia.presets import PresetInfo, presets
from orphia.vocoding import vocode, vocoder_parameters

__version__: str = _core.__version__
__all__ = ["EngineError", "FileError", "Instrument", "Loudness", "Meters", "OrphiaWarning", "Parameter", "Parameters",
           "PresetInfo", "UnknownNameError", "loudness", "presets", "read", "vocode", "vocoder_parameters", "write"]
