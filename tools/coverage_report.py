#!/usr/bin/env python3
"""coverage_report.py PREFIX MIN_LINES MIN_BRANCHES SOURCE...: what `llvm-cov export` on standard input says of the
sources, one line per file and a total; before it, every line and every branch that no test took. Status 0 if at least so
many percent of all lines and of all branches were run and every .cpp is in a program.

PREFIX is what stands before a source's name in the export. A line is one that holds code: no comment, no brace alone.
A branch is one of the two ways out of a condition; each operand of && and || is a condition of its own. The conditions
that a macro of ours brings along, an assertion's above all, count where the macro is used. Clang does not count those that
are a macro of the system's, as S_ISDIR() is; their lines count all the same. A condition that is a constant has one way
out, and is none. Nor is a switch without a default, all of which are over enumerations: the compiler's warnings make them
name every value.
"""
import json
import re
import sys

EXPANSION = 1
CONSTANT = {"0", "1", "true", "false"}


def source_text(lines, branch):
    line, start, end_line, end = branch[:4]
    text = lines[line - 1]
    return text[start - 1:end - 1] if line == end_line else text[start - 1:]


def is_switch(lines, branch):
    return lines[branch[0] - 1][:branch[1] - 1].endswith("switch (")


def line_counts(segments, lines):
    """{line: how often it was run} for the lines with code. A line in several regions counts as the one most run."""
    by_line = {}
    for segment in segments:
        by_line.setdefault(segment[0], []).append(segment)
    counts, before = {}, None
    for number in range(1, len(lines) + 1):
        here = by_line.get(number, [])
        entered = [s[2] for s in here if s[3] and s[4] and not s[5]]
        skipped = here and not here[0][3] and here[0][4]
        if not skipped and (entered or (before and before[3])) and re.search(r"\w", lines[number - 1]):
            around = [before[2]] if before and before[3] else []
            counts[number] = max(entered + around)
        before = here[-1] if here else before
    return counts


def function_branches(function, names, texts):
    """(file, line, condition's place, taken, not taken) of each condition of a function that counts."""
    sites = {r[6]: (r[5], r[0], r[1]) for r in function["regions"] if r[7] == EXPANSION}
    for branch in function["branches"]:
        file_id = branch[6]
        own = names.get(function["filenames"][file_id])
        if own is None or source_text(texts[own], branch) in CONSTANT or is_switch(texts[own], branch):
            continue
        place = [own] + branch[:4]
        line = branch[0]
        while file_id in sites:
            file_id, line, column = sites[file_id]
            place += [line, column]
        root = names.get(function["filenames"][file_id])
        if root is not None:
            yield root, line, tuple(place), branch[4], branch[5]


def branch_counts(functions, names, texts):
    """{file: {(line, place): [taken, not taken]}}; copies of a function in several programs add up."""
    counts = {}
    for function in functions:
        for root, line, place, taken, not_taken in function_branches(function, names, texts):
            sums = counts.setdefault(root, {}).setdefault((line, place), [0, 0])
            sums[0] += taken
            sums[1] += not_taken
    return counts


def describe(texts, place, side):
    text = source_text(texts[place[0]], place[1:5])
    return "`%s` was never %s" % (text, "true" if side == 0 else "false")


def percent(part, whole):
    return 100.0 * part / whole if whole else 100.0


def print_row(name, row):
    lines, run, branches, taken = row
    print("%-36s %5d of %5d lines %6.2f %%  %5d of %5d branches %6.2f %%" % (
        name, run, lines, percent(run, lines), taken, branches, percent(taken, branches)))


def main():
    prefix, min_lines, min_branches, sources = sys.argv[1], float(sys.argv[2]), float(sys.argv[3]), sys.argv[4:]
    data = json.load(sys.stdin)["data"][0]
    names = {prefix + source: source for source in sources}
    texts = {source: open(source, encoding="utf-8").read().split("\n") for source in sources}
    segments = {names[f["filename"]]: f["segments"] for f in data["files"] if f["filename"] in names}
    branches = branch_counts(data["functions"], names, texts)
    rows = {}
    for source in sources:
        lines = line_counts(segments.get(source, []), texts[source])
        sides = branches.get(source, {})
        for number in sorted(n for n, count in lines.items() if count == 0):
            print("%s:%d: was never run: %s" % (source, number, texts[source][number - 1].strip()))
        for (line, place), counts in sorted(sides.items()):
            for side in (0, 1):
                if counts[side] == 0:
                    print("%s:%d: %s" % (source, line, describe(texts, place, side)))
        rows[source] = (len(lines), sum(1 for count in lines.values() if count), 2 * len(sides),
                        sum(1 for counts in sides.values() for count in counts if count))
    for source in sources:
        if rows[source][0] > 0 or source.endswith(".cpp"):
            print_row(source, rows[source])
    total = [sum(column) for column in zip(*rows.values())]
    print_row("total", total)
    unseen = [source for source in sources if source.endswith(".cpp") and rows[source][0] == 0]
    for source in unseen:
        print("%s is in no program" % source)
    enough = percent(total[1], total[0]) >= min_lines and percent(total[3], total[2]) >= min_branches
    if not enough:
        print("too little: %g %% of the lines and %g %% of the branches are wanted" % (min_lines, min_branches))
    sys.exit(0 if enough and not unseen else 1)


if __name__ == "__main__":
    main()
