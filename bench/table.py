#!/usr/bin/env python3
"""Prints what tarvex_bench measured as one table: table.py [--write-docs FILE] RESULTS.json...

Each cell is the median of a benchmark's repetitions; ratios are of medians of one results file, never of
figures from two runs. `--write-docs` puts the table between the two marks in a Markdown file too.
"""

import argparse
import json
import statistics
import sys
from pathlib import Path

PEERS = ["nlohmann", "rapidjson", "rapidjson_insitu", "pugixml", "libconfig", "floor", "floor_apart"]
HEADS = {"rapidjson_insitu": "in situ", "floor_apart": "apart"}
RATIOS = ["nlohmann", "rapidjson", "pugixml", "libconfig", "floor", "floor_apart"]

# What is said of a benchmark: a unit, how to compute it, and the digits to show. Seconds are those of one run.
M_ITEMS = "M items/s", lambda run: run["items_per_second"] / 1e6
M_ITEMS_FREED = "M items/s", lambda run: run["items"] / (run["seconds"] + run["free_seconds"]) / 1e6
MB = "MB/s", lambda run: run["bytes_per_second"] / 1e6
KEPT = "bytes/item", lambda run: run["bytes_item"]
MICRO = "µs", lambda run: run["seconds"] * 1e6
MILLI = "ms", lambda run: run["seconds"] * 1e3

ROWS = [
    # title, job, size, what
    ("tree", "tree", "main", M_ITEMS),
    ("tree, of its own text", "tree", "main", MB),
    ("tree, read and destroyed", "tree", "main", M_ITEMS_FREED),
    ("tree, from a cold start", "cold_tree", "main", M_ITEMS),
    ("tree, memory kept", "tree", "main", KEPT),
    ("tree of 1 MB", "tree", "1MB", M_ITEMS),
    ("tree of 10 MB", "tree", "10MB", M_ITEMS),
    ("tree of 100 MB", "tree", "100MB", M_ITEMS),
    ("tree of 100 MB, memory kept", "tree", "100MB", KEPT),
    ("tree of a file", "file_tree", "main", M_ITEMS),
    ("tokens, or events", "tokens", "main", M_ITEMS),
    ("write", "write", "main", M_ITEMS),
    ("write, of its own text", "write", "main", MB),
    ("binary read", "binary_tree", "main", M_ITEMS),
    ("binary write", "binary_write", "main", M_ITEMS),
    ("index", "index", "main", M_ITEMS),
    ("tip, project of 64 KB", "tip", "64KB", MICRO),
    ("tip, 1 MB", "tip", "1MB", MICRO),
    ("tip, 1 GB", "tip", "1GB", MICRO),
    ("thumbnail bytes, 64 KB", "thumbnail", "64KB", MICRO),
    ("thumbnail bytes, 1 MB", "thumbnail", "1MB", MICRO),
    ("thumbnail bytes, 1 GB", "thumbnail", "1GB", MICRO),
    ("search 100 MB without marker", "search", "100MB", MILLI),
]
# Quotients of two sizes of one job: what should not grow with the size.
GROWTH = [
    ("time an item, 100 MB ÷ 1 MB", "tree", "100MB", "1MB"),
    ("tip, 1 GB ÷ 1 MB", "tip", "1GB", "1MB"),
    ("thumbnail bytes, 1 GB ÷ 1 MB", "thumbnail", "1GB", "1MB"),
]

BEGIN, END = "<!-- table: begin -->", "<!-- table: end -->"
UNITS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}


