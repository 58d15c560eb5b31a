#!/usr/bin/env python3
"""Adds up test results: tally.py RESULTS_DIR, prints "N passed, M failed".

Below the folder lie one folder for each build, with `ctest.xml` (a row for each program) and the
GoogleTest reports of those programs that wrote one. A program without a report counts as one test.
"""

import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path


def read_reports(folder):
    """The GoogleTest reports below a folder, as {program: (passed, failed, skipped)}."""
    reports = {}
    for path in sorted(folder.glob("*.xml")):
        if path.name == "ctest.xml":
            continue
        suites = ElementTree.parse(path).getroot()
        cases = suites.findall("./testsuite/testcase")
        failed = sum(case.find("failure") is not None for case in cases)
        skipped = sum(case.get("status") != "run" or case.find("skipped") is not None for case in cases)
        reports[path.stem.split(".")[0]] = (len(cases) - failed - skipped, failed, skipped)
    return reports


def tally_build(folder):
    """(passed, failed, skipped) of one build, and a line for each program that failed."""
    if not (folder / "ctest.xml").exists():
        return (0, 1, 0), [f"{folder.name}: the tests did not run"]
    reports = read_reports(folder)
    totals = [0, 0, 0]
    complaints = []
    for case in ElementTree.parse(folder / "ctest.xml").getroot().findall("testcase"):
        name, passed = case.get("name"), case.get("status") == "run"
        counts = reports.get(name, (1, 0, 0) if passed else (0, 1, 0))
        if not passed:
            complaints.append(f"{folder.name}: {name} failed")
            if counts[1] == 0:  # it crashed, hung or leaked outside of any test
                counts = (counts[0], 1, counts[2])
        totals = [total + count for total, count in zip(totals, counts)]
    return tuple(totals), complaints


def main():
    builds = sorted(path for path in Path(sys.argv[1]).iterdir() if path.is_dir())
    totals = [0, 0, 0]
    complaints = []
    for build in builds:
        counts, lines = tally_build(build)
        complaints += lines
        print(f"{build.name:22} {counts[0]:6} passed {counts[1]:4} failed {counts[2]:4} skipped")
        totals = [total + count for total, count in zip(totals, counts)]
    for line in complaints:
        print(line)
    if totals[2]:
        print(f"{totals[2]} skipped")
    print(f"{totals[0]} passed, {totals[1]} failed")
    sys.exit(0 if totals[1] == 0 and totals[0] > 0 else 1)


if __name__ == "__main__":
    main()
