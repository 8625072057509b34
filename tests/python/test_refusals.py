# SPDX-License-Identifier: GPL-3.0-or-later
"""What is refused, in one line that says why; and that all is well afterwards."""
import os
import signal
import tempfile
import threading
import time
import unittest
from pathlib import Path

import numpy as np
import orphia
from rig import RATE, Case, noise

NEWER = {"format": "orphia-preset", "version": 2, "parameters": {}}
# What is tried on an instrument, the error, and a word of its line.
REFUSALS = [
    (lambda i: orphia.Instrument(0), ValueError, "8000"),
    (lambda i: orphia.Instrument(44100.5), ValueError, "44100.5"),
    (lambda i: orphia.Instrument(float("nan")), ValueError, "nan"),
    (lambda i: orphia.Instrument(10**400), ValueError, "sample_rate"),
    (lambda i: orphia.Instrument("44100"), TypeError, "str"),
    (lambda i: orphia.Instrument(RATE, seed=-1), ValueError, "seed"),
    (lambda i: orphia.Instrument(RATE, seed=1.5), TypeError, "float"),
    (lambda i: i["Wett"], KeyError, "similar: Wet"),
    (lambda i: i["Wett"], ValueError, "similar: Wet"),
    (lambda i: i[3], TypeError, "int"),
    (lambda i: i.__setitem__("Wet", 2), ValueError, "outside 0 .. 1"),
    (lambda i: i.__setitem__("Wet", np.inf), ValueError, "inf"),
    (lambda i: i.__setitem__("Wet", "5 dB"), ValueError, "unit"),
    (lambda i: i.__setitem__("Wet", True), TypeError, "switch"),
    (lambda i: i.__setitem__("Wet", 10**400), ValueError, "inf"),
    (lambda i: i.__setitem__("Wet", None), TypeError, "NoneType"),
    (lambda i: i.__setitem__("BodeVocoder_HissLED", 1), ValueError, "output"),
    (lambda i: setattr(i, "preset", "talking-pat"), ValueError, "talking-pad"),
    (lambda i: setattr(i, "preset", NEWER), ValueError, "newer"),
    (lambda i: setattr(i, "preset", {"Wett": 1}), ValueError, "similar: Wet"),
    (lambda i: setattr(i, "preset", {"format": {1, 2}}), TypeError, "JSON"),
    (lambda i: setattr(i, "preset", 5), TypeError, "int"),
    (lambda i: setattr(i, "preset", Path("/nowhere/x.json")), OSError, "/nowhere/x.json"),
    (lambda i: i.load_sample(13, "x.wav"), ValueError, "1 to 12"),
    (lambda i: i.load_sample(1, "/nowhere/x.wav"), OSError, "/nowhere/x.wav"),
    (lambda i: i.render(), ValueError, "nothing to play"),
    (lambda i: i.render([]), ValueError, "no frames"),
    (lambda i: i.render(np.zeros((2, 0))), ValueError, "no frames"),
    (lambda i: i.render(np.zeros((3, 100))), ValueError, "3 channels"),
    (lambda i: i.render(np.zeros((100, 2))), ValueError, "transpose"),
    (lambda i: i.render(np.zeros((1, 2, 100))), ValueError, "shape"),
    (lambda i: i.render(np.float32(1)), ValueError, "shape"),
    (lambda i: i.render(np.array([0, np.nan, 0, np.inf])), ValueError, "2 values"),
    (lambda i: i.render(np.array([0, 1e300])), ValueError, "frame 1"),
    (lambda i: i.render(np.zeros(9, np.int16)), TypeError, "int16"),
    (lambda i: i.render(np.zeros(9, complex)), TypeError, "complex"),
    (lambda i: i.render("voice.wav"), TypeError, "voice"),
    (lambda i: i.render([object()]), TypeError, "object"),
    (lambda i: i.render(notes=5), TypeError, "int"),
    (lambda i: i.render(notes=[5]), ValueError, "note 0"),
    (lambda i: i.render(notes=[(0, 1, 40), (0, 1)]), ValueError, "note 1"),
    (lambda i: i.render(notes=[(0, 1, 128)]), ValueError, "128"),
    (lambda i: i.render(notes=[(0, 1, 40.5)]), ValueError, "whole"),
    (lambda i: i.render(notes=[(-1, 1, 40)]), ValueError, "-1"),
    (lambda i: i.render(notes=[(0, -1, 40)]), ValueError, "duration"),
    (lambda i: i.render(notes=[(0, 1, 40, 100)]), ValueError, "velocity"),
    (lambda i: i.render(notes=[(0, 1, 40, 0)]), ValueError, "velocity"),
    (lambda i: i.render(notes=[(0, np.nan, 40)]), ValueError, "nan"),
    (lambda i: i.render(notes=[(5 * 3600, 2 * 3600, 40)]), ValueError, "21600"),
    (lambda i: i.render(midi=b"MThd"), ValueError, "bytes"),
    (lambda i: i.render(midi="/nowhere/x.mid"), OSError, "/nowhere/x.mid"),
    (lambda i: i.render(midi=7), TypeError, "int"),
    (lambda i: i.render(noise(0.1), tail=-1), ValueError, "tail"),
    (lambda i: i.render(noise(0.1), tail="1"), TypeError, "tail"),
    (lambda i: i.render(noise(0.1), automation=[1]), TypeError, "mapping"),
    (lambda i: i.render(noise(0.1), automation={"Wett": [(0, 1)]}), ValueError, "similar"),
    (lambda i: i.render(noise(0.1), automation={"Wet": 5}), TypeError, "Wet"),
    (lambda i: i.render(noise(0.1), automation={"Wet": []}), ValueError, "no points"),
    (lambda i: i.render(noise(0.1), automation={"Wet": [(1, 0), (0, 1)]}), ValueError, "before"),
    (lambda i: i.render(noise(0.1), automation={"Wet": [(0, 3)]}), ValueError, "outside"),
    (lambda i: i.render(noise(0.1), automation={"FX1_ModuleType": [(0, "delay", "linear")]}), ValueError, "steps"),
    (lambda i: i.process(-1), ValueError, "block"),
    (lambda i: i.process(1.5), ValueError, "shape"),
    (lambda i: i.note_on(300), ValueError, "300"),
    (lambda i: orphia.vocode([], [], RATE), ValueError, "no frames"),
    (lambda i: orphia.vocode(noise(0.1), noise(0.1), 7999), ValueError, "8000"),
    (lambda i: orphia.vocode(noise(0.1), noise(0.1), RATE, Shiftt=1), ValueError, "Shift"),
    (lambda i: orphia.vocode(noise(0.1), noise(0.1), RATE, Shift="wide"), ValueError, "wide"),
    (lambda i: orphia.read("/nowhere/x.wav"), OSError, "/nowhere/x.wav"),
    (lambda i: orphia.read("x\0y"), ValueError, "null"),
    (lambda i: orphia.read(__file__), OSError, "test_refusals"),
    (lambda i: orphia.write("/nowhere/x.wav", noise(0.1), RATE), OSError, "/nowhere"),
    (lambda i: orphia.write("/tmp/x.doc", noise(0.1), RATE), ValueError, ".doc"),
    (lambda i: orphia.write("/tmp/x.wav", noise(0.1), RATE, bits=12), ValueError, "12"),
]


