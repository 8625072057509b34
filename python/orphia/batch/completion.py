# SPDX-License-Identifier: GPL-3.0-or-later
"""What may stand in place of a word of ``orphia batch`` that is being typed, from what its options declare."""
from __future__ import annotations

import argparse
import subprocess

from orphia.batch.command import command_line
from orphia.native import command_path

FILES = "/"
# Values that `orphia render` has as well are completed by it.
SAME_AS = {"NAME=VALUE": "--set", "NAME=FROM..TO": "--set", "NAME": "--preset"}
FILE_VALUES = ("OUT", "SONG")


def _from_render(option: str, typed: str) -> list[str]:
    told = subprocess.run([command_path(), "complete", "render", option, typed], capture_output=True, text=True,
                          check=False)
    return told.stdout.splitlines()


def _values(action: argparse.Action, typed: str) -> list[str]:
    kind = str(action.metavar)
    if action.choices is not None:
        return [f"{choice}\t" for choice in action.choices if choice.startswith(typed)]
    if kind == "NAME=FROM..TO" and typed.startswith("preset="):
        return [f"preset={line}" for line in _from_render("--preset", typed[len("preset="):]) if line != FILES]
    if kind in SAME_AS:
        return _from_render(SAME_AS[kind], typed)
    return [FILES] if kind in FILE_VALUES else []


def complete(words: list[str]) -> list[str]:
    """A candidate a line, behind a tab its description; a line of a single "/" says that files may stand there, too.
    The word that is completed is the last one, and may be empty."""
    options = {name: action for action in command_line()._actions for name in action.option_strings}
    before, typed = words[-2] if len(words) > 1 else "", words[-1]
    start, equals, value = typed.partition("=")
    if equals and start in options:
        return [line if line == FILES else f"{start}={line}" for line in _values(options[start], value)]
    if before in options and options[before].nargs != 0:
        return _values(options[before], typed)
    if typed.startswith("-"):
        return [f"{name}\t{action.help}" for name, action in options.items()
                if name.startswith("--") and name.startswith(typed)]
    return [FILES]


def run(words: list[str]) -> int:
    """Prints it for the scripts of the shells."""
    for line in complete(words):
        print(line)
    return 0