def read_runs(path):
    """The medians of a results file, as {(job, library, size): {figure: value}}, and its context."""
    results = json.loads(path.read_text(encoding="utf-8"))
    repetitions = {}
    for run in results["benchmarks"]:
        if run["run_type"] != "iteration":
            continue
        if run.get("error_occurred"):
            sys.exit(f"{run['name']}: {run['error_message']}")
        parts = run["name"].split("/")
        # Both are processor time: those that time themselves report it as "real".
        timed = "manual_time" in parts
        figures = {key: value for key, value in run.items() if isinstance(value, float)}
        figures["seconds"] = run["real_time" if timed else "cpu_time"] * UNITS[run["time_unit"]]
        figures["items"] = figures.get("items_per_second", 0) * figures["seconds"]
        repetitions.setdefault(tuple(parts[:3]), []).append(figures)
    runs = {
        name: {key: statistics.median(one[key] for one in many) for key in many[0]}
        for name, many in repetitions.items()
    }
    return runs, results["context"]


def shown(value):
    if value is None:
        return ""
    return f"{value:.0f}" if value >= 100 else f"{value:.1f}" if value >= 10 else f"{value:.2f}"


def cells(title, unit, values):
    ours = values.get("tarvex")
    ratios = [ours / values[peer] if ours and values.get(peer) else None for peer in RATIOS]
    return [title, unit, shown(ours), *(shown(values.get(peer)) for peer in PEERS), *map(shown, ratios)]


def rows_of(runs):
    libraries = ["tarvex", *PEERS]
    for title, job, size, (unit, compute) in ROWS:
        values = {lib: compute(runs[job, lib, size]) for lib in libraries if (job, lib, size) in runs}
        if values:
            yield cells(title, unit, values)
    for title, job, large, small in GROWTH:
        values = {}
        for lib in libraries:
            if (job, lib, large) in runs and (job, lib, small) in runs:
                a, b = runs[job, lib, large], runs[job, lib, small]
                values[lib] = a["seconds"] / b["seconds"] / (a["items"] / b["items"] if a["items"] else 1)
        if values:
            yield [title, "×", *(shown(values.get(lib)) for lib in libraries), *[""] * len(RATIOS)]


def table(runs):
    """Markdown that can be read as it is; columns without a figure are left out."""
    heads = ["", "", "tarvex", *(HEADS.get(p, p) for p in PEERS), *("÷ " + HEADS.get(p, p) for p in RATIOS)]
    rows = [heads, *rows_of(runs)]
    rows = list(zip(*(column for column in zip(*rows) if len(rows) == 1 or any(column[1:]))))
    widths = [max(map(len, column)) for column in zip(*rows)]
    pads = [str.ljust, str.ljust, *[str.rjust] * len(widths)]
    lines = ["| " + " | ".join(pad(cell, width) for pad, cell, width in zip(pads, row, widths)) + " |" for row in rows]
    rule = "|" + "|".join(["-" * (width + 2) if i < 2 else "-" * (width + 1) + ":" for i, width in enumerate(widths)]) + "|"
    return "\n".join([lines[0], rule, *lines[1:]])


def machine(context):
    name = next((line.split(":", 1)[1].strip() for line in open("/proc/cpuinfo", encoding="utf-8")
                 if line.startswith("model name")), "?")
    load = ", ".join(f"{value:.1f}" for value in context["load_avg"])
    return f"{context['date'][:10]}, {name}, {context['num_cpus']} processors, load at the start {load}"


def write_docs(path, text):
    document = path.read_text(encoding="utf-8")
    before, begin, rest = document.partition(BEGIN)
    _, end, after = rest.partition(END)
    if not begin or not end:
        sys.exit(f"{path}: the marks are not there")
    path.write_text(f"{before}{BEGIN}\n{text}\n{END}{after}", encoding="utf-8")


def main():
    parser = argparse.ArgumentParser(description=__doc__.partition("\n")[0])
    parser.add_argument("--write-docs", type=Path, metavar="FILE", help="a Markdown file to put the table into")
    parser.add_argument("results", type=Path, help="what tarvex_bench wrote")
    arguments = parser.parse_args()
    runs, context = read_runs(arguments.results)
    text = f"{machine(context)}\n\n{table(runs)}"
    print(text)
    if arguments.write_docs:
        write_docs(arguments.write_docs, text)


if __name__ == "__main__":
    main()
