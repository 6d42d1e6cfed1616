#!/usr/bin/env python3
"""test_summary.py PRESET...: one line per suite and a total over the results below build/; status 0 if all passed.

A suite is one program of a preset. Its cases are counted from GoogleTest's result file; CTest has the last word on
whether the program as a whole succeeded, so that a crash, a time-out or a sanitizer's report counts as a failure even
where all cases passed. A test that is no GoogleTest program counts as one case. The checks of the sources come first.
"""
import functools
import os
import re
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def gtest_counts(path):
    """(passed, failed, skipped) of a GoogleTest result file, or None. The file may hold bytes that no XML parser takes,
    from a failure's message, so only the attributes of the elements are read."""
    try:
        with open(path, encoding="utf-8", errors="replace") as file:
            text = file.read()
    except OSError:
        return None
    head = re.search(r"<testsuites ([^>]*)>", text)
    if not head or "</testsuites>" not in text:
        return None
    value = {key: int(number) for key, number in re.findall(r'(\w+)="(\d+)"', head.group(1))}
    skipped = sum(int(n) for n in re.findall(r'<testsuite [^>]*\bskipped="(\d+)"', text))
    failed = value.get("failures", 0) + value.get("errors", 0)
    skipped += value.get("disabled", 0)
    return value["tests"] - failed - skipped, failed, skipped


def suite_counts(preset, name, succeeded):
    results = os.path.join(ROOT, "build", preset, "test-results", name + ".xml")
    counts = gtest_counts(results)
    if counts is None:
        script = name not in gtest_suites(preset)
        return (1, 0, 0, "") if script and succeeded else (0, 1, 0, "" if script else "ended without results")
    passed, failed, skipped = counts
    if not succeeded and failed == 0:
        return passed, 1, skipped, "the program failed as a whole"
    if passed + failed + skipped == 0:
        return 0, 1, 0, "has no cases"
    return passed, failed, skipped, ""


@functools.lru_cache(maxsize=None)
def gtest_suites(preset):
    """The suites that CTest runs with a GoogleTest result file."""
    listing = subprocess.run(["ctest", "--test-dir", os.path.join(ROOT, "build", preset), "--show-only=json-v1"],
                             capture_output=True, text=True, check=False).stdout
    return set(re.findall(r"--gtest_output=xml:[^\"]*/([^/\"]+)\.xml", listing))


def preset_suites(preset):
    """(suite, passed, failed, skipped, remark) of each test of a preset."""
    path = os.path.join(ROOT, "build", preset, "ctest.xml")
    try:
        with open(path, encoding="utf-8", errors="replace") as file:
            cases = re.findall(r'<testcase name="([^"]+)"[^>]*\bstatus="(\w+)"', file.read())
    except OSError:
        cases = []
    if not cases:
        yield preset + ": build", 0, 1, 0, "nothing was tested, see build/logs"
    for name, status in sorted(cases):
        yield ("%s: %s" % (preset, name),) + suite_counts(preset, name, status == "run")


def sources_suites():
    for name in ("format", "hygiene"):
        done = subprocess.run([os.path.join(ROOT, "tools", "check-sources"), name], check=False)
        good = done.returncode == 0
        yield "sources: " + name, int(good), int(not good), 0, ""


def main():
    suites = list(sources_suites())
    for preset in sys.argv[1:]:
        suites += preset_suites(preset)
    for name, passed, failed, skipped, remark in suites:
        extra = (", %d skipped" % skipped if skipped else "") + (" (%s)" % remark if remark else "")
        print("%s %d passed, %d failed%s" % (name, passed, failed, extra))
    failed = sum(suite[2] for suite in suites)
    print("%d passed, %d failed" % (sum(suite[1] for suite in suites), failed))
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
