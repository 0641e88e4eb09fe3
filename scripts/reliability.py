#!/usr/bin/python3
"""Makes docs/RELIABILITY.md from what the runs have left.

    scripts/reliability.py            takes over the reports that lie in build/, and writes the page
    scripts/reliability.py --check    says whether the page is what the reports in docs/reliability give

A report that is not in build/ stays as it was: each has its own date and commit.
"""

import json
import pathlib
import shutil
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGE, REPORTS = ROOT / "docs/RELIABILITY.md", ROOT / "docs/reliability"
SOURCES = {
    "tests": "build/test_report.json",
    "coverage": "build/coverage/tests.json",
    "fuzzing": "build/fuzz/report.json",
    "mutation": "build/mutants/results.json",
}
INTRODUCTION = """\
# Reliability

What has been tried to break the library, how far that went, and the command that does it again. Every figure
is taken from a run's own report in [docs/reliability](reliability) by `scripts/reliability.py`.
"""


def number(value):
    return f"{value:,}" if isinstance(value, int) else f"{value:,.1f}" if isinstance(value, float) else str(value)


def table(head, rows):
    """Markdown; columns of numbers alone are on the right."""
    rows = [list(row) for row in rows]
    right = [all(isinstance(row[i], (int, float)) for row in rows) for i in range(len(head))]
    cells = [[number(cell) for cell in row] for row in rows]
    width = [max(len(row[i]) for row in [list(head), *cells]) for i in range(len(head))]

    def line(row):
        return "| " + " | ".join(c.rjust(w) if r else c.ljust(w) for c, w, r in zip(row, width, right)) + " |"

    rule = "|" + "|".join("-" * (w + 1) + ":" if r else "-" * (w + 2) for w, r in zip(width, right)) + "|"
    return "\n".join([line(head), rule, *map(line, cells)]) + "\n"


def source(report, command):
    return f"`{command}`, {report['date']}, commit {report['commit'][:10]}.\n"


def tests(report):
    builds = report["builds"]
    yield f"## Tests\n\n{sum(b['passed'] for b in builds):,} passed, {sum(b['failed'] for b in builds):,} failed. "
    yield "`scripts/test.sh BUILD` runs one of the builds again, `scripts/test.sh --long` all of them.\n\n"
    yield table(["build", "compiler", "machine", "passed", "failed", "seconds", "date", "commit"],
                ([b["name"], b["compiler"], b["machine"], b["passed"], b["failed"], b["seconds"], b["date"],
                  b["commit"][:10]] for b in builds))
    if report["checks"]:
        yield "\n" + table(["check", "passed", "seconds", "date", "commit"],
                           ([f"`{c['name']}`", "yes" if c["passed"] else "no", c["seconds"], c["date"],
                             c["commit"][:10]] for c in report["checks"]))
    faults = report["faults"]
    yield f"\n## Faults\n\n{sum(faults.values()):,} injected by the tests of build `ci`, all of them survived: "
    yield "the status was right, nothing was lost, leaked or left behind.\n\n"
    yield table(["test", "faults"], sorted(faults.items()))
    yield "\n## What the tests need\n\nThe packages, in the versions that they were passed with:\n\n"
    yield table(["package", "version"], sorted(report["packages"].items()))


def coverage(report):
    yield "## Coverage\n\nWhat the tests reach, by folder; " + source(report, "scripts/coverage.sh") + "\n"
    folders = {}
    for file in report["files"]:
        folder = folders.setdefault(file["filename"].split("/")[0], [0, 0, 0, 0])
        for i, key in enumerate(["line_covered", "line_total", "branch_covered", "branch_total"]):
            folder[i] += file[key]
    folders = dict(sorted(folders.items()))
    folders["in all"] = [sum(counts) for counts in zip(*folders.values())]

    def percent(part, whole):
        return 100 * part / whole if whole else 100.0

    yield table(["folder", "lines", "% reached", "branches", "% taken"],
                ([name, c[1], percent(*c[:2]), c[3], percent(*c[2:])] for name, c in folders.items()))


def fuzzing(report):
    runs = sum(fuzzer["runs"] for fuzzer in report["fuzzers"])
    findings = sum(fuzzer["findings"] for fuzzer in report["fuzzers"])
    yield f"## Fuzzing\n\n{runs:,} runs, findings: {findings}; " + source(report, report["command"]) + "\n"
    yield table(["fuzzer", "runs", "a second", "inputs kept", "their bytes", "findings"],
                ([f["name"], f["runs"], round(f["runs_per_second"]), f["corpus_files"], f["corpus_bytes"], f["findings"]]
                 for f in report["fuzzers"]))
    yield "\nWhat is found is mended before anything else, and its input kept.\n"
    yield (f"\nThe inputs kept in `fuzz/corpora` alone reach {report['coverage']['lines_library']:.1f} % of the lines "
           f"of the library and {report['coverage']['lines_easy']:.1f} % of the easy layer's.\n")


def mutation(report):
    results = report["results"]
    kinds = ["killed", "survived", "equivalent"]
    counts = {kind: sum(one["result"] == kind for one in results) for kind in kinds}
    yield f"## Mutation\n\n{len(results)} faults put into the sources, one at a time: {counts['killed']} noticed, "
    yield f"{counts['survived']} not, {counts['equivalent']} that no test can tell; {report['score']:.1f} % of those that "
    yield "make a difference; " + source(report, "scripts/mutate.sh") + "\n"
    folders = sorted({one["file"].split("/")[0] for one in results})
    yield table(["folder", *kinds], ([folder, *(sum(one["file"].split("/")[0] == folder and one["result"] == kind
                                                    for one in results) for kind in kinds)] for folder in folders))
    for kind, words in [("survived", "Not noticed:"), ("equivalent", "No difference, and why:")]:
        if counts[kind]:
            yield f"\n{words}\n\n"
            for one in results:
                if one["result"] == kind:
                    yield f"- `{one['name']}` in `{one['file']}`" + (f": {one['reason']}\n" if one["reason"] else "\n")


def page():
    text = INTRODUCTION
    for part in [tests, coverage, fuzzing, mutation]:
        path = REPORTS / f"{part.__name__}.json"
        if path.exists():
            text += "\n" + "".join(part(json.loads(path.read_text())))
    return text


def main():
    if sys.argv[1:] == ["--check"]:
        sys.exit(0 if PAGE.read_text() == page() else "docs/RELIABILITY.md is not made of docs/reliability: scripts/reliability.py")
    if sys.argv[1:]:
        sys.exit(__doc__)
    REPORTS.mkdir(exist_ok=True)
    for name, path in SOURCES.items():
        if (ROOT / path).exists():
            shutil.copyfile(ROOT / path, REPORTS / f"{name}.json")
    PAGE.write_text(page())


main()
