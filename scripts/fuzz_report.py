#!/usr/bin/python3
"""What a run of the fuzzers has done, as a table and as build/fuzz/report.json.

    scripts/fuzz_report.py MINUTES FUZZER..     is called by scripts/fuzz.sh
"""

import datetime
import json
import pathlib
import re
import subprocess
import sys

RESULTS = pathlib.Path("build/fuzz")
OTHERS = {"cli", "python", "gstreamer"}  # what stands on the two libraries


def fuzzer(name):
    log = (RESULTS / f"logs/{name}.txt").read_text(errors="replace")
    corpus = [path.stat().st_size for path in pathlib.Path(f"fuzz/corpora/{name}").iterdir()]
    said = {key: re.search(rf"stat::{key}: *(\d+)", log) for key in ["number_of_executed_units", "average_exec_per_sec"]}
    if None in said.values():
        sys.exit(f"{RESULTS}/logs/{name}.txt has no end")
    runs, rate = (int(match[1]) for match in said.values())
    return {
        "name": name,
        "runs": runs,
        "runs_per_second": rate,
        "corpus_files": len(corpus),
        "corpus_bytes": sum(corpus),
        "findings": len(re.findall(r"Test unit written to", log)),
    }


def reached(files):
    return round(100 * sum(f["line_covered"] for f in files) / max(sum(f["line_total"] for f in files), 1), 1)


def main():
    fuzzers = [fuzzer(name) for name in sys.argv[2:]]
    files = json.loads(pathlib.Path("build/coverage/corpora.json").read_text())["files"]
    folder = {f["filename"]: f["filename"].split("/")[0] for f in files}
    report = {
        "command": f"scripts/fuzz.sh {sys.argv[1]}",
        "date": datetime.date.today().isoformat(),
        "commit": subprocess.check_output(["git", "rev-parse", "HEAD"], text=True).strip(),
        "fuzzers": fuzzers,
        "coverage": {
            "lines_library": reached([f for f in files if folder[f["filename"]] not in OTHERS | {"easy"}]),
            "lines_easy": reached([f for f in files if folder[f["filename"]] == "easy"]),
        },
    }
    (RESULTS / "report.json").write_text(json.dumps(report, indent=1) + "\n")
    print(f"{'fuzzer':<14}{'runs':>13}{'a second':>10}{'inputs':>8}{'bytes':>9}{'findings':>10}")
    for f in fuzzers:
        print(f"{f['name']:<14}{f['runs']:>13,}{f['runs_per_second']:>10,}{f['corpus_files']:>8,}"
              f"{f['corpus_bytes']:>9,}{f['findings']:>10}")
    print(f"{'in all':<14}{sum(f['runs'] for f in fuzzers):>13,}")
    print(f"reached by the inputs alone: {report['coverage']['lines_library']} % of the library's lines, "
          f"{report['coverage']['lines_easy']} % of the easy layer's")
    sys.exit(1 if any(f["findings"] for f in fuzzers) else 0)


main()
