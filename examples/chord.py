# SPDX-License-Identifier: GPL-3.0-or-later
"""Writes the carrier of the examples: a chord of detuned saws that glides from Am7 to Fmaj7.

usage: chord.py OUT.wav      (stereo, 44100 Hz, 16 bit; the standard library only)
"""
import array
import math
import sys
import wave

rate = 44100
seconds = 7.6
glideStart, glideEnd = 3.4, 4.2
edge = 0.02  # fade at both ends, in seconds
peak = 10 ** (-6 / 20)
highest = 11000.0  # no partial above, in Hz
tableSize = 8192

# MIDI notes before and after the glide; two voices stay where they are.
chord = [(45, 41), (52, 52), (55, 57), (60, 60), (64, 64)]
# Every voice is three saws: detune in cents, gain left, gain right.
saws = [(-7.0, 1.0, 0.3), (0.0, 0.7, 0.7), (7.0, 0.3, 1.0)]


def Frequency(note):
    return 440.0 * 2 ** ((note - 69) / 12)


def SawTable(partials):
    """One cycle of a saw as the sum of its partials, so that nothing aliases."""
    sine = [math.sin(2 * math.pi * i / tableSize) for i in range(tableSize)]
    table = [sum(sine[i * h % tableSize] / h for h in range(1, partials + 1)) for i in range(tableSize)]
    return table + table[:1]


def Glide(time):
    """0 before the glide, 1 after it, smooth between."""
    x = min(max((time - glideStart) / (glideEnd - glideStart), 0.0), 1.0)
    return x * x * (3 - 2 * x)


def AddVoice(left, right, notes, cents, gains, phase):
    table = SawTable(int(highest / Frequency(max(notes) + 0.1)))
    for n in range(len(left)):
        note = notes[0] + (notes[1] - notes[0]) * glide[n] + cents / 100
        phase = (phase + Frequency(note) / rate) % 1.0
        position = phase * tableSize
        i = int(position)
        value = table[i] + (table[i + 1] - table[i]) * (position - i)
        left[n] += gains[0] * value
        right[n] += gains[1] * value


frames = int(seconds * rate)
glide = [Glide(n / rate) for n in range(frames)]
left, right = [0.0] * frames, [0.0] * frames
for index, notes in enumerate(chord):
    for part, (cents, *gains) in enumerate(saws):
        # Spread start phases (golden ratio), or all saws would jump at once.
        AddVoice(left, right, notes, cents, gains, (index * len(saws) + part) * 0.618034 % 1.0)

scale = peak * 32767 / max(map(abs, left + right))
samples = array.array("h")
for n in range(frames):
    fade = min(1.0, n / (edge * rate), (frames - 1 - n) / (edge * rate))
    samples.append(round(left[n] * fade * scale))
    samples.append(round(right[n] * fade * scale))
if sys.byteorder == "big":
    samples.byteswap()
with wave.open(sys.argv[1], "wb") as out:
    out.setnchannels(2)
    out.setsampwidth(2)
    out.setframerate(rate)
    out.writeframes(samples.tobytes())
