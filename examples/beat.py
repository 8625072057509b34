# SPDX-License-Identifier: GPL-3.0-or-later
"""Writes the beat that a factory preset plays through the vocoder: two bars of drums, without a seam.

usage: beat.py OUT.wav      (mono, 32000 Hz, 16 bit; the standard library only)
"""
import array
import math
import random
import sys
import wave

rate = 32000
tempo = 100  # of the example song
stepsPerBar, bars = 16, 2
stepFrames = rate * 60 // tempo // 4
frames = stepFrames * stepsPerBar * bars
swing = 0.12  # of a step, by which every other one is late
peak = 10 ** (-3 / 20)

# One line a drum, one sign a sixteenth: "X" loud, "x" middle, "-" soft, "." nothing.
pattern = {
    "kick": "X.....x...X.....X.....x..xX.....",
    "snare": "....X..-....X.......X..-.-..X..x",
    "hat": "x-x-x-x-x-x-x-x-x-x-x-x-x-x-x-..",
    "open": "..............................X.",
    "lowConga": "...x......x........x......x.....",
    "highConga": "..-..x.x...-.x....-..x.x...-.x.-",
}
levels = {"X": 1.0, "x": 0.6, "-": 0.3}
noise = random.Random(5)


def Tone(seconds, startHz, endHz, fall):
    """A sine that falls from one pitch to another and dies away."""
    phase, sound = 0.0, []
    for n in range(round(seconds * rate)):
        time = n / rate
        phase += (endHz + (startHz - endHz) * math.exp(-time / fall)) / rate
        sound.append(math.sin(2 * math.pi * phase) * math.exp(-5 * time / seconds))
    return sound


def Noise(seconds, lowHz, highHz):
    """White noise between two first-order corners that dies away."""
    low, high, sound = 0.0, 0.0, []
    lowStep, highStep = (1 - math.exp(-2 * math.pi * hz / rate) for hz in (lowHz, highHz))
    for n in range(round(seconds * rate)):
        high += highStep * (noise.uniform(-1, 1) - high)
        low += lowStep * (high - low)
        sound.append((high - low) * math.exp(-5 * n / rate / seconds))
    return sound


def Mix(*parts):
    """Of (gain, sound)."""
    mixed = [0.0] * max(len(sound) for _, sound in parts)
    for gain, sound in parts:
        for n, value in enumerate(sound):
            mixed[n] += gain * value
    return mixed


drums = {
    "kick": Mix((1.0, Tone(0.35, 180, 52, 0.03)), (0.25, Noise(0.02, 800, 5000))),
    "snare": Mix((0.5, Tone(0.16, 330, 190, 0.02)), (0.9, Noise(0.22, 900, 9000))),
    "hat": Mix((0.5, Noise(0.07, 6000, 15000))),
    "open": Mix((0.5, Noise(0.3, 5000, 15000))),
    "lowConga": Mix((0.6, Tone(0.25, 330, 300, 0.02)), (0.3, Tone(0.12, 640, 590, 0.02))),
    "highConga": Mix((0.5, Tone(0.18, 500, 450, 0.02)), (0.4, Tone(0.1, 1400, 1250, 0.02))),
}

beat = [0.0] * frames
for drum, line in pattern.items():
    for step, sign in enumerate(line):
        if sign == ".":
            continue
        start = round((step + swing * (step % 2)) * stepFrames)
        for n, value in enumerate(drums[drum]):
            beat[(start + n) % frames] += levels[sign] * value  # what rings at the end is there at the start

# A soft limit: fuller, with no hard peaks.
beat = [math.tanh(1.4 * value) for value in beat]
scale = peak * 32767 / max(map(abs, beat))
samples = array.array("h", (round(value * scale) for value in beat))
if sys.byteorder == "big":
    samples.byteswap()
with wave.open(sys.argv[1], "wb") as out:
    out.setnchannels(1)
    out.setsampwidth(2)
    out.setframerate(rate)
    out.writeframes(samples.tobytes())
