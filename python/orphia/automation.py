# SPDX-License-Identifier: GPL-3.0-or-later
"""Parameters that move in the course of a render."""
from __future__ import annotations

from collections.abc import Mapping
from typing import Any, Optional

import numpy as np

from orphia.arrays import as_number
from orphia.native import _core
from orphia.parameters import find, parse
from orphia.songs import LONGEST

Point = tuple[float, float, bool]
Lane = tuple[int, list[Point]]


def lanes_of(automation: Optional[Mapping[str, Any]], seconds: float) -> list[Lane]:
    """Points of each parameter that moves; an array is spread evenly over so many seconds."""
    if automation is None:
        return []
    if not isinstance(automation, Mapping):
        raise TypeError(f"automation must be a mapping from names to points, not {type(automation).__name__}")
    catalog = _core.instrument_catalog()
    lanes = []
    for name, points in automation.items():
        index = find(catalog, name)
        lanes.append((index, _points(catalog, index, name, points, seconds)))
    return lanes


def _points(catalog: _core.Catalog, index: int, name: str, points: Any, seconds: float) -> list[Point]:
    if isinstance(points, np.ndarray) and points.ndim == 1:
        times = np.linspace(0.0, seconds, num=len(points)) if len(points) > 1 else np.zeros(len(points))
        points = list(zip(times.tolist(), points.tolist()))
    lane: list[Point] = []
    steps = catalog.at(index).is_stepped
    try:
        rows = [tuple(row) for row in points]
    except TypeError:
        raise TypeError(f"automation of {name} must be an array or a list of (time, value)") from None
    for row in rows:
        if len(row) not in (2, 3):
            raise ValueError(f"automation of {name}: {row!r} is not (time, value)")
        time = as_number(row[0], f"time of {name}", 0.0, LONGEST)
        move = row[2] if len(row) == 3 else ("jump" if steps else "linear")
        if move not in ("jump", "linear") or (move == "linear" and steps):
            raise ValueError(f"automation of {name}: {move!r} is no move" +
                             (" of a parameter with steps" if steps else ", linear or jump"))
        if lane and time < lane[-1][0]:
            raise ValueError(f"automation of {name}: time {time:g} lies before the one in front of it")
        lane.append((time, catalog.to_position(parse(catalog, index, row[1])), move == "linear"))
    if not lane:
        raise ValueError(f"automation of {name} has no points")
    return lane
