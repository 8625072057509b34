# SPDX-License-Identifier: GPL-3.0-or-later
"""What the project measures, and what it wants each figure to be."""
from dataclasses import dataclass
from pathlib import Path
from typing import Optional, Union


@dataclass(frozen=True)
class Reading:
    """One number of a row of orphia_bench, or of orphia_block_times without a row; times in seconds there."""
    row: Optional[str]
    field: str
    scale: float
    unit: str


@dataclass(frozen=True)
class Ratio:
    """Of two readings in one unit, from one run."""
    over: Reading
    under: Reading
    unit: str = "times"


@dataclass(frozen=True)
class Figure:
    name: str
    source: Union[Reading, Ratio]
    # Met when the value is not above it.
    target: Optional[float] = None
    # A word, and what stands beside the figure.
    beside: Optional[tuple[str, Reading]] = None
    # Of one event, so that two runs of the same differ: told, but never called worse.
    once: bool = False


def per_frame(row):
    return Reading(row, "s/frame", 1e9, "ns/frame")


def core_share(row):
    return Reading(row, "core", 100.0, "% of a core")


def block_share(key):
    return Reading(None, key, 100.0, "% of its time")


def seconds(key):
    return Reading(None, key, 1e3, "ms")


def core():
    figures = []
    # 1.4, 1.5 and 1.5 times a floor whose amplifiers were compiled for four lanes, in terms of the present one.
    for index, (lanes, wanted) in enumerate(((4, 1.42), (8, 1.75), (16, 1.94))):
        floor = per_frame(f"Floor/{index}")
        figures.append(Figure(f"floor, {lanes} lanes", floor))
        for kind in ("voiced", "unvoiced"):
            whole = per_frame(f"CoreOn{kind.capitalize()}Speech/{index}")
            figures += [Figure(f"core, {kind}, {lanes} lanes", whole, 300, ("floor", floor)),
                        Figure(f"core over floor, {kind}, {lanes} lanes", Ratio(whole, floor), wanted)]
    return figures


def voices():
    def voice(waveform, both=0):
        return per_frame(f"Voice/waveform:{waveform}/sync:{both}/fm:{both}")

    def carrier(count):
        return per_frame(f"CarrierWithPlayedVoices/voices:{count}")

    saws = voice(1)
    block = Reading(saws.row, "cpu_time", 1e9, "ns")
    return [
        Figure("voice of two saws, with low-pass and drive", saws, 8, ("one bare saw", per_frame("SawChain/440"))),
        Figure("voice of two triangles", voice(0)),
        Figure("voice of two squares", voice(2)),
        Figure("voice of two noises", voice(3)),
        Figure("voice of two saws, with sync and FM", voice(1, 1)),
        Figure("carrier without voices", carrier(0), 10),
        Figure("carrier with 1 voice", carrier(1), None, ("voice alone", saws)),
        Figure("carrier with 8 voices", carrier(8)),
        Figure("carrier with 32 voices", carrier(32), 32 * 5.5),
        Figure("carrier with all 57 voices", per_frame("CarrierWithAllVoices")),
        Figure("a note-on over a block of one voice",
               Ratio(Reading("NoteOn/manual_time", "s/note", 1e9, "ns"), block), 1),
        Figure("128 notes started and ended in every block", per_frame("NoteStorm")),
        Figure("matrix with all cells routed, 57 voices", per_frame("Modulations/voices:57/routed:1")),
        Figure("matrix empty, 32 voices", per_frame("Modulations/voices:32/routed:0")),
    ]


