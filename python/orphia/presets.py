# SPDX-License-Identifier: GPL-3.0-or-later
"""Presets by name, by path and as dictionaries."""
from __future__ import annotations

import json
import os
from collections.abc import Mapping
from dataclasses import dataclass
from typing import Any, Union

from orphia.errors import warn_all
from orphia.files import path_of
from orphia.native import _core
from orphia.parameters import find, parse

PresetLike = Union[str, "os.PathLike[str]", Mapping[str, Any]]


@dataclass(frozen=True)
class PresetInfo:
    """A line of the list of presets; `path` is "" for what is built in."""

    id: str
    name: str
    description: str
    path: str


def presets() -> list[PresetInfo]:
    """The presets that go by name: what is built in, and the user's own.

    >>> "talking-pad" in [preset.id for preset in presets()]
    True
    """
    return [PresetInfo(*entry) for entry in _core.list_presets()]


def preset_text(preset: PresetLike) -> str:
    """The text of a preset file.

    Parameters
    ----------
    preset : str, path or mapping
        A name as `presets` lists them, the path of a file, a whole preset as a dictionary (with "format"), or plain
        parameters by name: values over those of a new instrument, or of the preset under the key "preset".

    Raises
    ------
    ValueError, TypeError
        For an unknown name, with similar ones, a value out of range, a preset of a newer version.
    """
    if isinstance(preset, Mapping):
        return _text_of_mapping(preset)
    if not isinstance(preset, (str, os.PathLike)):
        raise TypeError(f"a preset is a name, a path or a mapping, not {type(preset).__name__}")
    text, warnings = _core.open_preset(path_of(preset, "preset"))
    warn_all(warnings, stacklevel=5)
    return text


def _text_of_mapping(preset: Mapping[str, Any]) -> str:
    if "format" in preset:
        try:
            return json.dumps(dict(preset))
        except (TypeError, ValueError) as error:
            raise TypeError(f"the preset cannot be written as JSON: {error}") from None
    values = dict(preset)
    base = values.pop("preset", "default")
    if isinstance(base, Mapping) and "format" not in base:
        raise TypeError('"preset" must be a name, a path or a whole preset')
    whole = json.loads(preset_text(base))
    catalog = _core.instrument_catalog()
    for name, value in values.items():
        index = find(catalog, name)
        setting = parse(catalog, index, value)
        whole["parameters"][catalog.at(index).name] = (
            f"@{setting.number!r}" if setting.is_position else catalog.value_text(index, setting.number))
    return json.dumps(whole)
