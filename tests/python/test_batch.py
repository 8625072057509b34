# SPDX-License-Identifier: GPL-3.0-or-later
"""The command for corpora: as a user starts it, stops it, kills it and starts it again."""
import collections
import contextlib
import json
import os
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

import numpy as np
import orphia
from rig import RATE, SONG, Case, noise

BATCH = [sys.executable, "-m", "orphia", "batch"]
NAMES = ["a.wav", "one/b.flac", "one/two/c.ogg", "one/two/d.wav", "z ä.wav"]


class CorpusCase(Case):
    def setUp(self):
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.corpus, self.out = self.folder / "corpus", self.folder / "out"
        for number, name in enumerate(NAMES):
            self.add(name, noise(0.25, number))

    def add(self, name, sound):
        path = self.corpus / name
        path.parent.mkdir(parents=True, exist_ok=True)
        orphia.write(path, sound, RATE)

    def add_many(self, count, seconds=2):
        for number in range(count):
            self.add(f"many/{number:03}.wav", noise(seconds, number))

    def start(self, *options):
        return subprocess.Popen([*BATCH, str(self.corpus), "-o", str(self.out), *map(str, options)],
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def run_batch(self, *options, status=0):
        """The JSON lines of a run."""
        process = self.start("--jobs", 2, *options)
        output, errors = process.communicate(timeout=500)
        self.assertEqual(process.returncode, status, errors)
        self.errors = errors
        return [json.loads(line) for line in output.splitlines()]

    def records(self):
        with open(self.out / "manifest.jsonl", encoding="utf-8") as file:
            return [json.loads(line) for line in file]

    def results(self):
        return {str(path.relative_to(self.out)): path for path in self.out.rglob("*") if path.is_file()
                and path.name != "manifest.jsonl"}

    def wait_for_records(self, count, process):
        """Until so many files are done; there is no time in which that must be."""
        while process.poll() is None:
            with contextlib.suppress(OSError):
                if (self.out / "manifest.jsonl").read_bytes().count(b"\n") >= count:
                    return
            time.sleep(0.005)
        self.fail(f"the run ended too early: {process.communicate()}")

    def assert_each_done_once(self, count):
        done = collections.Counter(record["input"] for record in self.records() if record["status"] == "done")
        self.assertEqual(len(done), count)
        self.assertEqual(set(done.values()), {1})
        self.assertEqual(len(self.results()), count)
        for path in self.results().values():
            self.assertGreater(np.abs(orphia.read(path)[0]).max(), 1e-3)


class BatchTest(CorpusCase):
    def test_keeps_the_tree_and_renders_as_an_instrument_does(self):
        summary = self.run_batch("--preset", "talking-pad", "--midi", SONG, "--set", "Wet=80 %", "--tail", 0.1,
                                 "--bits", "float")[-1]
        self.assertEqual((summary["done"], summary["failed"]), (len(NAMES), 0))
        self.assertEqual(set(self.results()), {str(Path(name).with_suffix(".wav")) for name in NAMES})
        instrument = orphia.Instrument(RATE, "talking-pad")
        instrument["Wet"] = "80 %"
        for name in NAMES:
            self.assert_same_sound(orphia.read(self.out / Path(name).with_suffix(".wav"))[0],
                                   instrument.render(orphia.read(self.corpus / name)[0], midi=SONG, tail=0.1))

    def test_a_second_run_does_what_has_changed_and_nothing_else(self):
        options = ["--chord", "40,47", "--tail", 0]
        self.run_batch(*options)
        before = {name: path.stat().st_mtime_ns for name, path in self.results().items()}
        self.assertEqual(self.run_batch(*options)[-1]["kept"], len(NAMES))
        self.assertEqual(before, {name: path.stat().st_mtime_ns for name, path in self.results().items()})
        self.add("a.wav", noise(0.25, 99))
        self.add("new.wav", noise(0.25, 98))
        os.truncate(self.out / "one/b.wav", 1000)
        (self.out / "z ä.wav").unlink()
        summary = self.run_batch(*options)[-1]
        self.assertEqual((summary["done"], summary["kept"]), (4, 2))
        self.assertEqual(self.run_batch(*options, "--set", "Wet=50 %")[-1]["done"], len(NAMES) + 1)

    def test_bad_files_are_told_and_skipped(self):
        (self.corpus / "broken.wav").write_bytes(b"RIFF....")
        (self.corpus / "gone.wav").symlink_to(self.folder / "nowhere.wav")
        (self.corpus / "notes.txt").write_text("no sound")
        lines = self.run_batch("--chord", 40, "--tail", 0, status=1)
        self.assertEqual({line["input"] for line in lines[:-1]}, {"broken.wav", "gone.wav"})
        self.assertEqual((lines[-1]["done"], lines[-1]["failed"]), (len(NAMES), 2))
        self.assertIn("gone.wav", self.errors)
        (self.corpus / "broken.wav").unlink()
        (self.corpus / "gone.wav").unlink()
        self.assertEqual(self.run_batch("--chord", 40, "--tail", 0)[-1]["kept"], len(NAMES))

    def test_names_that_differ_in_their_ending_do_not_meet(self):
        self.add("a.flac", noise(0.25, 50))
        self.run_batch("--chord", 40, "--tail", 0)
        self.assertLessEqual({"a.wav", "a.wav.wav"}, set(self.results()))

    def test_variations_come_from_seed_and_name_alone(self):
        options = ["--chord", 40, "--tail", 0, "--vary", "Shift=-0.3..0.3", "--vary", "preset=classic-robot,talking-pad",
                   "--vary", "FX1_ModuleType=delay,chorus", "--vary", "MasterVolume=-20 dB..-12 dB"]
        self.run_batch(*options)
        drawn = {record["input"]: record["settings"] for record in self.records()}
        self.assertGreater(len({values["Shift"] for values in drawn.values()}), 3)
        for values in drawn.values():
            self.assertTrue(-0.3 <= values["Shift"] <= 0.3 and -20 <= values["MasterVolume"] <= -12, values)
            self.assertIn(values["preset"], ("classic-robot", "talking-pad"))
        sounds = {name: orphia.read(path)[0] for name, path in self.results().items()}
        self.out = self.folder / "again"
        self.add("0 another one.wav", noise(0.25))
        self.run_batch(*options, "--jobs", 1)
        self.assertLessEqual(drawn.items(), {record["input"]: record["settings"] for record in self.records()}.items())
        for name, sound in sounds.items():
            self.assert_same_sound(sound, orphia.read(self.out / name)[0])
        values = drawn["a.wav"]
        instrument = orphia.Instrument(RATE, values.pop("preset"))
        for name, value in values.items():
            instrument[name] = value
        rendered = instrument.render(orphia.read(self.corpus / "a.wav")[0], [(0, 0.25, 40)], tail=0)
        self.assertLess(np.abs(sounds["a.wav"] - rendered).max(), 2**-22)
        self.out = self.folder / "other"
        self.run_batch(*options, "--seed", 2)
        self.assertNotEqual(drawn, {record["input"]: record["settings"] for record in self.records()})

    def test_a_song_fits_each_file(self):
        self.add("long.wav", noise(15))
        self.run_batch("--midi", SONG, "--fit", "--tail", 0, "--pattern", "[al]*.wav")
        self.assertEqual(orphia.read(self.out / "a.wav")[0].shape[1], int(0.25 * RATE))
        sound = orphia.read(self.out / "long.wav")[0]
        self.assertEqual(sound.shape[1], 15 * RATE)
        # The song lasts 13 s.
        self.assertGreater(np.abs(sound[:, 14 * RATE:]).max(), 0.01)

    def test_refusals(self):
        (self.folder / "file").write_text("")
        for options, status, word in (
                (["--preset", "talking-pat"], 2, "talking-pad"), (["--preset", "/nowhere/x.json"], 1, "/nowhere"),
                (["--set", "Wett=1"], 2, "similar: Wet"), (["--set", "Wet=5"], 2, "outside"), (["--set", "Wet"], 2, "form"),
                (["--vary", "Wet=1..0"], 2, "upwards"), (["--vary", "Wet"], 2, "form"), (["--vary", "Wet=0..2"], 2, "outside"),
                (["--vary", "preset=talking-pad,robott"], 2, "robott"), (["--midi", "/nowhere/x.mid"], 1, "/nowhere"),
                (["--jobs", "0"], 2, "1024"), (["--jobs", "two"], 2, "two"), (["--rate", "0"], 2, "8000"),
                (["--tail", "-1"], 2, "tail"), (["--chord", "200"], 2, "127"), (["--nonsense"], 2, "nonsense"),
                (["--format", "ogg", "--bits", "16"], 2, "ogg"), (["--pattern", "*.nothing"], 1, "no sound files"),
                (["-o", self.folder / "file" / "x"], 1, "file"), (["-o", "/proc/nowhere"], 1, "/proc"),
                (["-o", self.corpus], 2, "same"), (["--seed", "-1"], 2, "seed"),
                (["--scheduler", "tcp://127.0.0.1:1"], 1, "")):
            with self.subTest(options=options):
                if options[0] == "--scheduler" and not _has_dask():
                    continue
                self.assertEqual(self.run_batch(*options, status=status), [])
                lines = self.errors.strip().splitlines()
                self.assertIn(word, lines[-1])
                self.assertEqual(len(lines), 1, self.errors)
                self.assertEqual(self.results(), {})


class KilledRunTest(CorpusCase):
    OPTIONS = ["--preset", "talking-pad", "--chord", "40,47", "--tail", 0, "--pattern", "[0-9]*"]
    COUNT = 24

    def setUp(self):
        super().setUp()
        self.add_many(self.COUNT)

    def children(self, process):
        """The workers, which Python starts with this word."""
        listed = subprocess.run(["ps", "--ppid", str(process.pid), "-o", "pid=,args="], capture_output=True, text=True,
                                check=True).stdout
        return [int(line.split()[0]) for line in listed.splitlines() if "spawn_main" in line]

    def test_killed_and_started_again_each_file_is_done_once(self):
        process = self.start("--jobs", 2, *self.OPTIONS)
        self.wait_for_records(5, process)
        process.kill()
        # To the end of what its workers hold open too: they go with it.
        process.communicate(timeout=100)
        # As if the last line had been cut off, and a file half written.
        with open(self.out / "manifest.jsonl", "ab") as file:
            file.write(b'{"input": "many/0')
        (self.out / "many" / ".orphia-killed.part").write_bytes(b"half")
        summary = self.run_batch(*self.OPTIONS)[-1]
        self.assertGreaterEqual(summary["kept"], 5)
        self.assertEqual(summary["done"] + summary["kept"], self.COUNT)
        with open(self.out / "manifest.jsonl", "r+b") as file:
            lines = [line for line in file.read().splitlines() if line.endswith(b"}")]
            file.seek(0)
            file.truncate()
            file.write(b"\n".join(lines) + b"\n")
        self.assert_each_done_once(self.COUNT)

    def test_a_worker_that_dies_is_replaced(self):
        process = self.start("--jobs", 2, *self.OPTIONS)
        self.wait_for_records(3, process)
        os.kill(self.children(process)[0], signal.SIGKILL)
        output, errors = process.communicate(timeout=500)
        self.assertEqual(process.returncode, 0, errors)
        self.assertEqual(json.loads(output.splitlines()[-1])["done"], self.COUNT)
        self.assert_each_done_once(self.COUNT)

    def test_an_interrupt_ends_it_in_order(self):
        process = self.start("--jobs", 2, *self.OPTIONS)
        self.wait_for_records(3, process)
        # Or all may be done before the second run has begun.
        workers = self.children(process)
        for worker in workers:
            os.kill(worker, signal.SIGSTOP)
        second = self.start(*self.OPTIONS)
        self.assertIn("another run", second.communicate()[1])
        process.send_signal(signal.SIGINT)
        for worker in workers:
            os.kill(worker, signal.SIGCONT)
        output, errors = process.communicate(timeout=500)
        self.assertEqual(process.returncode, 130, errors)
        self.assertEqual(json.loads(output.splitlines()[-1])["status"], "interrupted")
        self.assertNotIn("Traceback", errors)
        self.assertEqual([path for path in self.out.rglob(".*")], [])
        self.run_batch(*self.OPTIONS)
        self.assert_each_done_once(self.COUNT)


def _has_dask():
    try:
        import distributed  # noqa: F401
    except ImportError:
        return False
    return True


@unittest.skipUnless(_has_dask(), "distributed is not installed")
class ClusterTest(KilledRunTest):
    """A scheduler and two workers, processes of this machine; the same trials."""

    def setUp(self):
        super().setUp()
        place = self.folder / "scheduler.json"
        self.launch("dask_scheduler", "--scheduler-file", place, "--host", "127.0.0.1", "--port", 0, "--no-dashboard",
                    "--no-jupyter")
        while not place.exists() or not place.read_text():
            time.sleep(0.02)
        address = json.loads(place.read_text())["address"]
        self.workers = [self.launch("dask_worker", address, "--nthreads", 1, "--no-nanny", "--no-dashboard",
                                    "--local-directory", self.folder) for _ in range(2)]
        self.OPTIONS = [*super().OPTIONS, "--scheduler", address]

    def launch(self, program, *options):
        process = subprocess.Popen([sys.executable, "-m", f"distributed.cli.{program}", *map(str, options)],
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def children(self, process):
        return [self.workers[0].pid]


if __name__ == "__main__":
    unittest.main()
