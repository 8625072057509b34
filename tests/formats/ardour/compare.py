# SPDX-License-Identifier: GPL-3.0-or-later
"""Compares what Ardour exported with what the command renders: compare.py EXPORTED COMMAND"""

import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
from rendered import compare, left_channel  # noqa: E402

# What it was silent before counts for its sound, and Ardour lets that pass in whole blocks.
compare(left_channel(sys.argv[1]), sys.argv[2], range(0, 1024 * 300, 1024))
