# SPDX-License-Identifier: GPL-3.0-or-later
"""What the tests share."""
import os
import subprocess
import tempfile
import unittest
from pathlib import Path

import numpy as np
import orphia

EXAMPLES = Path(os.environ["ORPHIA_EXAMPLES"])
VOICE = EXAMPLES / "voice.flac"
SONG = EXAMPLES / "song.mid"
RATE = 44100


def noise(seconds, seed=1, rate=RATE):
    """Noise at about -20 dBFS."""
    return np.random.default_rng(seed).normal(0, 0.1, int(seconds * rate)).astype(np.float32)


def run_command(*arguments):
    """Runs the compiled command; returns what it printed."""
    result = subprocess.run([os.environ["ORPHIA_COMMAND"], *map(str, arguments)], capture_output=True, text=True,
                            check=False)
    if result.returncode != 0:
        raise AssertionError(result.stderr)
    return result.stdout


def rendered_by_command(*arguments):
    """The sound that the compiled command writes."""
    with tempfile.TemporaryDirectory() as folder:
        path = Path(folder) / "out.wav"
        run_command(*arguments, "--bits", "float", "-o", path)
        return orphia.read(path)[0]


class Case(unittest.TestCase):
    def assert_same_sound(self, a, b):
        """Equal to the bit."""
        self.assertEqual(a.shape, b.shape)
        self.assertTrue(np.array_equal(a, b), f"differ by up to {np.abs(a - b).max()}")
        self.assertGreater(np.abs(a).max(), 1e-3, "silence proves nothing")
