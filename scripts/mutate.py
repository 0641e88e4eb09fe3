#!/usr/bin/env python3
"""Single mutations of the sources, from tests/mutations.txt: scripts/mutate.sh runs them. --check: whether every
rule still finds its text."""

import collections
import datetime
import hashlib
import json
import os
import pathlib
import queue
import re
import shlex
import shutil
import subprocess
import sys
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORK = ROOT / "build/mutants"
RESULTS = WORK / "results.json"
LIMIT = 300  # seconds of a test; a mutant that takes longer is caught
MEMORY = 8 << 30  # bytes that it may take
CONFIGURE = [
    "cmake", "-S", ".", "-B", "build", "-G", "Ninja", "-DCMAKE_BUILD_TYPE=None", "-DCMAKE_C_FLAGS=-O1",
    "-DCMAKE_CXX_FLAGS=-O1", "-DVELA_BUILD_PYTHON=OFF", "-DVELA_BUILD_GSTREAMER=OFF",
]

Rule = collections.namedtuple("Rule", "name file old new reason")
# What is built, and what is run of it.
Step = collections.namedtuple("Step", "test targets command")

UNITS = Step("units", ("velajpeg_tests",), ("build/tests/velajpeg_tests", "--gtest_fail_fast"))
COMMAND = Step("command", ("velajpeg_command",), ("tests/cli/command_test.sh", "build/cli/velajpeg"))
FAILURES = Step("command.failures", ("velajpeg_command", "velajpeg_failing_calls", "example_picture"),
                ("ctest", "--test-dir", "build", "-R", "^command.failures$"))
CORPORA = Step("fuzz", ("fuzz_replays",), ("ctest", "--test-dir", "build", "-R", r"^fuzz\.", "--stop-on-failure"))


def steps_for(file):
    """The tests that may notice a change of a file, the quickest first."""
    folder = file.split("/")[0]
    if folder == "cli":
        return [COMMAND, FAILURES, CORPORA]
    return [UNITS, COMMAND, FAILURES, CORPORA] if folder == "easy" else [UNITS, CORPORA]


def fail(message):
    sys.exit(f"mutate: {message}")


def read_rules():
    """Blocks of "@ NAME FILE", "- " lines of the text, "+ " lines of what comes in its place, and "= " lines with
    the reason why no test can tell the difference, if none can."""
    rules = []
    text = (ROOT / "tests/mutations.txt").read_text()
    for block in re.split(r"(?m)^(?=@ )", text)[1:]:
        parts = collections.defaultdict(list)
        for line in block.splitlines():
            if line and not line.startswith("#"):
                parts[line[0]].append(line[2:])
        try:
            name, file = parts["@"][0].split()
        except ValueError:
            fail(f"not '@ NAME FILE': {block.splitlines()[0]}")
        if not parts["-"] or set(parts) - set("@-+="):
            fail(f"{name}: lines begin with '- ', '+ ' or '= ', and the first are needed")
        rules.append(Rule(name, file, *("\n".join(parts[c]) for c in "-+"), " ".join(parts["="])))
    names = [rule.name for rule in rules]
    for name in set(names):
        if names.count(name) > 1:
            fail(f"{name} stands {names.count(name)} times")
    return rules


def check(rules):
    """Each text stands exactly once in its file, so that a rule says what it means."""
    good = True
    for rule in rules:
        path = ROOT / rule.file
        found = path.read_text().count(rule.old) if path.is_file() else None
        if found != 1 or rule.old == rule.new:
            good = False
            what = "no such file" if found is None else f"text found {found} times" if found != 1 else "changes nothing"
            print(f"mutate: {rule.name}: {rule.file}: {what}", file=sys.stderr)
    return good


def tree():
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=ROOT,
                            check=True, stdout=subprocess.PIPE).stdout.decode().split("\0")
    return sorted(file for file in listed if file and (ROOT / file).is_file())


def digest(*parts):
    return hashlib.sha256("\0".join(parts).encode()).hexdigest()[:16]


def digest_of(files):
    return digest(*(file + "\0" + hashlib.sha256((ROOT / file).read_bytes()).hexdigest() for file in files))


