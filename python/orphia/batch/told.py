# SPDX-License-Identifier: GPL-3.0-or-later
"""What ``orphia batch`` declares, for its manual page, which the compiled command writes like those of its own."""
from __future__ import annotations

import argparse
from collections.abc import Iterator

from orphia.batch.command import EPILOG, command_line


def _value(action: argparse.Action) -> str:
    if action.nargs == 0 or not action.option_strings:
        return ""
    return str(action.metavar) if action.choices is None else f"{{{','.join(map(str, action.choices))}}}"


def told() -> Iterator[str]:
    """Names, value and description of an option a line, with tabs between; behind an empty line what is below them."""
    for action in command_line()._actions:
        if action.dest != "help":
            names = ",".join(action.option_strings) or str(action.metavar)
            yield f"{names}\t{_value(action)}\t{action.help}"
    yield ""
    yield EPILOG


if __name__ == "__main__":
    print("\n".join(told()))
