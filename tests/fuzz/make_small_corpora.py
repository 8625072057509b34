#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Writes the first inputs of all targets but sample_reader: make_small_corpora.py FOLDER (tests/fuzz/corpus)."""
import json
import pathlib
import random
import struct
import sys

folder = pathlib.Path(sys.argv[1])


def write(target, name, data):
    path = folder / target / name
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(data)


def preset(**fields):
    return json.dumps({"format": "orphia-preset", "version": 1} | fields, indent=2).encode()


write("preset_reader", "plain.json", preset(
    name="Plain", description="Some of each kind.",
    parameters={"BodeVocoder_Wet": "80 %", "MasterVolume": "-6 dB", "VST3_PitchBend": 0.25,
                "Modulator_ExternalInput": True, "Carrier_Oscillators_ADSR_Release": "120 ms",
                "FX_FX1_ModuleType": "delay", "BodeVocoder_AnalyzerRectifiers_Attack": "5 ms"}))
write("preset_reader", "samples.json", preset(
    name="S", parameters={"BodeVocoder_Wet": 1}, samples={"1": "a/../beat.wav", "12": "/b.wav"}))
write("preset_reader", "empty.json", preset(parameters={}))
write("preset_reader", "unknown.json", preset(parameters={"BodeVocoder_Wet": "on", "Nothing": 1}))
write("preset_reader", "cut.json", preset(name="\u00e9", parameters={"BodeVocoder_Wet": "0.5"})[:-7])


def chunk(name, data):
    return name + struct.pack(">I", len(data)) + data


def song(form, division, *tracks):
    head = chunk(b"MThd", struct.pack(">HHH", form, len(tracks), division))
    return head + b"".join(chunk(b"MTrk", track) for track in tracks)


end = b"\x00\xff\x2f\x00"
notes = b"\x00\x90\x3c\x64\x30\x40\x50\x30\x3c\x00\x00\x40\x00"
tempo = b"\x00\xff\x51\x03\x07\xa1\x20\x60\xff\x51\x03\x03\x00\x00"
control = (b"\x00\xb0\x40\x7f\x00\xe0\x00\x50\x00\xd0\x40\x00\xa0\x3c\x20\x00\xb0\x65\x00\x00\x64\x06\x00\x06\x0f"
           b"\x10\x99\x24\x7f\x00\xb1\x4a\x20\x00\xb0\x7b\x00\x00\xc0\x05")
write("midi_reader", "notes.mid", song(0, 96, notes + end))
write("midi_reader", "tracks.mid", song(1, 480, tempo + end, control + notes + end, notes + b"\x00\xf0\x02\x01\xf7" + end))
write("midi_reader", "film.mid", song(0, 0xE728, tempo + notes + b"\x83\x60" + control[1:] + end))
write("midi_reader", "no_end.mid", song(0, 96, notes))
write("midi_reader", "cut.mid", song(1, 96, notes + end)[:-9])
write("midi_reader", "format_2.mid", song(2, 96, notes + end))

# The bytes of the other one are draws, of which any will do.
dice = random.Random(1)
for number, size in enumerate([60, 150, 400]):
    for kind in (0, 1):
        write("voice_manager", f"draws_{number}_{kind}", bytes([kind]) + dice.randbytes(size))
