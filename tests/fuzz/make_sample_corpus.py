#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Writes the starting files of the sample reader's fuzzing: short sounds of all formats, and faults of them.

   tests/fuzz/make_sample_corpus.py FOLDER      needs libsndfile.so.1, nothing else
"""
import ctypes
import math
import pathlib
import struct
import sys

WAV, AIFF, AU, FLAC, OGG, CAF, MPEG = (n << 16 for n in (0x01, 0x02, 0x03, 0x17, 0x20, 0x18, 0x23))
PCM8, PCM16, PCM24, FLOAT, ULAW, ADPCM, GSM = 0x05, 0x02, 0x03, 0x06, 0x10, 0x13, 0x20
VORBIS, OPUS, ALAC, LAYER3 = 0x60, 0x64, 0x70, 0x82
WRITE = 0x20


class Info(ctypes.Structure):
    _fields_ = [("frames", ctypes.c_int64)] + [
        (name, ctypes.c_int) for name in ("samplerate", "channels", "format", "sections", "seekable")]


library = ctypes.CDLL("libsndfile.so.1")
library.sf_open.restype = ctypes.c_void_p
library.sf_writef_float.argtypes = (ctypes.c_void_p, ctypes.POINTER(ctypes.c_float), ctypes.c_int64)
library.sf_close.argtypes = (ctypes.c_void_p,)

folder = pathlib.Path(sys.argv[1])


def write(name, form, channels=1, frames=200, rate=8000, samples=None):
    path = folder / name
    info = Info(0, rate, channels, form, 0, 0)
    handle = library.sf_open(str(path).encode(), WRITE, ctypes.byref(info))
    if not handle:
        sys.exit(f"libsndfile does not write {name}")
    if samples is None:
        samples = [0.5 * math.sin(0.1 * (n // channels) + n % channels) for n in range(frames * channels)]
    library.sf_writef_float(handle, (ctypes.c_float * len(samples))(*samples), len(samples) // channels)
    library.sf_close(handle)
    return path.read_bytes()


def damage(name, data):
    (folder / name).write_bytes(data)


def patch(data, place, piece):
    return data[:place] + piece + data[place + len(piece):]


wav = write("stereo_16.wav", WAV | PCM16, 2)
write("mono_8.wav", WAV | PCM8)
write("mono_adpcm.wav", WAV | 0x12, frames=400)
write("mono_gsm.wav", WAV | GSM, frames=640)
write("mono_ulaw.au", AU | ULAW)
write("broken_numbers.wav", WAV | FLOAT, samples=[math.nan, math.inf, -math.inf, 3e38] * 40)
aiff = write("stereo_24.aiff", AIFF | PCM24, 2)
flac = write("stereo.flac", FLAC | PCM16, 2)
write("mono_alac.caf", CAF | ALAC, frames=300)
mp3 = write("mono.mp3", MPEG | LAYER3, frames=1500)
opus = write("mono_opus.ogg", OGG | OPUS, frames=500)
vorbis = write("mono_vorbis.ogg", OGG | VORBIS)
write("three_channels.wav", WAV | PCM16, 3)
write("empty.wav", WAV | PCM16, frames=0)
write("short.wav", WAV | PCM16, frames=4)
damage("cut.wav", wav[:300])
damage("cut.flac", flac[:len(flac) * 2 // 3])
damage("cut.mp3", mp3[:len(mp3) * 2 // 3])
damage("cut_opus.ogg", opus[:len(opus) - 40])
damage("cut_vorbis.ogg", vorbis[:1500])
damage("endless.wav", patch(wav, 40, struct.pack("<I", 0x80000000)))
damage("no_channels.wav", patch(wav, 22, struct.pack("<H", 0)))
damage("no_rate.wav", patch(wav, 24, struct.pack("<I", 0)))
damage("unknown_length.flac", patch(flac, 21, bytes([flac[21] & 0xF0, 0, 0, 0, 0])))
damage("endless.flac", patch(flac, 22, struct.pack(">I", 0x80000000)))
damage("other_channel_count.flac", patch(flac, 20, bytes([flac[20] & 0xF1])))
damage("huge_chunk.aiff", patch(aiff, 16, struct.pack(">I", 0x7FFFFFFF)))
damage("no_sound.txt", b"RIFF is what it says, and WAVEfmt it is not")