def modulator():
    def sampler(what):
        return per_frame("Sampler " + what)

    figures = [
        Figure("sampler, plain", sampler("plain"), 40),
        Figure("sampler, loop with half of it crossfade", sampler("loop, half of it crossfade")),
        Figure("sampler, loop of 1 ms, back and forth", sampler("loop of 1 ms, back and forth")),
        Figure("sampler with a moving filter", sampler("with a moving filter")),
        Figure("sampler, stretched at factor 1", sampler("stretched at factor 1")),
        Figure("sampler, stretched to half", sampler("stretched to half")),
        Figure("sampler, stretched to four times", sampler("stretched to four times")),
        Figure("equaliser, five bands", per_frame("ParamEq five bands")),
        Figure("equaliser, five bands, moving", per_frame("ParamEq five bands moving")),
        Figure("compressor, linked, soft knee", per_frame("Compressor linked, soft knee")),
        Figure("compressor, unlinked, 5 ms lookahead",
               per_frame("Compressor unlinked, level smoothing, 5 ms lookahead")),
        Figure("compressor, unlinked, swell, 10 ms lookahead",
               per_frame("Compressor unlinked, swell, 10 ms lookahead")),
        Figure("gate", per_frame("InputDetector")),
        Figure("meter", per_frame("VuMeter")),
        Figure("pitch tracker, on average", per_frame("PitchTracker average block")),
        Figure("pitch tracker, block that ends a window",
               Reading("PitchTracker block that ends a window/manual_time", "block_share", 100.0, "% of its time"),
               15),
        Figure("modulator at rest", per_frame("Modulator at rest")),
        Figure("modulator with a sample", per_frame("Modulator with a sample")),
        Figure("modulator with a sample, equaliser and compressor",
               per_frame("Modulator with a sample, equaliser and compressor")),
        Figure("modulator with the external input", per_frame("Modulator with the external input")),
    ]
    for kind, container in enumerate(("WAV 16 bit", "WAV float", "FLAC 16 bit")):
        for channels, name in ((1, "mono"), (2, "stereo")):
            ours, plain = (Reading(f"Sample load/{kind}/{channels}/manual_time", field, 1e3, "ms")
                           for field in ("real_time", "s/plain"))
            figures.append(Figure(f"loading {container} {name} over plain libsndfile", Ratio(ours, plain), 1.2))
    return figures


def instrument(minutes):
    figures = []
    for rate in (44100, 96000):
        at = f"at {rate / 1000:g} kHz"
        wanted = rate == 44100
        figures.append(Figure(f"instrument idle {at}", core_share(f"InstrumentIdle/rate:{rate}"),
                              0.31 if wanted else None))
        for keys in (1, 8, 32):
            figures.append(Figure(f"instrument, {keys} key{'s' if keys > 1 else ''} {at}",
                                  core_share(f"InstrumentVoices/rate:{rate}/keys:{keys}")))
        figures.append(Figure(f"instrument, everything {at}", core_share(f"InstrumentEverything/rate:{rate}"),
                              3.3 if wanted else None))
    played = f"{minutes:g} minute{'s' if minutes != 1 else ''} of playing"
    return figures + [
        Figure("blocks while played, median", block_share("block_median")),
        Figure("blocks while played, 99 %", block_share("block_99")),
        Figure("blocks while played, 99.9 %", block_share("block_999")),
        Figure(f"worst block of {played}, least of the runs", block_share("block_worst"), 15),
        Figure(f"worst block of {played}, seen once", block_share("block_worst_once"), once=True),
        Figure("creation of a processor", seconds("processor"), 5),
        Figure("creation of a processor, the first", seconds("processor_first"), once=True),
        Figure("creation of an instrument with its names", seconds("instrument")),
        Figure("memory of a processor", Reading(None, "processor_memory", 1.0, "MiB"), 8),
        Figure("memory of an instrument with its names", Reading(None, "instrument_memory", 1.0, "MiB"), 8),
    ]


def effect_names():
    """Of the types of a slot, by number, as the list of parameters tells them."""
    parameters = Path(__file__).parents[2] / "docs" / "parameters.md"
    types = next(line for line in parameters.read_text().splitlines() if "| FX1_ModuleType |" in line)
    return [name.strip() for name in types.split("|")[5].split(",")]


def effects():
    empty = per_frame("Effect slots empty, series and parallel/0")
    return [Figure("three empty slots", empty)] + [
        Figure(f"{name} in a slot", per_frame(f"Effect slot of type/{index}"))
        for index, name in enumerate(effect_names()) if name != "none"]


def groups(minutes):
    """All figures, by the title that they stand under; so many minutes were played."""
    return {"Core": core(), "Voices": voices(), "Modulator": modulator(), "Instrument": instrument(minutes),
            "Effects": effects()}


def benchmark_rows():
    """The rows of orphia_bench that the figures need."""
    rows = set()
    for figures in groups(1.0).values():
        for figure in figures:
            beside = [figure.beside[1]] if figure.beside else []
            source = figure.source
            readings = [source.over, source.under] if isinstance(source, Ratio) else [source]
            rows |= {reading.row for reading in readings + beside if reading.row}
    return sorted(rows)
