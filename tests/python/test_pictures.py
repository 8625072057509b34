# SPDX-License-Identifier: GPL-3.0-or-later
"""Pictures, the demo and the notebook: run whole, and looked at as far as a program can."""
import importlib.util
import io
import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import numpy as np
import orphia
from rig import EXAMPLES, RATE, noise

HAS_MATPLOTLIB = importlib.util.find_spec("matplotlib") is not None
HAS_NOTEBOOKS = all(importlib.util.find_spec(name) for name in ("nbformat", "nbclient", "ipykernel"))


def pixels(png):
    from PIL import Image

    return np.asarray(Image.open(io.BytesIO(png)).convert("RGB"), dtype=float)


@unittest.skipUnless(HAS_MATPLOTLIB, "matplotlib is not installed")
class PlotTest(unittest.TestCase):
    def test_bands_show_where_the_voice_is(self):
        import orphia.plot as plot

        instrument = orphia.Instrument(RATE, "clear-speech")
        self.assertIsNone(instrument._repr_png_())
        with self.assertRaisesRegex(ValueError, "not rendered"):
            plot.bands(instrument)
        low, high = (0.3 * np.sin(np.arange(RATE // 2) * 2 * np.pi * hertz / RATE) for hertz in (200, 3000))
        instrument.render(np.concatenate([low, high]), [(0, 1, 40)], tail=0)
        axes = plot.bands(instrument)
        picture = pixels(plot.png(axes)).sum(axis=2)
        box = axes.get_window_extent()
        inside = picture[::-1][int(box.y0) + 3:int(box.y1) - 3, int(box.x0) + 3:int(box.x1) - 3]
        # From below, first the low tone, then the high one.
        height, width = inside.shape
        first, then = (inside[:, int(share * width)].argmax() / height for share in (0.25, 0.75))
        self.assertLess(first, 0.4)
        self.assertGreater(then, 0.6)
        self.assertGreater(pixels(instrument._repr_png_()).std(), 10)

    def test_a_spectrogram_has_the_tone_at_its_frequency(self):
        import orphia.plot as plot

        tone = 0.5 * np.sin(np.arange(RATE) * 2 * np.pi * 1000 / RATE)
        axes = plot.spectrogram(tone, RATE)
        mesh = axes.collections[0]
        levels = mesh.get_array().reshape(512, -1)
        row = int(levels.mean(axis=1).argmax())
        edges = mesh.get_coordinates()[:, 0, 1]
        self.assertLess(edges[row], 1000)
        self.assertGreater(edges[row + 1], 1000)
        for sound in ([0.5], np.zeros(10), noise(0.1)):
            self.assertGreater(len(plot.png(plot.spectrogram(sound, RATE))), 1000)

    def test_the_demo_renders_and_draws(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run([sys.executable, "-B", EXAMPLES / "python" / "demo.py", folder], check=True,
                           stdout=subprocess.DEVNULL)
            self.assertEqual(len(list(Path(folder).glob("demo-python-*.wav"))), 5)
            self.assertGreater(pixels((Path(folder) / "demo-python.png").read_bytes()).std(), 10)


@unittest.skipUnless(HAS_MATPLOTLIB and HAS_NOTEBOOKS, "matplotlib, nbclient or ipykernel is not installed")
class NotebookTest(unittest.TestCase):
    def test_it_runs_and_shows_its_pictures(self):
        import nbclient
        import nbformat
        from jupyter_client.kernelspec import KernelSpecManager

        notebook = nbformat.read(EXAMPLES / "python" / "stimuli.ipynb", as_version=4)
        with tempfile.TemporaryDirectory() as folder:
            os.environ["JUPYTER_DATA_DIR"] = folder
            # The kernel is this interpreter, whatever others there are.
            kernel = Path(folder) / "kernels" / "python3"
            kernel.mkdir(parents=True)
            (kernel / "kernel.json").write_text(
                f'{{"argv": ["{sys.executable}", "-m", "ipykernel_launcher", "-f", "{{connection_file}}"],'
                ' "display_name": "Python 3", "language": "python"}')
            manager = KernelSpecManager(data_dir=folder)
            self.assertIn("python3", manager.find_kernel_specs())
            nbclient.NotebookClient(notebook, timeout=300, kernel_name="python3").execute(cwd=folder)
        pictures = [output["data"]["image/png"] for cell in notebook.cells for output in cell.get("outputs", [])
                    if "image/png" in output.get("data", {})]
        self.assertEqual(len(pictures), 3)


if __name__ == "__main__":
    unittest.main()
