# SPDX-License-Identifier: GPL-3.0-or-later
"""Values that differ from file to file, drawn from a seed and the file's name alone."""
from __future__ import annotations

import hashlib
import random
from dataclasses import dataclass
from typing import Union

from orphia.native import _core
from orphia.parameters import find, parse
from orphia.presets import preset_text

Drawn = Union[str, float]


@dataclass(frozen=True)
class Variation:
    """One of some texts, or a number of a range: of the real value, of steps or of the knob."""

    name: str
    choices: tuple[str, ...] = ()
    least: float = 0.0
    most: float = 0.0
    step: float = 0.0
    is_position: bool = False

    def draw(self, generator: random.Random) -> Drawn:
        """A value for one file, as a setting takes it."""
        if self.choices:
            return generator.choice(self.choices)
        if self.step:
            return self.least + self.step * generator.randrange(int(round((self.most - self.least) / self.step)) + 1)
        number = generator.uniform(self.least, self.most)
        return f"@{number:.6f}" if self.is_position else float(f"{number:.6g}")


def parse_variation(text: str) -> Variation:
    """Reads ``NAME=A,B,C``, ``NAME=FROM..TO`` or ``preset=A,B,C``. Raises ValueError."""
    name, equals, values = (part.strip() for part in text.partition("="))
    if not name or not equals or not values:
        raise ValueError(f"'{text}' is not of the form NAME=FROM..TO or NAME=A,B,C")
    choices = tuple(choice.strip() for choice in values.split(","))
    if name == "preset":
        for choice in choices:
            preset_text(choice)
        return Variation(name, choices)
    catalog = _core.instrument_catalog()
    index = find(catalog, name)
    if ".." not in values:
        for choice in choices:
            parse(catalog, index, choice)
        return Variation(name, choices)
    ends = values.split("..")
    if len(ends) != 2:
        raise ValueError(f"'{text}' is not of the form NAME=FROM..TO or NAME=A,B,C")
    least, most = (parse(catalog, index, end) for end in ends)
    if least.is_position != most.is_position or not least.number <= most.number:
        raise ValueError(f"'{text}': the range must lead upwards, from and to values of one kind")
    info = catalog.at(index)
    return Variation(name, (), least.number, most.number, info.step_width if info.is_stepped else 0.0,
                     least.is_position)


def draw_all(variations: list[Variation], seed: int, path: str) -> dict[str, Drawn]:
    """The values for the file of a path; those of other files and the order do not matter."""
    digest = hashlib.sha256(f"{seed}:".encode() + path.encode("utf-8", "surrogateescape")).digest()
    generator = random.Random(int.from_bytes(digest, "big"))
    return {variation.name: variation.draw(generator) for variation in variations}
