#!/usr/bin/env python3
"""Damages pictures and has nuvra-cl invert each of them.

    scripts/attack/pictures.py build/apps/nuvra-cl/nuvra-cl FOLDER [PICTURE...] [--count N] [--seed N]

FOLDER receives seed pictures in every format that the program can write, and keeps the damaged ones that broke a
promise. Further PICTUREs are seeds too. The promises: the exit status is 0, or 1 with exactly one line of at most 500
bytes on standard error; a failure leaves no output, nothing leaves a temporary file; time and memory are bounded. A
library that dies takes the program with it: that is counted, and is a violation only where it leaves a file or is
not told in one line.
"""
import argparse
import os
import pathlib
import random
import resource
import signal
import struct
import subprocess
import sys
import tempfile
import time

FORMATS = "avif bmp dpx exr fits gif hdr heic ico iff j2k jp2 jpg pgm png ppm rla sgi tga tif webp zfile".split()
EXTREMES = [0, 1, 0x7F, 0x80, 0xFF, 0x7FFF, 0x8000, 0xFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF]
SECONDS = 60  # until a run counts as hung, on a busy machine
REFUSAL_SECONDS = 3  # of a processor: one for the picture, and what the program takes to start
MEBIBYTES = 1536  # resident: a gibibyte for the picture, and what the runtime and its compiler take
ADDRESSES = 16 << 30  # what a run may map, which keeps the machine from harm


def make_seeds(program, folder):
    """Pictures of 61 x 47 pixels, with and without alpha, as the formats take them."""
    base = folder / "base"
    base.mkdir(exist_ok=True)

    def run(*arguments):
        subprocess.run([program, *map(str, arguments), "--quiet"], stderr=subprocess.DEVNULL, check=False)

    run("chart", base / "rgba.png", "--size", "61x47")
    run("sheet", base / "rgb.ppm", base / "rgba.png")
    run("scale", base / "rgb.ppm", base / "rgb.bmp", "--size", "61x47")
    (base / "grey.pgm").write_bytes(b"P5 61 47 255\n" + bytes(i * 7 % 256 for i in range(61 * 47)))
    seeds = []  # chart writes four channels and sheet three; one is a few bytes
    for source in ("rgba.png", "rgb.bmp", "grey.pgm"):
        for extension in FORMATS:
            seed = base / f"{source.split('.')[0]}-seed.{extension}"
            if not seed.exists():
                run("invert", base / source, seed)
            if seed.exists():
                seeds.append(seed)
    return seeds


def damage(data, chance):
    """The bytes with one to four kinds of harm, most of it near the beginning, where the claims are."""
    data = bytearray(data)
    for _ in range(chance.choice((1, 1, 2, 4))):
        if len(data) < 8:
            break
        reach = chance.choice((64, 512, len(data)))
        at = chance.randrange(min(len(data) - 4, reach))
        kind = chance.randrange(4)
        if kind == 0:
            del data[chance.randrange(len(data)) :]
        elif kind == 1:
            for _ in range(chance.randint(1, 16)):
                data[chance.randrange(min(len(data), reach))] ^= 1 << chance.randrange(8)
        elif kind == 2:
            data[at : at + 4] = struct.pack(chance.choice("<>") + "I", chance.choice(EXTREMES))
        else:
            del data[at : at + chance.randint(1, 64)]
    return bytes(data)


def attack(program, name):
    """Runs the program in a folder of its own. The result is (verdict, list of broken promises)."""

    def limit():
        resource.setrlimit(resource.RLIMIT_AS, (ADDRESSES, ADDRESSES))
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

    with tempfile.TemporaryDirectory() as folder:
        errors = pathlib.Path(folder) / "errors"
        begin = time.monotonic()
        with open(errors, "wb") as stream:
            process = subprocess.Popen([program, "invert", name, folder + "/out.tif"], stderr=stream, preexec_fn=limit)
            status, usage = None, None
            while status is None and time.monotonic() - begin < SECONDS:
                ended, code, usage = os.wait4(process.pid, os.WNOHANG)
                status = os.waitstatus_to_exitcode(code) if ended else None
                time.sleep(0.005)
            if status is None:
                os.kill(process.pid, signal.SIGKILL)  # process.kill would reap it, if it has ended meanwhile
                os.wait4(process.pid, 0)
                process.returncode = -9
                return "hung", [f"no end after {SECONDS} s"]
        process.returncode = status
        said = errors.read_bytes()
        left = sorted(set(os.listdir(folder)) - {"errors"})
    lines = said.count(b"\n")
    broken = []
    if status not in (0, 1) and status >= 0:
        broken.append(f"exit status {status}")
    if status != 0 and (lines != 1 or not said.startswith(b"nuvra-cl: ") or len(said) > 501):
        broken.append(f"{lines} lines, {len(said)} bytes on standard error")
    if left != (["out.tif"] if status == 0 else []):
        broken.append(f"left {left}")
    if status == 1 and usage.ru_utime + usage.ru_stime > REFUSAL_SECONDS:
        broken.append(f"{usage.ru_utime + usage.ru_stime:.1f} s")
    if usage.ru_maxrss > MEBIBYTES << 10:
        broken.append(f"{usage.ru_maxrss >> 10} MiB")
    return {0: "inverted", 1: "refused"}.get(status, f"died by signal {-status}"), broken


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program", type=os.path.abspath)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("pictures", nargs="*", type=pathlib.Path)
    parser.add_argument("--count", type=int, default=1260)
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    options.folder.mkdir(parents=True, exist_ok=True)
    chance = random.Random(options.seed)
    seeds = make_seeds(options.program, options.folder) + options.pictures
    counts, violations = {}, 0
    for i in range(options.count):
        seed = seeds[i % len(seeds)]
        damaged = options.folder / f"{i}-{seed.stem}{seed.suffix}"
        damaged.write_bytes(damage(seed.read_bytes(), chance))
        verdict, broken = attack(options.program, str(damaged.absolute()))
        counts[verdict] = counts.get(verdict, 0) + 1
        if broken:
            violations += 1
            print(f"{damaged}: {verdict}: {', '.join(broken)}", flush=True)
        else:
            damaged.unlink()
    print(f"{options.count} damaged files of {len(seeds)} pictures:", ", ".join(f"{n} {v}" for v, n in counts.items()))
    print(f"{violations} broke a promise")
    return 1 if violations else 0


if __name__ == "__main__":
    sys.exit(main())
