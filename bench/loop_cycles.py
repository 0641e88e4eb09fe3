#!/usr/bin/python3
"""Cycles that the NEON coder's loop takes for a coefficient, by LLVM's models of processors.

    loop_cycles.py OBJDUMP TRIPLE LIBRARY PROCESSOR..

The loop is the shortest one of encodeMcus that counts leading zeros twice, of the mask and of the value; what it
seldom does (a full word to store, a run of 16 zeros) lies outside. All loads are taken to hit the nearest cache.
"""

import re
import subprocess
import sys

FUNCTION = re.compile(r"^[0-9a-f]+ <.*encodeMcus.*>:$")
LINE = re.compile(r"^ *([0-9a-f]+):\t(.*?)(?:\s*(?://|@|;).*)?$")
BRANCH = re.compile(r"^(b\S*|cbn?z\t\S+,|tbn?z\t\S+,\s*\S+,)\s+([0-9a-f]+) <.*>$")
ITERATIONS = 200


def code(objdump, library):
    """Address and text of each instruction of encodeMcus."""
    inside, found = False, []
    for line in subprocess.check_output([objdump, "-d", "-C", "--no-show-raw-insn", library], text=True).splitlines():
        if line.endswith(">:"):
            inside = bool(FUNCTION.match(line))
        elif inside and (match := LINE.match(line)):
            found.append((int(match[1], 16), match[2].strip()))
    return found


def shortest_loop(instructions):
    places = {address: i for i, (address, _) in enumerate(instructions)}
    loops = []
    for end, (_, text) in enumerate(instructions):
        branch = BRANCH.match(text)
        begin = places.get(int(branch[2], 16), end) if branch else end
        body = [text for _, text in instructions[begin : end + 1]]
        if sum(text.startswith("clz") for text in body) == 2:
            loops.append(body)
    if not loops:
        sys.exit("loop_cycles: there is no such loop")
    return min(loops, key=len)


def main():
    objdump, triple, library, *processors = sys.argv[1:]
    loop = [BRANCH.sub(r"\1 1f", text) for text in shortest_loop(code(objdump, library))]
    for processor in processors:
        report = subprocess.run(
            ["llvm-mca", f"-mtriple={triple}", f"-mcpu={processor}", f"-iterations={ITERATIONS}"],
            input="\n".join([*loop, "1:\n"]), capture_output=True, text=True, check=False)
        cycles = re.search(r"Total Cycles: *(\d+)", report.stdout)
        words = f"{int(cycles[1]) / ITERATIONS:.1f} cycles" if cycles else "no model"
        print(f"{processor:<12} {len(loop)} instructions, {words}")


main()
