# SPDX-License-Identifier: GPL-3.0-or-later
"""The instrument: voice and notes in, stereo sound out."""
from __future__ import annotations

import json
from collections.abc import Iterable, Mapping, Sequence
from dataclasses import dataclass
from typing import Any, Optional, Union

import numpy as np
import numpy.typing as npt

from orphia.arrays import Sound, as_number, as_rate, as_seed, as_sound, as_tail
from orphia.automation import lanes_of
from orphia.errors import warn_all
from orphia.files import Path, path_of
from orphia.native import _core
from orphia.parameters import Parameters, Value, find, parse
from orphia.presets import PresetLike, preset_text
from orphia.songs import DEFAULT_VELOCITY, song_of


@dataclass(frozen=True)
class Meters:
    """The largest readings since the last look, 0 to 1.

    Attributes
    ----------
    bands : ndarray of float32, shape (16,)
    hiss, buzz, program_overload, carrier_overload : float
    limiter_reduction : float
        What the limiter took away, in dB.
    """

    bands: npt.NDArray[np.float32]
    hiss: float
    buzz: float
    program_overload: float
    carrier_overload: float
    limiter_reduction: float


@dataclass(frozen=True)
class BandHistory:
    """Band levels of the last render: `levels` of the shape (16, readings), one each `step` seconds."""

    levels: npt.NDArray[np.float32]
    step: float


