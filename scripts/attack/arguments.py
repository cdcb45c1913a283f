#!/usr/bin/env python3
"""Runs nuvra-cl with random command lines and tells where it breaks its promises.

    scripts/attack/arguments.py PROGRAM [--count N] [--minutes N] [--first N] [--seed N] [--workers N] [--limit SECONDS]

Each run has a folder of small inputs. Promised are: an exit status of 0, 1 or 2; on 1 and 2, one line of at most 500
letters on standard error (lines of options that report there, compilers' words and a line for each bad file of
crc32c aside) and no output file; on 2, nothing on standard output; no input touched but one that is also named as
output. Run N is the same whenever the seed is: `--first N --count 1` repeats one that failed.
"""
import argparse
import collections
import concurrent.futures
import os
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile
import time

NUMBERS = ["1e309", "-1e309", "NaN", "inf", "0x10", "-0", " 5", "+5", "5 ", "", "0", "1", "2", "7", "-1", "3.5",
           "1e-9", "1e9", "0.5", "-0.5", "1,5", "1_000", "\u0661\u0662", "\uff15", "\u2212" "3", "\n3", "3\n", "1e",
           str(2**63 - 1), str(2**63), str(-2**63), str(10**23)]
SIZES = ["16", "5K", "1M", "12Q", "K", "-5", "8589934592G", "8796093022207M", *NUMBERS]
EXTENTS = ["8x6", "0x5", "-1x4", "1e3x2", "8X6", "8x", "8x6x4", "8 x 6", "65537x1", "\u0668x\u0666", f"1x{2**63 - 1}"]
RECTANGLES = ["0,0,5,5", "1,2,3", "1,2,3,4,5", "0,0,0,5", "0,0,5,-1", "-1,0,6,5", "1, 2,3,4", ",,,", "39,29,1,1",
              "40,30,1,1", f"{2**63 - 1},0,{2**63 - 1},1", "1e1,0,2,2"]
WORDS = ["", "-", "--", "---", "-x", "--x", "--=", "-5", "=", "*", "~", "%s%n", "\\", "'", "$(x)", "\n", "\x1b[2J",
         "\xe4\u65e5\U0001f600", b"\xff\xfe", b"\xc3", "x" * 5000, "--" + "y" * 5000, "\u65e5" * 1700, "invert", "HELP"]
INPUTS = ["a.png", "b.tif", "c.exr", "text.png", "empty", "bytes", "list", "folder"]
FILES = [*INPUTS, "missing.png", "folder/x.png", "no/x.png", "/dev/null", "out.png", "out", "out.jpg", "out.xyz",
         "out.bmp", ".", "/", "a.png/x", "z" * 300 + ".png"]
OPTIONS = {  # what each takes; flags take nothing
    "--device": ["0", "1", "-1", "pthread", "99", *NUMBERS], "--runtime": FILES, "--module": FILES,
    "--trace": ["t.json", "-", "no/t.json"], "--log": ["log", "-", "no/log"], "--quiet": None, "--call-stats": None,
    "--leak-check": None, "--serialize": None, "--version": None, "--help": None, "-h": None, "--json": None,
    "--rect": RECTANGLES, "--src": RECTANGLES, "--dst": RECTANGLES, "--tile": NUMBERS, "--gamma": NUMBERS,
    "--factor": NUMBERS, "--filter": ["nearest", "bicubic", "Nearest", "near"], "--mirror": ["x", "y", "xy", "yx"],
    "--piece": SIZES, "--check": FILES, "--pairs": None, "--total": None, "--size": SIZES + EXTENTS,
    "--value": NUMBERS, "--buffer-size": SIZES, "--rct": RECTANGLES, "--devise": None}
COMMANDS = {  # arguments that make sense, of which some are then spoilt
    "devices": [], "tasks": [], "invert": ["a.png", "out.png"], "gamma": ["b.tif", "out.tif", "--gamma", "2"],
    "scale": ["c.exr", "out.exr", "--factor", "0.5"], "stereo": ["a.png", "a.png", "out.png"],
    "crc32c": ["bytes", "a.png"], "prefixsum": ["bytes", "out"], "clear": ["out", "--size", "64"],
    "chart": ["out.png", "--size", "8x6"], "sheet": ["out.png", "a.png", "b.tif"], "inver": ["a.png", "out.png"]}


