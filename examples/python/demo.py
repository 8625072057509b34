# SPDX-License-Identifier: GPL-3.0-or-later
"""Renders the example voice with five presets and draws them.  usage: demo.py FOLDER"""
import sys
from pathlib import Path

from matplotlib.figure import Figure

import orphia
import orphia.plot

PRESETS = ["classic-robot", "wide-choir", "talking-pad", "dub-echo-robot", "whisper"]
EXAMPLES = Path(__file__).resolve().parent.parent


def main(folder):
    voice, rate = orphia.read(EXAMPLES / "voice.flac")
    figure = Figure(figsize=(10, 3 * (len(PRESETS) + 1)), layout="constrained")
    panels = figure.subplots(len(PRESETS) + 1)
    orphia.plot.spectrogram(voice, rate, panels[0], "The voice")
    for preset, axes in zip(PRESETS, panels[1:]):
        with orphia.Instrument(rate, preset) as instrument:
            sound = instrument.render(voice, midi=EXAMPLES / "song.mid")
        path = Path(folder) / f"demo-python-{preset}.wav"
        orphia.write(path, sound, rate)
        orphia.plot.spectrogram(sound, rate, axes, preset)
        print(f"{path}: {sound.shape[1] / rate:.1f} s, {orphia.loudness(sound, rate).lufs:.1f} LUFS")
    picture = Path(folder) / "demo-python.png"
    figure.savefig(picture, dpi=80)
    print(picture)


if __name__ == "__main__":
    main(sys.argv[1])