class Instrument:
    """A vocoder instrument: a sixteen-band vocoder with its own carrier and effects.

    Parameters
    ----------
    sample_rate : int
        8000 to 384000 Hz.
    preset : str, path or mapping, optional
        See `preset`.
    seed : int, optional
        Start of noise and random modulation; equal seeds give equal sound, to the bit.
    limiter : bool, optional
        Hold true peaks below -1 dBFS; adds 2 ms of latency to `process`, none to `render`.

    Notes
    -----
    May be used from several threads, which wait for each other in all but `render`. Two instruments do not wait.
    Pickles are the preset with what is given here.

    Examples
    --------
    >>> with Instrument(48000, preset="classic-robot") as robot:
    ...     robot["Wet"] = "80 %"
    ...     sound = robot.render(np.random.default_rng(1).normal(0, 0.1, 48000), notes=[(0, 1, 40)], tail=0)
    >>> sound.shape, sound.dtype
    ((2, 48000), dtype('float32'))
    """

    def __init__(self, sample_rate: int, preset: Optional[PresetLike] = None, *, seed: int = 1,
                 limiter: bool = True) -> None:
        self._rate = as_rate(sample_rate)
        self._seed = as_seed(seed)
        self._limiter = bool(limiter)
        self._native: Optional[_core.NativeInstrument] = _core.NativeInstrument(self._rate, self._seed, self._limiter)
        self._rendered: Optional[Meters] = None
        #: Band levels of the last render, None before.
        self.history: Optional[BandHistory] = None
        if preset is not None:
            self.preset = preset

    # ---- Life

    def __enter__(self) -> Instrument:
        self._open()
        return self

    def __exit__(self, *exception: object) -> None:
        self.close()

    def close(self) -> None:
        """Lets go of the engine; what is called afterwards raises ValueError."""
        self._native = None

    def _open(self) -> _core.NativeInstrument:
        if self._native is None:
            raise ValueError("the instrument is closed")
        return self._native

    def __reduce__(self) -> tuple[Any, ...]:
        return _restore, (self._rate, self._open().capture_preset(""), self._seed, self._limiter)

    def __repr__(self) -> str:
        state = "" if self._native is not None else ", closed"
        return f"<orphia.Instrument at {self._rate} Hz, seed {self._seed}{state}>"

    @property
    def sample_rate(self) -> int:
        """In Hz."""
        return self._rate

    @property
    def seed(self) -> int:
        """Start of the noise."""
        return self._seed

    # ---- Settings

    @property
    def preset(self) -> Any:
        """All settings as a whole preset, a dictionary that can be set, kept as JSON and edited.

        Set it to a name (`presets`), a path, such a dictionary, or plain parameters by name. What is not named becomes
        as in a new instrument. Samples that are missing are told by `OrphiaWarning`.

        >>> instrument = Instrument(44100)
        >>> instrument.preset = {"preset": "talking-pad", "Wet": 0.5}
        >>> instrument["Wet"]
        0.5
        """
        return json.loads(self._open().capture_preset(""))

    @preset.setter
    def preset(self, preset: PresetLike) -> None:
        native = self._open()
        warn_all(native.load_preset(preset_text(preset)))

    @property
    def parameters(self) -> Parameters:
        """A mapping from names to `Parameter`: value, text, range, unit.

        >>> Instrument(44100).parameters["Wet"].range
        (0.0, 1.0)
        """
        return Parameters(_core.instrument_catalog(), self._open().value)

    def __getitem__(self, name: str) -> float:
        """The real value of a parameter, in its unit."""
        return self._open().value(find(_core.instrument_catalog(), name))

    def __setitem__(self, name: str, value: Value) -> None:
        """Sets a parameter to a real value, a bool for a switch, or a text: "-6 dB", "1/8", "on", "50 %"."""
        catalog = _core.instrument_catalog()
        self._open().set(parse(catalog, find(catalog, name), value))

    def load_sample(self, slot: int, path: Optional[Path]) -> None:
        """Loads a sound file into a slot of the sampler, 1 to 12; None empties it.

        Raises
        ------
        FileError
            When the file gives no sample, which leaves the slot empty.
        """
        if isinstance(slot, bool) or not isinstance(slot, (int, np.integer)):
            raise TypeError(f"slot must be a whole number, not {type(slot).__name__}")
        if not 1 <= slot <= _core.sample_count:
            raise ValueError(f"there is no slot {slot}, only 1 to {_core.sample_count}")
        if path is None:
            self._open().clear_sample(int(slot) - 1)
        else:
            self._open().load_sample(int(slot) - 1, path_of(path))

    # ---- Whole sounds

    def render(self, voice: Optional[npt.ArrayLike] = None, notes: Optional[Iterable[Sequence[float]]] = None, *,
               midi: Any = None, automation: Optional[Mapping[str, Any]] = None,
               tail: Optional[float] = None) -> Sound:
        """Renders a whole sound, on an engine of its own: equal calls give equal sound, whatever was played before.

        Parameters
        ----------
        voice : array_like, shape (frames,) or (channels, frames), optional
            What speaks, float32 or float64, one or two channels, full scale 1.
        notes : iterable of (start, duration, key[, velocity]), optional
            Seconds, seconds, 0 to 127, above 0 to 1 (0.8).
        midi : path, bytes, mido.MidiFile or pretty_midi.PrettyMIDI, optional
            A song, with its tempo, pedals, bends and MPE, besides the notes.
        automation : mapping, optional
            From a name to ``[(time, value)]`` or ``(time, value, "jump")``, in seconds, between which knobs move evenly
            (steps jump), or to an array of values that is spread evenly over voice and song.
        tail : float, optional
            Seconds after the end of voice and song; without, until the last echo is silent, at most 30 s.

        Returns
        -------
        ndarray of float32, shape (2, frames)

        Raises
        ------
        ValueError, TypeError
            For sound that is none, notes out of range, unknown names, nothing to play.

        Examples
        --------
        >>> pad = Instrument(44100, preset="talking-pad")
        >>> hum = np.sin(np.arange(44100) * 0.05)
        >>> pad.render(hum, [(0, 1, 48, 0.9)], automation={"Wet": [(0, 0), (1, "100 %")]}, tail=1).shape
        (2, 88200)
        """
        self._open()
        if voice is None and notes is None and midi is None:
            raise ValueError("there is nothing to play: give a voice, notes or midi")
        sound = None if voice is None else as_sound(voice, "voice")
        return self.render_song(sound, song_of(notes, midi), None if tail is None else as_tail(tail), automation)

    def render_song(self, voice: Optional[Sound], song: _core.Song, tail: Optional[float],
                    automation: Optional[Mapping[str, Any]] = None) -> Sound:
        """`render` of what has been checked already: for the package itself."""
        passage = max(song.seconds, 0 if voice is None else voice.shape[1] / self._rate)
        result = self._open().render(voice, song, lanes_of(automation, passage), tail)
        warn_all(result["warnings"])
        if result["is_cut"]:
            warn_all([f"the sound was cut {_core.longest_fade:g} s after its end; a longer tail keeps it"])
        self._rendered = Meters(**result["meters"])
        self.history = BandHistory(result["bands"], result["meter_frames"] / self._rate)
        return result["sound"]

    # ---- Streams

    def process(self, block: Union[npt.ArrayLike, int]) -> Sound:
        """The next frames of a stream, of any length, with all state kept; late by `latency`.

        Parameters
        ----------
        block : array_like, shape (frames,) or (channels, frames), or int
            The voice, or a number of frames without one.

        Returns
        -------
        ndarray of float32, shape (2, frames)
        """
        native = self._open()
        self._rendered = None
        if isinstance(block, (int, np.integer)) and not isinstance(block, bool):
            return native.process(None, int(as_number(block, "block", 0, 2**28)))
        voice = as_sound(block, "block", may_be_empty=True)
        return native.process(voice, voice.shape[1])

    def note_on(self, key: int, velocity: float = DEFAULT_VELOCITY) -> None:
        """Presses a key, 0 to 127, with the next frame of the stream; velocity above 0 to 1."""
        strength = as_number(velocity, "velocity", 0.0, 1.0)
        if strength == 0.0:
            raise ValueError("velocity is 0; it must be above 0, up to 1")
        self._open().send(0x90, int(as_number(key, "key", 0, 127)), max(1, int(strength * 127 + 0.5)))

    def note_off(self, key: int) -> None:
        """Releases a key with the next frame of the stream."""
        self._open().send(0x80, int(as_number(key, "key", 0, 127)), 0)

    def all_notes_off(self) -> None:
        """Releases all keys and the pedal."""
        self._open().all_notes_off()

    def reset(self) -> None:
        """Begins the stream anew with all settings: no note, no tail, the noise from its seed."""
        self._open().reset()
        self._rendered = None

    @property
    def latency(self) -> int:
        """How late the stream is, in frames; `render` makes up for it."""
        return self._open().latency()

    @property
    def meters(self) -> Meters:
        """The largest readings of the last render, or of the stream since the last look."""
        if self._rendered is not None:
            return self._rendered
        return Meters(**self._open().take_meters())

    # ---- Notebooks

    def _repr_png_(self) -> Optional[bytes]:
        """Band levels of the last render, where there is one and matplotlib is installed."""
        if self.history is None:
            return None
        try:
            import orphia.plot as plot
        except ImportError:
            return None
        return plot.png(plot.bands(self))


def _restore(rate: int, preset: str, seed: int, limiter: bool) -> Instrument:
    return Instrument(rate, json.loads(preset), seed=seed, limiter=limiter)
