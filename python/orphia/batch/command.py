# SPDX-License-Identifier: GPL-3.0-or-later
"""``orphia batch``: options, progress and summary."""
from __future__ import annotations

import argparse
import json
import os
import signal
import sys
import time
import warnings
from collections.abc import Iterator
from pathlib import Path
from typing import Any, NoReturn, Optional

from orphia.arrays import as_rate, as_seed, as_tail
from orphia.batch.corpus import Source, find_sources
from orphia.batch.manifest import Manifest
from orphia.batch.pools import on_cluster, on_processes
from orphia.batch.task import Settings, Task, file_sha256
from orphia.batch.variations import Variation, draw_all, parse_variation
from orphia.native import _core
from orphia.parameters import find, parse
from orphia.presets import preset_text

FAILED, USAGE, INTERRUPTED = 1, 2, 130
EPILOG = """It is done by the Python package orphia. Results keep the tree of folders of CORPUS. What is done stands in
OUT/manifest.jsonl, with the hashes of input and settings: started again, a run goes on where it was stopped.

Example:
  orphia batch corpus/ -o results/ --preset talking-pad --midi song.mid --jobs 2

Exit status:
  0    all done
  1    some file failed
  2    the command line was wrong
  130  interrupted"""


class _Parser(argparse.ArgumentParser):
    def error(self, message: str) -> NoReturn:
        self.exit(USAGE, f"orphia: {message}; see orphia batch --help\n")


