# SPDX-License-Identifier: GPL-3.0-or-later
"""What the shells offer behind `orphia batch`."""
import os
import sys
import unittest
from pathlib import Path
from unittest.mock import patch

from rig import run_command

# The words as typed, the last of them unfinished, and what may stand there.
CASES = [
    (["--pre"], ["--preset"]),
    (["corpus", "--no-l"], ["--no-limiter"]),
    (["--fit", "--sched"], ["--scheduler"]),
    (["--format", "f"], ["flac"]),
    (["--bits="], ["--bits=16", "--bits=24", "--bits=float"]),
    (["--preset", "talking-"], ["talking-organ", "talking-pad", "/"]),
    (["--set", "Osc1Wavef"], ["Osc1Waveform="]),
    (["--set=FX1_ModuleType=d"], ["--set=FX1_ModuleType=delay"]),
    (["--vary", "Osc1Wavef"], ["Osc1Waveform="]),
    (["--vary", "preset=talking-o"], ["preset=talking-organ"]),
    (["--midi", ""], ["/"]),
    (["--fit", ""], ["/"]),
    (["--seed", ""], []),
    ([""], ["/"]),
]


class CompletionTest(unittest.TestCase):
    def test_offers_what_fits(self):
        path = f"{Path(sys.executable).parent}:{os.environ['PATH']}"
        for words, expected in CASES:
            with self.subTest(words), patch.dict(os.environ, PATH=path):
                told = run_command("complete", "batch", *words)
                self.assertEqual([line.split("\t")[0] for line in told.splitlines()], expected)


if __name__ == "__main__":
    unittest.main()
