# SPDX-License-Identifier: GPL-3.0-or-later
"""The files of a corpus, and where their results go."""
from __future__ import annotations

import os
from collections.abc import Iterator
from dataclasses import dataclass
from fnmatch import fnmatch
from pathlib import Path

# What the sound library reads, by its usual endings.
ENDINGS = frozenset("""aif aifc aiff au avr caf flac htk iff ircam mat mat4 mat5 mp3 nist oga ogg opus paf pvf rf64 sd2 sds sf
snd sph svx voc w64 wav wave wve xi""".split())


@dataclass(frozen=True)
class Source:
    """A file of the corpus; paths are relative to the corpus and to the folder of results."""

    path: str
    result: str


def _files(corpus: Path, left_out: Path) -> Iterator[str]:
    for folder, folders, names in os.walk(corpus):
        folders[:] = sorted(name for name in folders
                            if not name.startswith(".") and not _is_same(Path(folder) / name, left_out))
        for name in sorted(names):
            if not name.startswith("."):
                yield os.path.relpath(os.path.join(folder, name), corpus)


def _is_same(one: Path, other: Path) -> bool:
    try:
        return one.samefile(other)
    except OSError:
        return False


def find_sources(corpus: Path, results: Path, ending: str, pattern: str = "") -> list[Source]:
    """All sound files, in order, without hidden ones and without what lies in the folder of results.

    A result has its source's name with another ending; where two sources of a folder differ in nothing but theirs, the
    later ones keep it: ``a.wav`` and ``a.aiff.wav``.
    """
    def is_wanted(path: str) -> bool:
        name = os.path.basename(path)
        return fnmatch(name, pattern) if pattern else os.path.splitext(name)[1][1:].lower() in ENDINGS

    taken: set[str] = set()
    sources = []
    for path in sorted(filter(is_wanted, _files(corpus, results))):
        short, long = f"{os.path.splitext(path)[0]}.{ending}", f"{path}.{ending}"
        result = long if short in taken else short
        while result in taken:
            result = f"{result}.{ending}"
        taken.add(result)
        sources.append(Source(path, result))
    return sources
