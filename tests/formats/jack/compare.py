# SPDX-License-Identifier: GPL-3.0-or-later
"""Plays to a client of JACK, and compares what comes back with what the command renders:
compare.py CLIENT PLAYER COMMAND PERIOD

How long the client was silent before is not known, but that it was so for whole periods."""

import pathlib
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
from rendered import FIRST, LAST, left_channel, render, write_files  # noqa: E402

MOST_SECONDS = 8

client, player, command = sys.argv[1:4]
period = int(sys.argv[4])
write_files()
subprocess.run([player, client, "voice.wav", "song.mid", "heard.wav"], check=True)
heard = left_channel("heard.wav")
peak = max(map(abs, heard))
if peak < 0.05:
    sys.exit(print(f"silence came back: a peak of {peak}") or 1)
heard = heard.tobytes()
for lead in range(0, MOST_SECONDS * 48000, period):
    wanted = render(command, lead)[FIRST:LAST].tobytes()
    late = heard.find(wanted, 4 * FIRST) // 4 - FIRST
    if late >= 0:
        print(f"{LAST - FIRST} frames of jalv equal those of the command, {late} frames late, after {lead} silent ones")
        sys.exit()
print("what came back is not what the command renders")
sys.exit(1)
