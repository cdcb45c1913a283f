"""The program beside others that do the same job, file to file: medians of turns, and the most memory.

    programs.py NUVRA_CL FOLDER    FOLDER receives the files, 1.3 GB
"""

import os
import statistics
import subprocess
import sys
import time
from pathlib import Path

PICTURES = {"TIFF": ("tif", "uint8"), "PNG": ("png", "uint8"), "half EXR": ("exr", "half")}
JOBS = {
    "invert": (["invert"], ["--invert"]),
    "gamma": (["gamma", "--gamma", "2.2"], ["--powc", "2.2"]),
    "scale": (["scale", "--factor", "0.5"], ["--resize", "2000x1500"]),
}
TURNS = 7


def run(command):
    """Seconds and MiB of one run."""
    start = time.monotonic()
    child = subprocess.Popen(command, stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(child.pid, 0)
    if status != 0:
        sys.exit(f"failed: {' '.join(map(str, command))}")
    return time.monotonic() - start, usage.ru_maxrss / 1024


def compare(name, ours, others):
    turns = [(run(ours), run(others)) for _ in range(TURNS)]
    (our_time, our_memory), (time_, memory) = [
        [statistics.median(turn[side][value] for turn in turns) for value in (0, 1)] for side in (0, 1)
    ]
    print(f"{name:<40}{our_time * 1000:9.1f} ms{our_memory:7.0f} MiB{time_ * 1000:9.1f} ms{memory:7.0f} MiB"
          f"{our_time / time_:8.2f}")


program, folder = Path(sys.argv[1]).resolve(), Path(sys.argv[2])
folder.mkdir(exist_ok=True)
os.chdir(folder)
print(f"\n{'The program, other programs':<40}{'ours':>12}{'':>11}{'theirs':>12}{'':>11}{'ratio':>8}")
compare("nothing: --version, true", [program, "--version"], ["true"])
compare("devices, clinfo -l", [program, "devices"], ["clinfo", "-l"])
with open("large", "wb") as file:
    piece = os.urandom(1 << 26)
    for _ in range(16):
        file.write(piece)
compare("CRC-32C of 1 GiB, reading it", [program, "crc32c", "large"], ["dd", "if=large", "of=/dev/null", "bs=4M", "status=none"])
os.remove("large")
for kind, (extension, pixels) in PICTURES.items():
    picture = f"in.{extension}"
    subprocess.run(["oiiotool", "--pattern", "fill:top=0.1,0.4,0.8:bottom=0.9,0.5,0.1", "4000x3000", "3",
                    "--noise:type=gaussian:stddev=0.02", "-d", pixels, "-o", picture], check=True)
    for job, (our_options, options) in JOBS.items():
        compare(f"{job} a {kind} of 12 megapixels, oiiotool",
                [program, our_options[0], picture, f"ours.{extension}", *our_options[1:]],
                ["oiiotool", picture, *options, "-o", f"theirs.{extension}"])