def command_line() -> argparse.ArgumentParser:
    """What may be said behind `orphia batch`."""
    parser = _Parser(prog="orphia batch", description="Render every file of a corpus as the voice.", epilog=EPILOG,
                     allow_abbrev=False, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("corpus", metavar="CORPUS", help="a folder of sound files")
    parser.add_argument("-o", "--output", metavar="OUT", required=True, help="the folder of the results")
    parser.add_argument("--preset", default="default", metavar="NAME", help="a preset by its name, or a file")
    parser.add_argument("--set", action="append", default=[], metavar="NAME=VALUE", help="over the preset")
    parser.add_argument("--vary", action="append", default=[], metavar="NAME=FROM..TO",
                        help="another value for each file, also NAME=A,B,C and preset=A,B,C")
    parser.add_argument("--midi", metavar="SONG", help="what is sung, by all files")
    parser.add_argument("--chord", metavar="KEYS", default="", help="keys that are down all the time: 48,55,60")
    parser.add_argument("--fit", action="store_true", help="cut or repeat the song to the length of each file")
    parser.add_argument("--tail", metavar="SECONDS", help="after the end; else until the last echo is silent")
    parser.add_argument("--rate", metavar="HZ", help="sample rate; else each file's, at least 44100")
    parser.add_argument("--bits", choices=("16", "24", "float"), default="", help="of the samples (24)")
    parser.add_argument("--format", choices=("wav", "flac", "ogg"), default="wav", help="of the results (wav)")
    parser.add_argument("--seed", default="1", metavar="N", help="of the noise and of --vary (1)")
    parser.add_argument("--no-limiter", action="store_true", help="let peaks above -1 dBFS through")
    parser.add_argument("--pattern", default="", metavar="GLOB", help="names of the files that are taken")
    parser.add_argument("--jobs", metavar="N", help="processes (one per processor)")
    parser.add_argument("--scheduler", metavar="ADDRESS", help="of a Dask cluster, which does the work")
    return parser


def _whole(text: str, name: str) -> int:
    try:
        return int(text)
    except ValueError:
        raise ValueError(f"{name}: '{text}' is no whole number") from None


def _number(text: str, name: str) -> float:
    try:
        return float(text)
    except ValueError:
        raise ValueError(f"{name}: '{text}' is no number") from None


def _assignments(texts: list[str]) -> dict[str, Any]:
    catalog = _core.instrument_catalog()
    values = {}
    for text in texts:
        name, equals, value = (part.strip() for part in text.partition("="))
        if not name or not equals:
            raise ValueError(f"'{text}' is not of the form NAME=VALUE")
        parse(catalog, find(catalog, name), value)
        values[name] = value
    return values


def _settings(options: argparse.Namespace, seed: int) -> Settings:
    chord = tuple(_whole(key, "--chord") for key in options.chord.split(",") if key.strip())
    if any(not 0 <= key <= 127 for key in chord):
        raise ValueError(f"--chord: {options.chord} has a key outside 0 .. 127")
    if options.format != "wav" and (options.bits == "float" or (options.format == "ogg" and options.bits)):
        raise ValueError(f"--bits {options.bits}: .{options.format} has no such samples")
    if options.midi:
        _core.Song.read(os.fsencode(options.midi))
    return Settings(preset=preset_text(options.preset), assignments=_assignments(options.set),
                    midi=os.path.abspath(options.midi) if options.midi else None,
                    midi_sha256=file_sha256(options.midi) if options.midi else "", chord=chord, fit=options.fit,
                    tail=None if options.tail is None else as_tail(_number(options.tail, "--tail")),
                    rate=None if options.rate is None else as_rate(_whole(options.rate, "--rate")),
                    bits=options.bits, seed=seed, limiter=not options.no_limiter)


class _Progress:
    """A line on the terminal, with the time that is left."""

    def __init__(self, total: int) -> None:
        self.counts = {"done": 0, "kept": 0, "failed": 0}
        self.seconds = 0.0
        self._total = total
        self._begin = time.monotonic()
        self._shows = sys.stderr.isatty()
        self._shown = 0.0

    @property
    def elapsed(self) -> float:
        return time.monotonic() - self._begin

    def add(self, record: dict[str, Any]) -> None:
        self.counts[record["status"]] += 1
        if record["status"] == "done":
            self.seconds += record["seconds"]
        finished = sum(self.counts.values())
        if self._shows and (self.elapsed - self._shown > 0.2 or finished == self._total):
            self._shown = self.elapsed
            left = self.elapsed / finished * (self._total - finished)
            rate = self.seconds / max(self.elapsed, 1e-9)
            text = f"{finished}/{self._total} files, {rate:.0f} x real time, {_clock(left)} left"
            print(f"\r\033[K{text}", end="", file=sys.stderr, flush=True)

    def say(self, line: str) -> None:
        print(("\r\033[K" if self._shows else "") + f"orphia: {line}", file=sys.stderr, flush=True)

    def end(self) -> None:
        if self._shows:
            print("\r\033[K", end="", file=sys.stderr, flush=True)


def _clock(seconds: float) -> str:
    whole = int(seconds + 0.5)
    return f"{whole // 3600}:{whole // 60 % 60:02}:{whole % 60:02}"


def _tasks(sources: list[Source], corpus: Path, out: Path, settings: Settings, variations: list[Variation], seed: int,
           manifest: Manifest) -> Iterator[Task]:
    for source in sources:
        yield Task(source.path, str(corpus / source.path), str(out / source.result), settings,
                   draw_all(variations, seed, source.path), manifest.records.get(source.path, {}))


def _run_all(options: argparse.Namespace) -> int:
    seed = as_seed(_whole(options.seed, "--seed"))
    jobs = _whole(options.jobs, "--jobs") if options.jobs else os.cpu_count() or 1
    if not 1 <= jobs <= 1024:
        raise ValueError(f"--jobs: {jobs} is outside 1 .. 1024")
    settings = _settings(options, seed)
    variations = [parse_variation(text) for text in options.vary]
    corpus, out = Path(options.corpus).resolve(), Path(options.output).resolve()
    if not corpus.is_dir():
        raise NotADirectoryError(f"{options.corpus}: is no folder")
    if corpus == out:
        raise ValueError("CORPUS and OUT are the same folder")
    with Manifest(out) as manifest:
        sources = find_sources(corpus, out, options.format, options.pattern)
        if not sources:
            raise FileNotFoundError(f"{options.corpus}: holds no sound files")
        tasks = _tasks(sources, corpus, out, settings, variations, seed, manifest)
        results = {source.path: source.result for source in sources}
        progress = _Progress(len(sources))
        records = on_cluster(tasks, options.scheduler) if options.scheduler else on_processes(tasks, jobs)
        interrupted = False
        try:
            for record in records:
                _note(record, manifest, progress, results)
        except KeyboardInterrupt:
            interrupted = True
        progress.end()
        _summarise(progress, len(sources), interrupted)
    if interrupted:
        progress.say("stopped; the same command goes on from here")
        return INTERRUPTED
    return FAILED if progress.counts["failed"] else 0


def _note(record: dict[str, Any], manifest: Manifest, progress: _Progress, results: dict[str, str]) -> None:
    if record["status"] != "kept":
        record = {"output": results[record["input"]], **record}
        manifest.add(record)
    progress.add(record)
    for warning in record.get("warnings", []) if record["status"] == "done" else []:
        progress.say(f"warning: {record['input']}: {warning}")
    if record["status"] == "failed":
        progress.say(f"{record['input']}: {record['error']}")
        print(json.dumps({"status": "failed", "input": record["input"], "error": record["error"]}), flush=True)


def _summarise(progress: _Progress, total: int, interrupted: bool) -> None:
    summary = {"status": "interrupted" if interrupted else "finished", "files": total, **progress.counts,
               "seconds": round(progress.seconds, 3), "elapsed": round(progress.elapsed, 3),
               "speed": round(progress.seconds / max(progress.elapsed, 1e-9), 1)}
    print(json.dumps(summary), flush=True)


def _fail(error: BaseException, status: int) -> int:
    text = " ".join(str(error).split()) or type(error).__name__
    print(f"orphia: {text}", file=sys.stderr)
    return status


def run(arguments: Optional[list[str]] = None) -> int:
    """The exit status."""
    options = command_line().parse_args(arguments)
    signal.signal(signal.SIGTERM, signal.default_int_handler)
    warnings.showwarning = lambda message, *rest, **more: print(f"orphia: warning: {message}", file=sys.stderr)
    try:
        return _run_all(options)
    except KeyboardInterrupt:
        return INTERRUPTED
    except ImportError:
        return _fail(ImportError("--scheduler needs distributed: apt-get install python3-distributed"), FAILED)
    except OSError as error:
        return _fail(error, FAILED)
    except (ValueError, TypeError) as error:
        return _fail(error, USAGE)
    except (RuntimeError, MemoryError) as error:
        return _fail(error, FAILED)
