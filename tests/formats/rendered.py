# SPDX-License-Identifier: GPL-3.0-or-later
"""Keys and a voice for hosts, and what the command makes of them behind some silence."""

import array
import struct
import subprocess
import sys
import wave

KEYS = [(4801, 0x90, 48, 100), (9607, 0x90, 55, 90), (30011, 0x80, 48, 0), (40000, 0x80, 55, 0)]
FIRST, LAST = 5000, 60000


def voice(frame: int) -> int:
    """That of ardour/player.lua, as 16 bits."""
    if not 4800 <= frame < 43200:
        return 0
    period = 400 + frame // 4800
    return (frame % period) * 64 // period * 256 - 8192


VOICE = b"".join(struct.pack("<hh", voice(frame), voice(frame)) for frame in range(LAST))


def left_channel(name: str) -> array.array:
    """Of a file of floats."""
    with open(name, "rb") as file:
        content = file.read()
    place = 12
    while content[place : place + 4] != b"data":
        size = struct.unpack("<I", content[place + 4 : place + 8])[0]
        place += 8 + size + size % 2
    size = struct.unpack("<I", content[place + 4 : place + 8])[0]
    return array.array("f", content[place + 8 : place + 8 + size])[::2]


def variable_length(number: int) -> bytes:
    groups = [number & 127]
    while number := number >> 7:
        groups.insert(0, number & 127 | 128)
    return bytes(groups)


def write_files(lead: int = 0) -> None:
    """voice.wav and song.mid, behind so many silent frames; below 0 without some of their own."""
    with wave.open("voice.wav", "wb") as file:
        file.setparams((2, 2, 48000, 0, "NONE", ""))
        file.writeframes((bytes(4 * max(lead, 0)) + VOICE)[4 * max(-lead, 0) :])
    # A tick is a frame.
    track, last = b"\0\xff\x51\x03\x07\xa1\x20", 0
    for frame, *message in KEYS:
        track += variable_length(frame + lead - last) + bytes(message)
        last = frame + lead
    track += b"\0\xff\x2f\0"
    with open("song.mid", "wb") as file:
        file.write(b"MThd" + struct.pack(">IHHH", 6, 0, 1, 24000) + b"MTrk" + struct.pack(">I", len(track)) + track)


def render(command: str, lead: int, settings: str) -> array.array:
    """What the command makes of both, without the silence in front."""
    write_files(lead)
    arguments = f"--rate 48000 --format float --tail 1 {settings} --voice voice.wav --midi song.mid"
    subprocess.run([command, "render", *arguments.split(), "-o", "rendered.wav"], check=True, capture_output=True)
    return array.array("f", bytes(4 * max(-lead, 0))) + left_channel("rendered.wav")[max(lead, 0) :]


def compare(heard: array.array, command: str, leads: range, settings: str = "--set BodeVocoder_Wet=0.75") -> None:
    """Ends this program: with 0 when what was heard is what the command renders behind one of these silences."""
    peak = max(map(abs, heard))
    if peak < 0.05:
        sys.exit(print(f"silence came: a peak of {peak}") or 1)
    sound = heard.tobytes()
    for lead in leads:
        late = sound.find(render(command, lead, settings)[FIRST:LAST].tobytes(), 4 * FIRST) // 4 - FIRST
        if late >= 0:
            after = f"after {lead} silent ones" if lead >= 0 else f"begun at frame {-lead}"
            print(f"{LAST - FIRST} frames equal those of the command, {late} frames late, {after}")
            sys.exit()
    sys.exit(print("what came is not what the command renders") or 1)
