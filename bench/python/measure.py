# SPDX-License-Identifier: GPL-3.0-or-later
"""What the Python package costs, each figure beside what it should be; `--markdown` for the table of docs/python.md.

Both sides of a ratio are taken by turns, and of each the least, since whatever else a machine does only adds to it.
"""
import argparse
import contextlib
import json
import os
import resource
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

import numpy as np
import numpy_vocoder
import orphia

RATE = 44100
COMMAND = Path(orphia.__file__).parent / "native" / "orphia"
EXAMPLES = Path(__file__).resolve().parent.parent.parent / "examples"


def processor_time():
    """Of this process and the children that it has waited for, in seconds."""
    times = [resource.getrusage(who) for who in (resource.RUSAGE_SELF, resource.RUSAGE_CHILDREN)]
    return sum(each.ru_utime + each.ru_stime for each in times)


def least(repetitions, *works, clock=processor_time):
    """The least seconds of each, by turns."""
    times = [[] for _ in works]
    for _ in range(repetitions):
        for taken, work in zip(times, works):
            begin = clock()
            work()
            taken.append(clock() - begin)
    return [min(taken) for taken in times]


def speech(seconds):
    voice, _ = orphia.read(EXAMPLES / "voice.flac", RATE)
    return np.ascontiguousarray(np.resize(voice[0], int(seconds * RATE)))


def render_against_command(repetitions):
    """A minute through the instrument, and through the command, in processor time."""
    voice, notes = speech(60), [(0, 60, key) for key in (45, 52, 57)]
    instrument = orphia.Instrument(RATE, "talking-pad")
    with tempfile.TemporaryDirectory() as folder:
        wav, song, out = Path(folder) / "v.wav", Path(folder) / "s.mid", Path(folder) / "o.wav"
        orphia.write(wav, voice, RATE, "float")
        song.write_bytes(_chord_song(60, [45, 52, 57]))
        command = [COMMAND, "render", "--voice", wav, "--midi", song, "--preset", "talking-pad", "--tail", "0", "--bits",
                   "float", "-o", out]
        return least(repetitions, lambda: instrument.render(voice, notes, tail=0),
                     lambda: subprocess.run(command, capture_output=True, check=True))


def _chord_song(seconds, keys):
    """A standard MIDI file of one chord, a beat a second."""
    def delta(ticks):
        parts = [ticks & 127]
        while ticks := ticks >> 7:
            parts.append(128 | ticks & 127)
        return bytes(reversed(parts))

    track = b"\0\xff\x51\x03" + (1000000).to_bytes(3, "big")
    track += b"".join(b"\0" + bytes([0x90, key, 102]) for key in keys)
    track += delta(480 * seconds) + b"".join((b"\0" if n else b"") + bytes([0x80, key, 0]) for n, key in enumerate(keys))
    track += b"\0\xff\x2f\0"
    return (b"MThd" + (6).to_bytes(4, "big") + bytes([0, 0, 0, 1]) + (480).to_bytes(2, "big") + b"MTrk" +
            len(track).to_bytes(4, "big") + track)


def vocode_against_yardstick(repetitions):
    """Ten seconds of stereo, and of mono for the yardstick, which then has half the work."""
    voice = np.stack([speech(10)] * 2)
    carrier = np.random.default_rng(1).normal(0, 0.1, voice.shape).astype(np.float32)
    wide_voice, wide_carrier = voice.astype(np.float64), carrier.astype(np.float64)
    return least(repetitions, lambda: orphia.vocode(voice, carrier, RATE),
                 lambda: orphia.vocode(voice, carrier, RATE, limiter=False),
                 lambda: numpy_vocoder.vocode(wide_voice, wide_carrier, RATE),
                 lambda: numpy_vocoder.vocode(wide_voice[:1], wide_carrier[:1], RATE))