class Copy:
    """A copy of the checkout with a build of its own."""

    def __init__(self, number):
        self.root = WORK / str(number)
        self.log = WORK / f"{number}.log"

    def update(self, files):
        """What is the same keeps its time, so that little is built anew."""
        for file in files:
            to = self.root / file
            content = (ROOT / file).read_bytes()
            if not to.is_file() or to.read_bytes() != content:
                to.parent.mkdir(parents=True, exist_ok=True)
                to.write_bytes(content)
                shutil.copymode(ROOT / file, to)
        kept = set(files)
        for path in self.root.rglob("*"):
            name = path.relative_to(self.root).as_posix()
            if path.is_file() and name not in kept and not name.startswith("build/"):
                path.unlink()
        if self.run(CONFIGURE) != 0:
            fail(f"cannot configure, see {self.log}")

    def run(self, command, limit=None):
        """Its exit code; 124 or 137 beyond the limit."""
        if limit:
            command = ["prlimit", f"--as={MEMORY}", "timeout", "-k", "5", str(limit), *command]
        environment = dict(os.environ, CCACHE_BASEDIR=str(self.root), CCACHE_NOHASHDIR="1")
        if shutil.which("ccache"):
            environment.update(CMAKE_C_COMPILER_LAUNCHER="ccache", CMAKE_CXX_COMPILER_LAUNCHER="ccache")
        with open(self.log, "w") as log:
            return subprocess.run([*shlex.split(os.environ.get("RUN", "")), *command], cwd=self.root, env=environment,
                                  stdin=subprocess.DEVNULL, stdout=log, stderr=subprocess.STDOUT).returncode

    def build(self, targets):
        return self.run(["cmake", "--build", "build", "-j1", "--target", *targets])

    def who(self, step, code):
        """What has noticed, by the log of the tests."""
        log = self.log.read_text(errors="replace")
        if step is CORPORA:
            found = re.search(r"(fuzz\.\w+) \.+\**(Failed|Timeout|Sub|Exc)", log)
        else:
            found = re.search(r"\[  FAILED  \] ([^\s,]+)", log) or re.search(r"(FAIL .{1,70})", log)
        runs = re.findall(r"\[ RUN      \] (\S+)", log)
        name = found[1] if found else f"{runs[-1]} (ended)" if runs else step.test
        return name + " (timeout)" if code in (124, 137) else name

    def try_rule(self, rule):
        path = self.root / rule.file
        whole = (ROOT / rule.file).read_text()
        started = time.monotonic()
        path.write_text(whole.replace(rule.old, rule.new))
        result, by = "equivalent" if rule.reason else "survived", None
        try:
            for step in steps_for(rule.file):
                if self.build(step.targets) != 0:
                    result = "not built"
                    break
                code = self.run(step.command, LIMIT)
                if code != 0:
                    result, by = "not equivalent" if rule.reason else "killed", self.who(step, code)
                    break
        finally:
            path.write_text(whole)
        return {"name": rule.name, "file": rule.file, "result": result, "killed_by": by, "reason": rule.reason,
                "seconds": round(time.monotonic() - started, 1)}

    def try_nothing(self, rules):
        """Unchanged sources pass; otherwise every mutant would seem to be caught."""
        for step in dict.fromkeys(step for rule in rules for step in steps_for(rule.file)):
            if self.build(step.targets) != 0 or self.run(step.command, LIMIT) != 0:
                fail(f"{step.test} fails without a mutation, see {self.log}")


def save(rules, results):
    ordered = [results[rule.name] for rule in rules if rule.name in results]
    count = collections.Counter(one["result"] for one in ordered)
    tried = count["killed"] + count["survived"]
    commit = subprocess.run(["git", "rev-parse", "--short", "HEAD"], cwd=ROOT, stdout=subprocess.PIPE).stdout
    report = {
        "date": datetime.date.today().isoformat(),
        "commit": commit.decode().strip(),
        "rules": len(rules),
        "totals": dict(count),
        "score": round(100 * count["killed"] / tried, 1) if tried else None,
        "results": ordered,
    }
    temporary = RESULTS.with_suffix(".new")
    temporary.write_text(json.dumps(report, indent=1) + "\n")
    temporary.replace(RESULTS)
    return report


def earlier():
    try:
        return {one["name"]: one for one in json.loads(RESULTS.read_text())["results"]}
    except (OSError, ValueError, KeyError):
        return {}


def work(copy, todo, results, rules, files, lock):
    copy.update(files)
    while True:
        try:
            rule, keys = todo.get_nowait()
        except queue.Empty:
            return
        result = copy.try_rule(rule)
        result["key"] = keys[result["result"] != "killed"]
        with lock:
            results[rule.name] = result
            save(rules, results)
            print(f"{result['result']:9} {rule.name} ({rule.file}) {result['killed_by'] or ''}", flush=True)


def main(arguments):
    rules = read_rules()
    if not check(rules):
        return 1
    if arguments == ["--check"]:
        print(f"{len(rules)} mutations")
        return 0
    wanted = set(arguments) or {rule.name for rule in rules}
    if wanted - {rule.name for rule in rules}:
        fail("no such mutation: " + ", ".join(sorted(wanted - {rule.name for rule in rules})))

    WORK.mkdir(parents=True, exist_ok=True)
    files = tree()
    everything = digest_of(file for file in files if file != "tests/mutations.txt")
    known, results, todo = earlier(), {}, queue.Queue()
    for rule in rules:
        # What a test has noticed stays noticed as long as the file is as it was; what none has may be by another.
        key = digest(*rule, digest_of([rule.file]))
        keys = key, digest(key, everything)
        if known.get(rule.name, {}).get("key") in keys:
            results[rule.name] = known[rule.name]
        elif rule.name in wanted:
            todo.put((rule, keys))
    left = [rule for rule, _ in todo.queue]
    copies = [Copy(n) for n in range(min(int(os.environ.get("JOBS", os.cpu_count())), len(left)))]
    if copies:
        copies[0].update(files)
        copies[0].try_nothing(left)
    lock = threading.Lock()
    threads = [threading.Thread(target=work, args=(copy, todo, results, rules, files, lock)) for copy in copies]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()

    report = save(rules, results)
    for one in report["results"]:
        if one["result"] not in ("killed", "equivalent"):
            print(f"{one['result']}: {one['name']} ({one['file']})")
    print(f"{report['rules']} mutations: {report['totals']}, score {report['score']} % without the equivalent ones")
    return 0 if all(one["result"] in ("killed", "equivalent") for one in report["results"]) else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