class RefusalTest(Case):
    def test_each_is_one_clear_line_and_harms_nothing(self):
        instrument = orphia.Instrument(RATE, "talking-pad")
        before = instrument.preset
        for number, (attempt, kind, word) in enumerate(REFUSALS):
            with self.subTest(number=number, word=word):
                with self.assertRaises(kind) as caught:
                    attempt(instrument)
                self.assertIn(word, str(caught.exception))
                self.assertNotIn("\n", str(caught.exception))
        self.assertEqual(instrument.preset, before)
        self.assert_same_sound(instrument.render(noise(0.2), [(0, 0.2, 40)]),
                               orphia.Instrument(RATE, "talking-pad").render(noise(0.2), [(0, 0.2, 40)]))

    def test_the_least_that_makes_sense_works(self):
        instrument = orphia.Instrument(RATE, "talking-pad")
        self.assertEqual(instrument.render([0.5], tail=0).shape, (2, 1))
        self.assertEqual(orphia.vocode([0.5], [0.5], RATE).shape, (1,))
        self.assertEqual(instrument.process(0).shape, (2, 0))
        self.assertEqual(instrument.process([]).shape, (2, 0))
        for rate in (8000, 384000):
            self.assertEqual(orphia.Instrument(rate).render(noise(0.01), [(0, 0, 40)], tail=0).shape, (2, 441))

    def test_a_closed_instrument_says_so(self):
        with orphia.Instrument(RATE) as instrument:
            pass
        for attempt in (lambda: instrument["Wet"], lambda: instrument.process(5), lambda: instrument.render([0.5])):
            with self.assertRaisesRegex(ValueError, "closed"):
                attempt()

    def test_a_missing_sample_is_a_warning(self):
        with self.assertWarnsRegex(orphia.OrphiaWarning, "/nowhere/x.wav"):
            orphia.Instrument(RATE, {**orphia.Instrument(RATE).preset, "samples": {"1": "/nowhere/x.wav"}})

    def test_an_interrupt_ends_a_long_render(self):
        instrument = orphia.Instrument(RATE, "talking-pad")
        timer = threading.Timer(0.3, lambda: os.kill(os.getpid(), signal.SIGINT))
        begun = time.monotonic()
        timer.start()
        with self.assertRaises(KeyboardInterrupt):
            instrument.render(notes=[(0, 3 * 3600, 40)], tail=0)
        self.assertLess(time.monotonic() - begun, 30, "three hours of sound take minutes")
        timer.join()

    def test_nothing_half_written_is_left(self):
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "x.wav"
            for bad in (np.array([np.nan]), np.zeros((3, 5)), []):
                with self.assertRaises(ValueError):
                    orphia.write(path, bad, RATE)
            self.assertEqual(os.listdir(folder), [])


if __name__ == "__main__":
    unittest.main()