def threads(repetitions):
    """Seconds of two renders one after the other and side by side, and both without what they waited for a processor
    that other programs had."""
    voice = speech(30)
    instruments = [orphia.Instrument(RATE, "talking-pad") for _ in range(2)]
    undisturbed = [[], []]

    def render(instrument, waited):
        before = schedule(threading.get_native_id())[1]
        instrument.render(voice, [(0, 30, 45)], tail=0)
        waited.append(schedule(threading.get_native_id())[1] - before)

    def in_turn():
        waited = []
        begin = time.perf_counter()
        for instrument in instruments:
            render(instrument, waited)
        undisturbed[0].append(time.perf_counter() - begin - sum(waited))

    def side_by_side():
        waited = []
        running = [threading.Thread(target=render, args=(instrument, waited)) for instrument in instruments]
        begin = time.perf_counter()
        for thread in running:
            thread.start()
        for thread in running:
            thread.join()
        undisturbed[1].append(time.perf_counter() - begin - min(waited))

    serial, parallel = least(repetitions, in_turn, side_by_side, clock=time.perf_counter)
    return serial / parallel, min(undisturbed[0]) / min(undisturbed[1])


def schedule(thread):
    """Seconds that a thread ran, and that it was ready and waited for a processor."""
    ran, waited = Path(f"/proc/{thread}/schedstat").read_text().split()[:2]
    return int(ran) / 1e9, int(waited) / 1e9


def look_at_workers(pid, seen):
    """Of each process of a pool, as long as there is one."""
    for child in Path(f"/proc/{pid}/task/{pid}/children").read_text().split():
        try:
            if b"spawn_main" in Path(f"/proc/{child}/cmdline").read_bytes():
                seen[child] = schedule(child)
        except OSError:
            continue


def batch(files):
    """Shares of two processors over a whole run of files of 5 s: used by all of it, and used or waited for by the two
    workers."""
    with tempfile.TemporaryDirectory() as folder:
        corpus = Path(folder) / "corpus"
        corpus.mkdir()
        voice = speech(5)
        for number in range(files):
            orphia.write(corpus / f"{number}.wav", np.roll(voice, 997 * number), RATE, 16)
        before, begin = processor_time(), time.perf_counter()
        process = subprocess.Popen([sys.executable, "-m", "orphia", "batch", corpus, "-o", Path(folder) / "out", "--preset",
                                    "talking-pad", "--chord", "45,52", "--tail", "0", "--jobs", "2"],
                                   stdout=subprocess.PIPE, text=True)
        seen = {}
        while process.poll() is None:
            with contextlib.suppress(OSError):
                look_at_workers(process.pid, seen)
            time.sleep(0.02)
        elapsed = time.perf_counter() - begin
        used = processor_time() - before
        summary = json.loads(process.stdout.read().splitlines()[-1])
        assert summary["done"] == files, summary
    ready = sum(ran + waited for ran, waited in seen.values())
    return elapsed, used / elapsed / 2, ready / elapsed / 2


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--markdown", action="store_true")
    parser.add_argument("--repetitions", type=int, default=7)
    parser.add_argument("--files", type=int, default=200)
    options = parser.parse_args()
    load = os.getloadavg()[0]
    package, command = render_against_command(options.repetitions)
    ours, plain, stereo, mono = vocode_against_yardstick(options.repetitions)
    twice, undisturbed = threads(2 * options.repetitions)
    elapsed, used, ready = batch(options.files)
    rows = [("render of a minute", f"{package:.3f} s", ""),
            ("over that of the command", f"{package / command:.2f}", "at most 1.05"),
            ("vocode of 10 s, stereo", f"{ours * 1e3:.0f} ms", ""),
            ("NumPy and SciPy, stereo, over it", f"{stereo / ours:.1f}", "at least 30"),
            ("over it without the limiter", f"{stereo / plain:.1f}", ""),
            ("NumPy and SciPy, mono, over it", f"{mono / ours:.1f}", ""),
            ("two threads, times as fast", f"{twice:.2f}", "at least 1.8"),
            ("without waits for other programs", f"{undisturbed:.2f}", ""),
            (f"batch of {options.files} files of 5 s", f"{elapsed:.1f} s", ""),
            ("share of two processors used", f"{100 * used:.0f} %", "at least 90 %"),
            ("share used or waited for by workers", f"{100 * ready:.0f} %", "")]
    if options.markdown:
        print("| What | Measured | Target |\n|---|---|---|")
    for row in rows:
        print("| " + " | ".join(row) + " |" if options.markdown else "{:40} {:>10}  {}".format(*row))
    print(f"load {load:.1f} before, {os.getloadavg()[0]:.1f} after", file=sys.stderr)


if __name__ == "__main__":
    main()
