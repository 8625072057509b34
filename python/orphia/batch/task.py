# SPDX-License-Identifier: GPL-3.0-or-later
"""One file from beginning to end, wherever it is done."""
from __future__ import annotations

import functools
import hashlib
import json
import os
import warnings
from dataclasses import asdict, dataclass, field
from typing import Any, Optional

import orphia
from orphia.instrument import Instrument
from orphia.native import _core
from orphia.songs import song_of

USUAL_RATE = 44100  # Hz, and the least without another wish, so that the treble has its place


@dataclass(frozen=True)
class Settings:
    """What all files of a run have in common; everything that the sound depends on."""

    preset: str = "default"
    assignments: dict[str, Any] = field(default_factory=dict)
    midi: Optional[str] = None
    midi_sha256: str = ""
    chord: tuple[int, ...] = ()
    fit: bool = False
    tail: Optional[float] = None
    rate: Optional[int] = None
    bits: str = ""
    seed: int = 1
    limiter: bool = True


@dataclass(frozen=True)
class Task:
    """A file to be done. `known` is what the manifest says of it, if anything."""

    name: str
    source: str
    result: str
    settings: Settings
    varied: dict[str, Any]
    known: dict[str, Any]

    def fingerprint(self) -> str:
        """The hash of all that the result depends on besides the source."""
        # Where the song lies does not matter.
        common = {**asdict(self.settings), "midi": None}
        whole = {"common": common, "varied": self.varied, "engine": _core.engine_info()[0],
                 "package": orphia.__version__, "result": os.path.basename(self.result)}
        return hashlib.sha256(json.dumps(whole, sort_keys=True).encode()).hexdigest()


def file_sha256(path: str) -> str:
    """Of all bytes of a file."""
    with open(path, "rb") as file:
        return hashlib.file_digest(file, "sha256").hexdigest()


def perform(task: Task) -> dict[str, Any]:
    """Renders the file, or finds it done. Returns a record for the manifest; raises nothing but what kills."""
    record: dict[str, Any] = {"input": task.name, "settings": task.varied}
    try:
        hashes = {"input_sha256": file_sha256(task.source), "settings_sha256": task.fingerprint()}
        if _is_done(task, hashes):
            return {**task.known, "status": "kept"}
        record.update(hashes)
        record.update(_render(task))
        record["bytes"] = os.path.getsize(task.result)
        return {**record, "status": "done"}
    except (OSError, ValueError, TypeError, MemoryError, RuntimeError) as error:
        text = " ".join(str(error).split()) or type(error).__name__
        return {**record, "status": "failed", "error": text}


def _is_done(task: Task, hashes: dict[str, str]) -> bool:
    known = task.known
    try:
        return (known.get("status") == "done" and all(known.get(key) == value for key, value in hashes.items())
                and os.path.getsize(task.result) == known.get("bytes"))
    except OSError:
        return False


def _render(task: Task) -> dict[str, Any]:
    settings = task.settings
    rate = settings.rate or min(max(_core.audio_rate(os.fsencode(task.source)), USUAL_RATE), _core.maximum_rate)
    voice, _ = _core.read_audio(os.fsencode(task.source), rate)
    seconds = voice.shape[1] / rate
    varied = dict(task.varied)
    preset = varied.pop("preset", settings.preset)
    song = _song(settings.midi, settings.midi_sha256) if settings.midi else song_of(None, None)
    if settings.chord:
        song = song.together(song_of([(0, seconds, key) for key in settings.chord], None))
    instrument = _instrument(rate, settings.seed, settings.limiter)
    with warnings.catch_warnings(record=True) as told:
        warnings.simplefilter("always")
        instrument.preset = preset if not preset.startswith("{") else json.loads(preset)
        for name, value in {**settings.assignments, **varied}.items():
            instrument[name] = value
        sound = instrument.render_song(voice, song.fitted(seconds) if settings.fit else song, settings.tail)
    os.makedirs(os.path.dirname(task.result), exist_ok=True)
    clipped = _core.write_audio(os.fsencode(task.result), sound, rate, settings.bits)
    messages = [str(warning.message) for warning in told]
    if clipped:
        messages.append(f"{clipped} samples beyond full scale were clipped")
    return {"seconds": round(sound.shape[1] / rate, 3), **({"warnings": messages} if messages else {})}


@functools.lru_cache(maxsize=2)
def _song(path: str, sha256: str) -> _core.Song:
    """Read once by each worker; the hash tells whether it is still the song that was meant."""
    with open(path, "rb") as file:
        data = file.read()
    if hashlib.sha256(data).hexdigest() != sha256:
        raise ValueError(f"{path}: has changed since the run began")
    return _core.Song.parse(data)


@functools.lru_cache(maxsize=4)
def _instrument(rate: int, seed: int, limiter: bool) -> Instrument:
    return Instrument(rate, seed=seed, limiter=limiter)
