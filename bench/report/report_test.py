#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Tests of report.py; with the path of orphia_bench as ORPHIA_BENCH also whether it has all rows."""
import contextlib
import io
import json
import os
import subprocess
import tempfile
import unittest

import figures
import report


def row(name, value, target=None, better="lower"):
    return {"name": name, "group": "G", "value": value, "unit": "ns/frame", "better": better, "target": target,
            "beside": ""}


def results_of(seconds_per_row=2e-9, error_rows=()):
    """As both programs write them, every row with the same numbers."""
    runs = []
    for name in figures.benchmark_rows():
        run = {"name": name, "run_type": "iteration", "time_unit": "ns", "label": name}
        if name in error_rows:
            runs.append(run | {"error_occurred": True, "error_message": "no such set", "label": ""})
            continue
        for factor in (1.5, 50.0, 1.0):
            time = seconds_per_row * factor
            runs.append(run | {"cpu_time": time * 1e9, "real_time": time * 1e9, "s/frame": time, "s/note": time,
                               "s/plain": time, "core": time, "block_share": time})
        runs.append(run | {"run_type": "aggregate", "cpu_time": 1e9, "s/frame": 1.0})
    bench = {"context": {"date": "today", "num_cpus": 2, "load_avg": [0.5]}, "benchmarks": runs}
    blocks = {"seconds": 600.0, "block_median": 0.05, "block_99": 0.1, "block_999": 0.2, "block_worst": 0.41,
              "block_worst_once": 3.0, "processor": 0.004, "processor_first": 0.04, "processor_memory": 7.0,
              "instrument": 0.03, "instrument_memory": 7.5}
    return bench, blocks


class ReportTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def file(self, name, content):
        path = os.path.join(self.folder, name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(content if isinstance(content, str) else json.dumps(content))
        return path

    def figures_file(self, name, *rows):
        about = dict.fromkeys(("processor", "cores", "instruction_set", "compiler", "revision", "date", "load_before",
                               "unrest"),
                              name)
        return self.file(name, {"machine": about, "missing": [], "rows": rows})

    def run_report(self, *arguments):
        out, errors = io.StringIO(), io.StringIO()
        with contextlib.redirect_stdout(out), contextlib.redirect_stderr(errors):
            status = report.main(list(arguments))
        return status, out.getvalue(), errors.getvalue()

    def collected(self, **options):
        bench, blocks = results_of(**options)
        out = os.path.join(self.folder, "figures.json")
        status, _, errors = self.run_report("collect", self.file("bench", bench), self.file("blocks", blocks), "true",
                                            out)
        self.assertEqual(status, 0, errors)
        with open(out, encoding="utf-8") as file:
            return out, json.load(file)

    def test_a_tenth_more_is_not_yet_worse(self):
        for old, new, expected in ((100.0, 110.0, "1.10"), (0.3, 0.33, "1.10"), (100.0, 110.1, "1.10 worse"),
                                   (100.0, 123.0, "1.23 worse"), (123.0, 100.0, "0.81"), (0.0, 1.0, "")):
            self.assertEqual(report.change(row("a", old), row("a", new)), expected, f"{old} to {new}")

    def test_what_happens_once_is_never_called_worse(self):
        self.assertEqual(report.change(row("a", 1.0, better="none"), row("a", 9.0, better="none")), "9.00")

    def test_a_target_is_met_up_to_its_own_value(self):
        for value, target, expected in ((299.9, 300, "met"), (300.0, 300, "met"), (300.1, 300, "missed"),
                                        (1e9, None, "")):
            self.assertEqual(report.verdict(row("a", value, target)), expected, f"{value} against {target}")

    def test_rows_that_one_file_lacks_are_named(self):
        old = self.figures_file("old", row("stays", 10.0), row("gone", 1.0))
        new = self.figures_file("new", row("come", 1.0), row("stays", 12.0))
        status, text, _ = self.run_report("compare", old, new)
        self.assertEqual(status, 0)
        self.assertIn(f"only in {old}: gone", text)
        self.assertIn(f"only in {new}: come", text)
        self.assertRegex(text, r"stays +10\.0 +12\.0 +ns/frame +1\.20 worse\n")
        self.assertIn("1 of 1 figures worse", text)

    def test_files_that_are_no_figures_are_refused_by_name(self):
        good = self.figures_file("good", row("a", 1.0))
        for bad in (os.path.join(self.folder, "none"), self.file("cut", '{"rows": ['), self.file("list", []),
                    self.file("text", {"machine": {"processor": ""}, "rows": [row("a", "fast")]}),
                    self.file("binary", "\0")):
            for arguments in (("table", bad), ("markdown", bad), ("compare", bad, good), ("compare", good, bad)):
                status, text, errors = self.run_report(*arguments)
                self.assertEqual((status, text), (1, ""), arguments)
                self.assertIn(bad, errors)

    def test_figures_are_the_least_of_the_repetitions_in_their_units(self):
        path, collected = self.collected()
        rows = {row["name"]: row for row in collected["rows"]}
        self.assertEqual(len(rows), len(collected["rows"]), "two figures have one name")
        self.assertEqual(rows["sampler, plain"]["value"], 2.0)
        self.assertEqual(rows["core over floor, voiced, 8 lanes"]["value"], 1.0)
        self.assertEqual(rows["core, voiced, 8 lanes"]["beside"], "floor 2.00")
        self.assertEqual(rows["creation of a processor"]["value"], 4.0)
        self.assertEqual(collected["machine"]["instruction_set"], "CoreOnVoicedSpeech/2")
        self.assertEqual(collected["machine"]["unrest"], 1.5)
        worst = rows["worst block of 10 minutes of playing, least of the runs"]
        self.assertEqual(report.verdict(worst), "missed")
        _, text, _ = self.run_report("table", path)
        self.assertIn("missed: worst block of 10 minutes", text)
        targets = sum(row["target"] is not None for row in collected["rows"])
        self.assertIn(f"{targets - 1} of {targets} targets met", text)

    def test_what_a_processor_lacks_is_told(self):
        path, collected = self.collected(error_rows=("Floor/2", "CoreOnVoicedSpeech/2", "CoreOnUnvoicedSpeech/2"))
        self.assertEqual(len(collected["missing"]), 5)
        self.assertEqual(collected["machine"]["instruction_set"], "CoreOnVoicedSpeech/1")
        for command in ("table", "markdown"):
            self.assertIn("core, voiced, 16 lanes: CoreOnVoicedSpeech/2: no such set",
                          self.run_report(command, path)[1])

    def test_results_without_a_row_are_refused(self):
        bench, blocks = results_of()
        bench["benchmarks"] = [run for run in bench["benchmarks"] if run["name"] != "Sampler plain"]
        status, _, errors = self.run_report("collect", self.file("bench", bench), self.file("blocks", blocks), "true",
                                            os.path.join(self.folder, "out"))
        self.assertEqual(status, 1)
        self.assertIn("Sampler plain", errors)

    def test_tables_of_documents_have_as_many_cells_in_each_line(self):
        path, collected = self.collected()
        lines = [line for line in self.run_report("markdown", path)[1].splitlines() if line.startswith("|")]
        groups = len({row["group"] for row in collected["rows"]})
        self.assertEqual(len(lines), len(collected["rows"]) + 2 * groups)
        self.assertEqual({line.count("|") for line in lines}, {7})

    @unittest.skipUnless("ORPHIA_BENCH" in os.environ, "no program of benchmarks")
    def test_all_rows_exist(self):
        listed = subprocess.run([os.environ["ORPHIA_BENCH"], "--benchmark_list_tests=true",
                                 "--benchmark_filter=" + report.benchmark_filter()[0]],
                                capture_output=True, text=True, check=True).stdout.splitlines()
        self.assertEqual(sorted(listed), figures.benchmark_rows())


if __name__ == "__main__":
    unittest.main()
