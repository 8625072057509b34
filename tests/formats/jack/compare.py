# SPDX-License-Identifier: GPL-3.0-or-later
"""Plays to a client of JACK, and compares what comes back with what the command renders:
compare.py CLIENT PLAYER COMMAND PERIOD

How long the client was silent before is not known, but that it was so for whole periods."""

import pathlib
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
from rendered import compare, left_channel, write_files  # noqa: E402

MOST_SECONDS = 8

client, player, command = sys.argv[1:4]
period = int(sys.argv[4])
write_files()
subprocess.run([player, client, "voice.wav", "song.mid", "heard.wav"], check=True)
compare(left_channel("heard.wav"), command, range(0, MOST_SECONDS * 48000, period))