def make_arguments(rng):
    command = rng.choice(list(COMMANDS)) if rng.random() < 0.99 else "selftest"
    words = [command, *COMMANDS.get(command, [])]
    for _ in range(rng.choice([0, 1, 1, 2, 3, 6])):
        place, kind = rng.randint(0, len(words)), rng.random()
        if kind < 0.45:
            option, values = rng.choice(list(OPTIONS.items()))
            value = None if values is None else rng.choice(values if rng.random() < 0.8 else WORDS)
            if value is not None and rng.random() < 0.2:
                words.insert(place, os.fsencode(option) + b"=" + os.fsencode(value))
            else:
                words[place:place] = [option] if value is None or rng.random() < 0.05 else [option, value]
        elif kind < 0.6:
            words.insert(place, rng.choice(WORDS + FILES))
        elif kind < 0.9 and len(words) > 1:
            words[rng.randrange(1, len(words))] = rng.choice(rng.choice([FILES, FILES, WORDS, NUMBERS]))
        else:
            del words[place:place + 1]
    return [os.fsencode(word) for word in words]


def make_inputs(program, folder):
    (folder / "folder").mkdir(parents=True)
    for name in ("a.png", "b.tif", "c.exr"):
        subprocess.run([program, "chart", name, "--size", "40x30", "--quiet"], cwd=folder, check=True)
    (folder / "text.png").write_bytes(b"no picture\n")
    (folder / "empty").touch()
    (folder / "bytes").write_bytes(bytes(range(256)) * 4)
    (folder / "list").write_bytes(b"00000000  empty\n12345678  missing\n")


def read_files(folder):
    return {os.fsencode(path.relative_to(folder)): path.read_bytes() for path in folder.rglob("*") if path.is_file()}


def find_faults(run, words, before, after):
    lines = run.stderr.decode(errors="replace").removesuffix("\n").split("\n")
    records = {value for option, value in zip(words, words[1:]) if option in (b"--trace", b"--log")}
    records |= {word.split(b"=", 1)[1] for word in words if word.startswith((b"--trace=", b"--log="))}
    if run.returncode not in (0, 1, 2):
        yield f"exit status {run.returncode}"
    for name, data in before.items():
        if after.get(name) != data and (run.returncode != 0 or not any(word.endswith(name) for word in words)):
            yield f"{name} was changed"
    if run.returncode in (1, 2):
        made = set(after) - set(before) - (records if run.returncode == 1 else set())
        if made:
            yield f"made {made}"
        if not any(line.startswith("nuvra-cl: ") for line in lines):
            yield "no message"
        if max(map(len, lines)) > 500:
            yield "a line is too long"
        reports = any(word.startswith((b"--log", b"--call", b"--leak", b"--trace")) for word in words) or b"crc32c" in words
        if len(lines) > 1 and not (run.returncode == 1 and (reports or "CL_BUILD_PROGRAM_FAILURE" in lines[0])):
            yield "more than a line"
    if run.returncode == 2 and run.stdout:
        yield "standard output"


def attack(options, worker):
    statuses, broken = collections.Counter(), collections.Counter()
    end = time.monotonic() + 60 * options.minutes
    with tempfile.TemporaryDirectory(prefix="nuvra-attack-") as place:
        inputs, folder = pathlib.Path(place, "inputs"), pathlib.Path(place, "run")
        make_inputs(options.program, inputs)
        before = read_files(inputs)
        for number in range(options.first + worker, options.first + options.count, options.workers):
            if time.monotonic() > end:
                break
            shutil.copytree(inputs, folder)
            words = make_arguments(random.Random(f"{options.seed} {number}"))
            try:
                run = subprocess.run([options.program, *words], cwd=folder, stdin=subprocess.DEVNULL,
                                     capture_output=True, timeout=options.limit)
                faults = list(find_faults(run, words, before, read_files(folder)))
                statuses[run.returncode] += 1
            except subprocess.TimeoutExpired as error:
                run, faults = error, ["it did not end"]
                statuses["none"] += 1
            for fault in faults:
                print(f"run {number}: {fault}\n    {words}\n    {(run.stderr or b'')[:300]}", flush=True)
            broken.update(faults)
            shutil.rmtree(folder)
    return statuses, broken


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program", type=os.path.abspath)
    for name, value in (("count", 1000), ("minutes", 600), ("first", 0), ("seed", 1), ("workers", 2), ("limit", 60)):
        parser.add_argument("--" + name, type=int, default=value, help=f"({value})")
    options = parser.parse_args()
    with concurrent.futures.ThreadPoolExecutor(options.workers) as pool:
        results = list(pool.map(lambda worker: attack(options, worker), range(options.workers)))
    statuses, broken = (sum(counters, collections.Counter()) for counters in zip(*results))
    print(f"{sum(statuses.values())} runs, by exit status {dict(statuses)}; broken promises: {dict(broken)}")
    return 1 if broken else 0


if __name__ == "__main__":
    sys.exit(main())
