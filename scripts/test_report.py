#!/usr/bin/python3
"""What a run of the tests has passed, as build/test_report.json.

    scripts/test_report.py PRESET.. CHECK:PASSED:SECONDS..     is called by scripts/test.sh

Builds and checks of earlier runs stay in it; each has its own date and commit.
"""

import datetime
import json
import pathlib
import re
import subprocess
import sys

BUILD = pathlib.Path("build")


def said(text, pattern, default=None):
    found = re.search(pattern, text, re.MULTILINE)
    return found[1] if found else default


def output(*command):
    try:
        return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True).stdout.strip()
    except FileNotFoundError:
        return ""


def build_of(preset):
    folder = BUILD / preset
    known = next(folder.glob("CMakeFiles/*/CMakeCXXCompiler.cmake"))
    compiler, system = known.read_text(), known.with_name("CMakeSystem.cmake").read_text()
    results = (folder / "results.txt").read_text(errors="replace")
    bad, count = map(int, re.search(r"(\d+) tests? failed out of (\d+)$", results, re.MULTILINE).groups())
    return {
        "name": preset,
        "compiler": " ".join(said(compiler, rf'set\(CMAKE_CXX_COMPILER_{key} "(.*)"\)') for key in ["ID", "VERSION"]),
        "machine": said(system, r'set\(CMAKE_SYSTEM_PROCESSOR "(.*)"\)'),
        "passed": count - bad,
        "failed": bad,
        "seconds": round(float(said(results, r"^Total Test time \(real\) = *([\d.]+)", "0"))),
    }


def faults():
    """What the tests of the first build say that they let fail, by the test's name."""
    log = (BUILD / "ci/Testing/Temporary/LastTest.log").read_text(errors="replace")
    tests = re.split(r"(?m)^\d+/\d+ Test: ", log)[1:]
    counts = {test.split("\n", 1)[0]: sum(map(int, re.findall(r"^faults injected: (\d+)$", test, re.MULTILINE)))
              for test in tests}
    return {name: count for name, count in counts.items() if count}


def packages():
    """Those that scripts/test.sh asks for."""
    script = pathlib.Path("scripts/test.sh").read_text() + pathlib.Path("scripts/common.sh").read_text()
    lists = (re.findall(r"^require_packages ((?:.*\\\n)*.*)", script, re.MULTILINE)
             + re.findall(r"^ *(?:build|long)_packages=\((.*)\)", script, re.MULTILINE))
    names = sorted(set(re.findall(r"(?<![\w\"{\[.+-])[a-z][a-z0-9.+-]+", " ".join(lists))))
    versions = {name: output("dpkg-query", "-W", "-f", "${Version}", name) for name in names}
    return {name: version for name, version in versions.items() if version}


def earlier():
    try:
        return json.loads((BUILD / "test_report.json").read_text())
    except (OSError, ValueError):
        return {}


def main():
    when = {"date": datetime.date.today().isoformat(), "commit": output("git", "rev-parse", "HEAD") or "unknown"}
    report = {"builds": [], "checks": [], "faults": {}, "packages": {}, **earlier()}
    builds = {build["name"]: build for build in report["builds"]}
    checks = {check["name"]: check for check in report["checks"]}
    for one in sys.argv[1:]:
        if ":" in one:
            name, passed, seconds = one.rsplit(":", 2)
            checks[name] = {"name": name, "passed": passed == "1", "seconds": int(seconds), **when}
        else:
            builds[one] = {**build_of(one), **when}
    report |= {"builds": list(builds.values()), "checks": list(checks.values()), "packages": packages()}
    if "ci" in sys.argv:
        report["faults"] = faults()
    (BUILD / "test_report.json").write_text(json.dumps(report, indent=1) + "\n")


main()
