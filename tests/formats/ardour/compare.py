# SPDX-License-Identifier: GPL-3.0-or-later
"""Compares what Ardour exported with what the command renders: compare.py EXPORTED COMMAND [PRESET FRAME]

With a preset it is that of a program change at a frame, and what was played before does not count."""

import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
from rendered import compare, left_channel  # noqa: E402

LONGEST_BLOCK = 64

exported, command, *preset = sys.argv[1:]
if preset:
    frame = int(preset[1])
    # It begins with the engine's block that the message falls into.
    compare(left_channel(exported), command, range(-frame, LONGEST_BLOCK - frame), f"--preset {preset[0]}")
# What it was silent before counts for its sound, and Ardour lets that pass in whole blocks.
compare(left_channel(exported), command, range(0, 1024 * 300, 1024))
