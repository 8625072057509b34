# SPDX-License-Identifier: GPL-3.0-or-later
"""The wheel, installed where nothing else of the project is."""
import importlib.util
import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import numpy as np
import orphia
from rig import RATE, SONG, VOICE

STAGE = Path(orphia.__file__).parent.parent
PROGRAM = """
import numpy as np, orphia, warnings
warnings.simplefilter("error")
instrument = orphia.Instrument(44100, "drummed-chords")
np.save("sound.npy", instrument.render(notes=[(0, 1, 40), (0, 1, 36)], tail=0))
print(orphia.__file__, orphia.instrument._core.engine_info()[1], sep="\\n")
print(instrument.preset["samples"]["1"])
"""


@unittest.skipUnless(importlib.util.find_spec("pip") and importlib.util.find_spec("wheel"), "no pip or wheel")
class WheelTest(unittest.TestCase):
    def test_holds_all_that_it_needs(self):
        folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        shutil.copytree(STAGE, folder / "source")
        environment = {name: value for name, value in os.environ.items()
                       if name not in ("PYTHONPATH", "ORPHIA_COMMAND", "ORPHIA_EXAMPLES", "ORPHIA_ENGINE")}

        def run(*arguments, **more):
            result = subprocess.run([sys.executable, *map(str, arguments)], cwd=folder, text=True, capture_output=True,
                                    check=False, env={**environment, **more})
            self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
            return result.stdout

        run("-m", "pip", "wheel", "--no-index", "--no-deps", "--no-build-isolation", "-w", folder, folder / "source")
        shutil.rmtree(folder / "source")
        wheel, = folder.glob("orphia-*-cp311-cp311-linux_*.whl")
        place = folder / "elsewhere"
        run("-m", "pip", "install", "--no-index", "--no-deps", "--target", place, wheel)
        *paths, sample = run("-c", PROGRAM, PYTHONPATH=str(place)).splitlines()
        for path in paths:
            self.assertTrue(path.startswith(str(place)), path)
        # By a name that holds on other machines, too; the sound below tells that it was found.
        self.assertEqual(sample, "factory:presets/samples/beat.flac")
        self.assertGreater(np.abs(np.load(folder / "sound.npy")).max(), 0.01)
        # The compiled command is inside as well, and a new script of the wheel's own leads to both.
        run("-m", "orphia", "render", "--voice", VOICE, "--midi", SONG, "--tail", 0, "-o", folder / "a.wav",
            PYTHONPATH=str(place))
        self.assertGreater(orphia.read(folder / "a.wav")[0].shape[1], 10 * RATE)
        self.assertIn("--vary", run(place / "bin" / "orphia", "batch", "--help", PYTHONPATH=str(place)))


if __name__ == "__main__":
    unittest.main()
