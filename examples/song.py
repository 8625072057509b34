# SPDX-License-Identifier: GPL-3.0-or-later
"""Writes the song of the examples: chords, and a melody whose notes are bent on their own.

usage: song.py OUT.mid      (standard MIDI file of format 1; the standard library only)

The chords and the pedal lie on channel 1, which leads a zone of MPE; the melody is alone on channel 2, so
that its bends leave the chords where they are.
"""
import struct
import sys

ticksPerBeat = 480
chordChannel, melodyChannel = 0, 1
bendSemitones = 48  # the usual range of a member channel

# Beat, length and keys.
chords = [
    (4, 3.9, (46, 57, 62, 65)),
    (8, 1.9, (45, 57, 60, 65)),
    (10, 1.9, (48, 58, 64, 67)),
    (12, 1.9, (43, 58, 62, 69)),
    (14, 1.9, (45, 55, 61, 64)),
    (16, 3.8, (38, 50, 57, 60, 64, 65)),
]
arpeggio = [38, 50, 57, 60, 64, 65, 69, 72]  # the first bar, in eighths, held by the pedal
# Beat, length, key, velocity, and semitones below from which it is bent up.
melody = [
    (4.5, 0.5, 74, 84, 0),
    (5, 1.4, 77, 100, 2),
    (6.5, 0.5, 76, 84, 0),
    (7, 0.9, 72, 92, 0),
    (8, 1.4, 69, 100, 1),
    (9.5, 0.5, 72, 80, 0),
    (10, 1.9, 76, 104, 2),
    (12, 0.9, 74, 96, 0),
    (13, 0.9, 69, 88, 0),
    (14, 0.5, 73, 92, 0),
    (14.5, 1.4, 76, 108, 3),
    (16, 3.6, 77, 100, 1),
]
tempos = [(0, 100), (14, 88), (16, 72)]  # from beat on, beats per minute
lastBeat = 20


def VariableLength(number):
    digits = [number & 0x7F]
    while number := number >> 7:
        digits.append(number & 0x7F | 0x80)
    return bytes(reversed(digits))


def Track(events):
    """A chunk of (beat, message), sorted by time; those of one time keep their order."""
    data, tick = b"", 0
    for beat, message in sorted(events, key=lambda event: event[0]) + [(lastBeat, b"\xff\x2f\x00")]:
        now = round(beat * ticksPerBeat)
        data += VariableLength(now - tick) + bytes(message)
        tick = now
    return b"MTrk" + struct.pack(">I", len(data)) + data


def Note(channel, beat, length, key, velocity):
    return [(beat, (0x90 | channel, key, velocity)), (beat + length, (0x80 | channel, key, 0))]


def Controller(channel, beat, number, value):
    return (beat, (0xB0 | channel, number, value))


def Bend(channel, beat, semitones):
    value = min(max(8192 + round(8192 * semitones / bendSemitones), 0), 16383)
    return (beat, (0xE0 | channel, value & 0x7F, value >> 7))


def TempoTrack():
    name = b"Two saws and a bend"
    events = [(0, b"\xff\x03" + bytes([len(name)]) + name)]
    for beat, tempo in tempos:
        events.append((beat, b"\xff\x51\x03" + struct.pack(">I", round(60e6 / tempo))[1:]))
    return Track(events)


def ChordTrack():
    # Registered parameter 6 of channel 1: MPE, with 15 member channels.
    events = [Controller(chordChannel, 0, n, v) for n, v in ((101, 0), (100, 6), (6, 15))]
    events += [Controller(chordChannel, 0, 64, 127), Controller(chordChannel, 3.9, 64, 0)]
    for step, key in enumerate(arpeggio):
        events += Note(chordChannel, step / 2, 0.4, key, 64 + 4 * step)
    for beat, length, keys in chords:
        for key in keys:
            events += Note(chordChannel, beat, length, key, 76)
    # The wheel lets the last notes tremble.
    events += [Controller(chordChannel, 17 + step / 8, 1, 5 * step) for step in range(13)]
    return Track(events)


def MelodyTrack():
    events = []
    for beat, length, key, velocity, below in melody:
        # The bend comes in front of its note, and then rises within a third of a beat.
        steps = 12 if below else 0
        events.append(Bend(melodyChannel, beat, -below))
        events += Note(melodyChannel, beat, length, key, velocity)
        events += [Bend(melodyChannel, beat + i / 36, -below * (1 - i / steps)) for i in range(1, steps + 1)]
    return Track(events)


tracks = [TempoTrack(), ChordTrack(), MelodyTrack()]
header = b"MThd" + struct.pack(">IHHH", 6, 1, len(tracks), ticksPerBeat)
with open(sys.argv[1], "wb") as file:
    file.write(header + b"".join(tracks))
