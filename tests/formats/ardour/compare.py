# SPDX-License-Identifier: GPL-3.0-or-later
"""Compares what Ardour exported with what the command renders: compare.py EXPORTED COMMAND"""

import array
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
from rendered import FIRST, LAST, left_channel, render  # noqa: E402

TOLERANCE = 0.001


def difference(exported: array.array, rendered: array.array, late: int) -> float:
    worst = 0.0
    for frame in range(FIRST, LAST):
        worst = max(worst, abs(exported[frame + late] - rendered[frame]))
        if worst > TOLERANCE:
            break
    return worst


exported = left_channel(sys.argv[1])
peak = max(map(abs, exported))
if peak < 0.05:
    sys.exit(print(f"Ardour exported silence: a peak of {peak}") or 1)
for lead in range(1024 * 100, 1024 * 260, 1024):
    rendered = render(sys.argv[2], lead)
    for late in range(256):
        found = difference(exported, rendered, late)
        if found <= TOLERANCE:
            print(f"the export is what the command renders but for {found:.6f} of a peak of {peak:.3f}, {late} frames late")
            sys.exit()
print("Ardour's export is not what the command renders")
sys.exit(1)
