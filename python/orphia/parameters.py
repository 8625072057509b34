# SPDX-License-Identifier: GPL-3.0-or-later
"""Parameters by name, value and unit."""
from __future__ import annotations

from collections.abc import Callable, Iterator, Mapping
from typing import Any, Union

import numpy as np

from orphia.errors import UnknownNameError
from orphia.native import _core

Value = Union[float, int, bool, str]


def find(catalog: _core.Catalog, name: Any) -> int:
    """The id of a name, or of an ending of one that is clear."""
    if not isinstance(name, str):
        raise TypeError(f"a parameter's name must be a str, not {type(name).__name__}")
    try:
        return catalog.find(name)
    except ValueError as error:
        raise UnknownNameError(str(error)) from None


def parse(catalog: _core.Catalog, index: int, value: Any) -> _core.Setting:
    """A value as users give it: a real value, ``True``, or a text such as "-6 dB", "1/8", "on", "50 %"."""
    if isinstance(value, str):
        return catalog.parse(index, value)
    if isinstance(value, (bool, np.bool_)):
        if not catalog.at(index).is_switch:
            raise TypeError(f"{catalog.at(index).name} is no switch and takes no bool")
        return catalog.parse(index, "on" if value else "off")
    try:
        number = float(value)
    except OverflowError:
        number = float("inf")
    except (TypeError, ValueError):
        kind = type(value).__name__
        raise TypeError(f"{catalog.at(index).name} takes a number or a text, not {kind}") from None
    return catalog.parse(index, repr(number))


class Parameter:
    """One parameter of an instrument, as it is now.

    Attributes
    ----------
    name : str
        The whole name.
    description, unit, kind, role : str
        A few words; "dB", "Hz", ... or ""; "knob", "switch", "stepped" or "mapped"; "control" for what players turn,
        else "route", "controller", "circuit", "output" or "command".
    minimum, maximum : float
        The real range, in the unit.
    choices : tuple of str
        Names of the steps, where they have some.
    """

    def __init__(self, catalog: _core.Catalog, index: int, read: Callable[[int], float]) -> None:
        info = catalog.at(index)
        self._catalog = catalog
        self._index = index
        self._read = read
        self.name: str = info.name
        self.description: str = info.description
        self.unit: str = info.unit
        self.kind: str = info.kind
        self.role: str = info.role
        self.minimum: float = info.minimum
        self.maximum: float = info.maximum
        self.choices: tuple[str, ...] = tuple(info.choices)

    @property
    def value(self) -> float:
        """The real value, in the unit."""
        return self._read(self._index)

    @property
    def text(self) -> str:
        """The value with its unit, or the name of the step."""
        return self._catalog.value_text(self._index, self.value)

    @property
    def range(self) -> tuple[float, float]:
        """Minimum and maximum."""
        return self.minimum, self.maximum

    def __repr__(self) -> str:
        return f"<{self.name} = {self.text} ({self._catalog.at(self._index).range_text})>"


class Parameters(Mapping[str, Parameter]):
    """All parameters by their whole names; look-ups take any ending that is clear, such as "Wet"."""

    def __init__(self, catalog: _core.Catalog, read: Callable[[int], float]) -> None:
        self._catalog = catalog
        self._read = read

    def __getitem__(self, name: str) -> Parameter:
        return Parameter(self._catalog, find(self._catalog, name), self._read)

    def __len__(self) -> int:
        return len(self._catalog)

    def __iter__(self) -> Iterator[str]:
        return (self._catalog.at(index).name for index in range(len(self)))

    def controls(self) -> list[Parameter]:
        """What players turn, in order."""
        found = (Parameter(self._catalog, index, self._read) for index in range(len(self)))
        return [parameter for parameter in found if parameter.role == "control"]

    def __repr__(self) -> str:
        return f"<{len(self)} parameters, {len(self.controls())} of them controls>"
