#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Turns what orphia_bench and orphia_block_times measured into one file, tables and comparisons.

    report.py filter                              the rows of orphia_bench that are needed, as its filter
    report.py collect BENCH BLOCKS COMPILER OUT   one file from the results of both, with the machine
    report.py table FILE                          each figure beside its target
    report.py markdown FILE                       the same for docs/performance.md
    report.py compare OLD NEW                     the ratio of each figure
"""
import json
import statistics
import subprocess
import sys

import figures

WORSE_FROM = 1.1


class ReportError(Exception):
    """A file cannot be read or written, or is not what it should be."""


class NotHere(Exception):
    """This machine cannot measure the row."""


class Results:
    """The numbers of one run, in seconds and parts of one."""

    def __init__(self, bench, blocks):
        self.blocks = blocks
        self.rows = {}
        for run in bench["benchmarks"]:
            if run.get("run_type") == "iteration":
                self.rows.setdefault(run["name"], []).append(run)

    def read(self, reading):
        """The least of the repetitions: whatever else the machine does only adds to what the code itself takes."""
        if reading.row is None:
            return self.blocks[reading.field] * reading.scale
        runs = self.rows[reading.row]
        failed = [run.get("error_message", "") for run in runs if run.get("error_occurred")]
        if failed:
            raise NotHere(f"{reading.row}: {failed[0]}")
        to_seconds = 1.0
        if reading.field in ("cpu_time", "real_time"):
            to_seconds = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}[runs[0]["time_unit"]]
        return min(run[reading.field] for run in runs) * to_seconds * reading.scale

    def unrest(self):
        """What the middle repetition of a row takes over the least one; 1 on a machine at rest."""
        times = [[run["real_time"] for run in runs if "real_time" in run] for runs in self.rows.values()]
        return statistics.median(statistics.median(some) / min(some) for some in times if some)

    def label(self, row):
        """Empty when the row could not be measured."""
        return next((run["label"] for run in self.rows.get(row, []) if run.get("label")), "")


def short(value):
    """Three digits, and never an exponent."""
    for limit, digits in ((100, 0), (10, 1), (0.01, 2)):
        if round(abs(value), digits) >= limit:
            return f"{value:.{digits}f}"
    return f"{value:.2g}" if value else "0"


def make_row(group, figure, results):
    source = figure.source
    if isinstance(source, figures.Ratio):
        over, under = results.read(source.over), results.read(source.under)
        value = over / under
        beside = f"{short(over)} of {short(under)} {source.over.unit}"
    else:
        value = results.read(source)
        beside = ""
        if figure.beside:
            beside = f"{figure.beside[0]} {short(results.read(figure.beside[1]))}"
    return {"name": figure.name, "group": group, "value": float(f"{value:.6g}"), "unit": source.unit,
            "better": "none" if figure.once else "lower", "target": figure.target, "beside": beside}


def make_rows(results):
    """The rows, and why others are missing."""
    rows = []
    missing = []
    for group, members in figures.groups(results.blocks["seconds"] / 60.0).items():
        for figure in members:
            try:
                rows.append(make_row(group, figure, results))
            except NotHere as reason:
                missing.append(f"{figure.name}: {reason}")
            except KeyError as key:
                raise ReportError(f"no {key} in the results, which \"{figure.name}\" needs") from key
    return rows, missing


def output_of(command):
    try:
        return subprocess.run(command, capture_output=True, text=True, check=True).stdout.strip()
    except (OSError, subprocess.CalledProcessError):
        return "unknown"


def processor_model():
    try:
        with open("/proc/cpuinfo", encoding="utf-8") as file:
            return next(line.split(":", 1)[1].strip() for line in file if line.startswith("model name"))
    except (OSError, StopIteration):
        return "unknown"


def machine(bench, results, compiler):
    labels = [results.label(f"CoreOnVoicedSpeech/{index}") for index in range(3)]
    return {"processor": processor_model(), "cores": bench["context"]["num_cpus"],
            # The engine takes the widest that there is.
            "instruction_set": next((label for label in reversed(labels) if label), "unknown"),
            "compiler": output_of([compiler, "--version"]).partition("\n")[0],
            "revision": output_of(["git", "describe", "--always", "--dirty"]),
            "date": bench["context"]["date"],
            "load_before": round(bench["context"]["load_avg"][0], 2), "unrest": round(results.unrest(), 3)}


def read_json(path):
    try:
        with open(path, encoding="utf-8") as file:
            return json.load(file)
    except (OSError, ValueError) as error:
        raise ReportError(f"{path}: {error}") from error


def read_report(path):
    report = read_json(path)
    try:
        for row in report["rows"]:
            row["name"], row["value"] + 0.0, row["unit"], row["target"], row["better"]
        report["machine"]["processor"]
    except (KeyError, TypeError) as error:
        raise ReportError(f"{path}: not a file of figures") from error
    return report


def collect(bench_path, blocks_path, compiler, out):
    bench = read_json(bench_path)
    results = Results(bench, read_json(blocks_path))
    rows, missing = make_rows(results)
    report = {"machine": machine(bench, results, compiler), "missing": missing, "rows": rows}
    try:
        with open(out, "w", encoding="utf-8") as file:
            json.dump(report, file, indent=1)
            file.write("\n")
    except OSError as error:
        raise ReportError(f"{out}: {error}") from error
    return []


def verdict(row):
    if row["target"] is None:
        return ""
    return "met" if row["value"] <= row["target"] else "missed"


def cells(row):
    target = "" if row["target"] is None else f"{row['target']:g}"
    return [row["name"], short(row["value"]), row["unit"], row.get("beside", ""), target, verdict(row)]


def of_machine(report):
    about = report["machine"]
    return (f"{about['processor']}, {about['cores']} cores, {about['instruction_set']}; {about['compiler']}; "
            f"revision {about['revision']}; {about['date']}, load {about['load_before']} before, unrest {about['unrest']}")


def columns(table):
    widths = [max(len(row[column]) for row in table) for column in range(len(table[0]))]
    return ["  ".join(text.ljust(width) for text, width in zip(row, widths)).rstrip() for row in table]


def summary(rows):
    verdicts = [verdict(row) for row in rows]
    return f"{verdicts.count('met')} of {len(rows) - verdicts.count('')} targets met"


def table(path):
    report = read_report(path)
    lines = columns([["figure", "value", "unit", "beside", "target", ""]] + [cells(row) for row in report["rows"]])
    missed = [f"missed: {row['name']}: {short(row['value'])} {row['unit']}, target {row['target']:g}"
              for row in report["rows"] if verdict(row) == "missed"]
    return ([of_machine(report), ""] + lines + [""] + [f"not measured: {text}" for text in report.get("missing", [])]
            + missed + [summary(report["rows"])])


def markdown(path):
    report = read_report(path)
    lines = [of_machine(report) + ".", ""]
    group = None
    for row in report["rows"]:
        if row.get("group") != group:
            group = row.get("group")
            lines += ([""] if len(lines) > 2 else []) + [
                f"| {group} | Measured | | Beside | Target | |", "|---|---:|---|---|---:|---|"]
        lines.append("| " + " | ".join(cells(row)) + " |")
    lines += [""] + [f"Not measured here: {text}." for text in report.get("missing", [])]
    return lines + [summary(report["rows"]) + "."]


def change(old, new):
    """The ratio of two rows, marked where the new one is clearly worse."""
    if not old["value"]:
        return ""
    ratio = new["value"] / old["value"]
    # Files hold six digits, so that a tenth more may come out a little above.
    is_worse = new["better"] == "lower" and ratio > WORSE_FROM * (1.0 + 1e-5)
    return f"{ratio:.2f}" + (" worse" if is_worse else "")


def compare(old_path, new_path):
    reports = [read_report(path) for path in (old_path, new_path)]
    old, new = ({row["name"]: row for row in report["rows"]} for report in reports)
    both = [name for name in new if name in old]
    lines = [f"old: {of_machine(reports[0])}", f"new: {of_machine(reports[1])}", ""]
    lines += columns([["figure", "old", "new", "unit", "ratio"]] + [
        [name, short(old[name]["value"]), short(new[name]["value"]), new[name]["unit"], change(old[name], new[name])]
        for name in both])
    lines += [""] + [f"only in {old_path}: {name}" for name in old if name not in new]
    lines += [f"only in {new_path}: {name}" for name in new if name not in old]
    worse = sum(change(old[name], new[name]).endswith("worse") for name in both)
    return lines + [f"{worse} of {len(both)} figures worse by more than a tenth"]


def benchmark_filter():
    return ["^(" + "|".join(row.replace(".", r"\.") for row in figures.benchmark_rows()) + ")$"]


def main(arguments):
    commands = {"filter": (benchmark_filter, 0), "collect": (collect, 4), "table": (table, 1),
                "markdown": (markdown, 1), "compare": (compare, 2)}
    command, count = commands.get(arguments[0] if arguments else "", (None, 0))
    if command is None or len(arguments) != count + 1:
        print(__doc__, file=sys.stderr)
        return 2
    try:
        for line in command(*arguments[1:]):
            print(line)
    except ReportError as error:
        print(f"bench: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
