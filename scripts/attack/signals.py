#!/usr/bin/env python3
"""Ends many runs of nuvra-cl by a random signal at a random moment, and looks at what each leaves behind.

    scripts/attack/signals.py [--program FILE] [--runs N] [--seed S]

Every output must be the old file, the whole new one or, where there was none, none; it keeps its permissions. A
temporary file may stay after SIGKILL alone. A trace is JSON where the run ended or was interrupted, and ends with
a whole record where it was killed. The exit status is 0 when all of that holds, and 1 otherwise.
"""
import argparse
import collections
import json
import os
import pathlib
import random
import shutil
import signal
import stat
import subprocess
import sys
import tempfile
import time

SIGNALS = (signal.SIGKILL, signal.SIGTERM, signal.SIGINT, signal.SIGPIPE, signal.SIGHUP)
COMMANDS = {  # with the name of the output, which is the last argument
    "invert": ("invert", "in.png", "out.png"),
    "scale": ("scale", "in.png", "--factor", "1.5", "out.png"),
    "chart": ("chart", "--size", "1500x1000", "out.png"),
    "prefixsum": ("prefixsum", "words", "out"),
    "clear": ("clear", "--size", "40M", "--value", "9", "out"),
}
OLD = b"what was there before"
PERMISSIONS = 0o640
TIME_LIMIT = 120  # seconds


class Run:
    """One run in a folder of its own."""

    def __init__(self, program, inputs, name, rng):
        self.program = program
        self.name = name
        self.output = COMMANDS[name][-1]
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="nuvra-attack-"))
        for file in inputs:
            os.link(file, self.folder / file.name)
        self.has_old = rng.random() < 0.5
        if self.has_old:
            (self.folder / self.output).write_bytes(OLD)
            (self.folder / self.output).chmod(PERMISSIONS)
        self.before = {entry.name for entry in self.folder.iterdir()}

    def execute(self, is_traced, sent=None, delay=0.0):
        """Returns how long it took, and keeps the exit status, negative for a signal, and what was said."""
        options = ("--trace", "t.json") if is_traced else ()
        begin = time.monotonic()
        # A shell that runs this in the background may have had SIGINT ignored.
        process = subprocess.Popen([self.program, *options, *COMMANDS[self.name]], cwd=self.folder,
                                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                                   preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))
        if sent is not None:
            time.sleep(delay)
            process.send_signal(sent)
        self.words = process.communicate(timeout=TIME_LIMIT)[1].decode(errors="replace")
        self.status = process.returncode
        return time.monotonic() - begin

    def read_output(self):
        path = self.folder / self.output
        return path.read_bytes() if path.exists() else None

    def find_violations(self, whole, sent, outcomes):
        """What is wrong, and counts what became of the output and the trace."""
        output = self.read_output()
        kept = OLD if self.has_old else None
        if output not in (whole, kept):
            yield f"the output is torn or lost ({output and len(output)} bytes)"
        outcomes["new output" if output == whole else "old output" if self.has_old else "no output"] += 1
        if self.has_old and output and stat.S_IMODE((self.folder / self.output).stat().st_mode) != PERMISSIONS:
            yield "the permissions are others"
        if self.status not in (0, -sent):
            yield f"the exit status is {self.status}"
        if self.status == 0 and output != whole:
            yield "success without the output"
        left = {entry.name for entry in self.folder.iterdir()} - self.before - {self.output, "t.json"}
        outcomes["temporary file left by SIGKILL"] += bool(left) and self.status == -signal.SIGKILL
        if left and self.status != -signal.SIGKILL:
            yield f"there is {', '.join(left)}"
        yield from self.check_trace(outcomes)

    def check_trace(self, outcomes):
        path = self.folder / "t.json"
        text = path.read_text() if path.exists() else ""
        if not text:  # the signal came before the first record, or there was no trace to write
            return
        is_killed = self.status == -signal.SIGKILL
        outcomes["trace of a killed run" if is_killed else "whole trace"] += 1
        try:
            json.loads(text if not is_killed or text.endswith("\n]\n") else text + "]")
        except ValueError as error:
            yield f"the trace is broken: {error}"


def make_inputs(program, folder):
    subprocess.run([program, "chart", "in.png", "--size", "1200x800"], cwd=folder, check=True)
    (folder / "words").write_bytes(random.Random(1).randbytes(8 << 20))
    return [folder / "in.png", folder / "words"]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    root = pathlib.Path(__file__).resolve().parents[2]
    parser.add_argument("--program", type=pathlib.Path, default=root / "build/apps/nuvra-cl/nuvra-cl")
    parser.add_argument("--runs", type=int, default=300)
    parser.add_argument("--seed", type=int, default=1)
    arguments = parser.parse_args()
    rng = random.Random(arguments.seed)
    program = str(arguments.program.resolve())
    outcomes, violations = collections.Counter(), 0
    with tempfile.TemporaryDirectory(prefix="nuvra-attack-") as folder:
        inputs = make_inputs(program, pathlib.Path(folder))
        whole, lasting = {}, {}
        for name in COMMANDS:
            run = Run(program, inputs, name, rng)
            run.execute(False)  # the runtime compiles the kernels, and keeps them
            lasting[name] = run.execute(True)
            whole[name] = run.read_output()
            shutil.rmtree(run.folder)
        for number in range(arguments.runs):
            name = rng.choice(sorted(COMMANDS))
            sent = rng.choice(SIGNALS)
            run = Run(program, inputs, name, rng)
            delay = rng.uniform(0, 1.1) * lasting[name]
            run.execute(number % 2 == 0, sent, delay)
            outcomes[f"ended by {sent.name}" if run.status == -sent else "ended before the signal"] += 1
            for violation in run.find_violations(whole[name], sent, outcomes):
                violations += 1
                print(f"run {number}: {name}, {sent.name} after {delay:.3f} s: {violation}; {run.words!r}")
            shutil.rmtree(run.folder)
    for outcome, count in sorted(outcomes.items()):
        print(f"{count:6} {outcome}")
    print(f"{arguments.runs} runs, seed {arguments.seed}: {violations} violations")
    return violations > 0


if __name__ == "__main__":
    sys.exit(main())
