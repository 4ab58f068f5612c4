"""Running programs and reading what they took."""

from __future__ import annotations

import json
import os
import re
import shlex
import subprocess
import tempfile
import time
from collections.abc import Callable, Mapping, Sequence
from pathlib import Path
from typing import Protocol

from kit.wine import Wine

# What one run gave: times in seconds, memory in MiB, by name.
Sample = dict[str, float]

_PATIENCE = 300


class Side(Protocol):
    """One of those that are compared."""

    def sample(self) -> Sample:
        """Runs it once."""

    def peak(self) -> float | None:
        """Runs it once and returns the most memory that it had at a time, if that can be told."""


def nothing() -> None:
    """The preparation of a run that needs none."""


class Command:
    """A command, timed from its start to its end with hyperfine: "wall" and "cpu"."""

    def __init__(self, environment: Mapping[str, str], *command: str | Path,
                 prepare: Callable[[], None] = nothing) -> None:
        self._environment = environment
        self._command = [str(part) for part in command]
        self._prepare = prepare

    def sample(self) -> Sample:
        self._prepare()
        with tempfile.NamedTemporaryFile() as report:
            self._run("hyperfine", "--shell=none", "--style=none", "--runs=1", f"--export-json={report.name}",
                      shlex.join(self._command))
            result = json.load(report)["results"][0]
        return {"wall": result["times"][0], "cpu": result["user"] + result["system"]}

    def peak(self) -> float:
        self._prepare()
        with tempfile.NamedTemporaryFile("r") as report:
            self._run("/usr/bin/time", "-v", "-o", report.name, *self._command)
            return _kibibytes(r"Maximum resident set size \(kbytes\)", report.read()) / 1024

    def _run(self, *command: str) -> str:
        result = subprocess.run(command, env=self._environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.DEVNULL, timeout=_PATIENCE)
        if result.returncode != 0:
            raise RuntimeError(f"{shlex.join(command)} ended with {result.returncode}")
        return result.stdout.decode()


class Step(Command):
    """One step of the updater's window, which tells itself how long it took: "wall" and "stall"."""

    def sample(self) -> Sample:
        self._prepare()
        report = json.loads(self._run(*self._command))
        return {"wall": report["seconds"], "stall": report["stall"]}


class CountedStep(Step):
    """The same for the number of system calls of the whole run, start included: "calls"."""

    def sample(self) -> Sample:
        self._prepare()
        with tempfile.NamedTemporaryFile("r") as report:
            self._run("strace", "-f", "-c", "-U", "calls,name", "-o", report.name, *self._command)
            return {"calls": int(report.read().split()[-2])}


class WindowsStep:
    """One step of the window of the Windows program, which tells itself how long it took: "wall" and "stall"."""

    def __init__(self, wine: Wine, program: Path, *arguments: str, prepare: Callable[[], None]) -> None:
        self._wine = wine
        self._program = program
        self._arguments = arguments
        self._prepare = prepare

    def sample(self) -> Sample:
        self._prepare()
        with tempfile.NamedTemporaryFile("r") as output:
            process = self._wine.start(self._program, *self._arguments, output=Path(output.name))
            if process.wait(_PATIENCE) != 0:
                raise RuntimeError(f"{self._program} {shlex.join(self._arguments)} ended with {process.returncode}")
            # The lines of the debug log are there as well.
            report = next(json.loads(line) for line in output if line.startswith('{"seconds"'))
        return {"wall": report["seconds"], "stall": report["stall"]}

    def peak(self) -> None:
        """Is not told: what is Wine's and what the program's would not be known."""
        self.sample()


class Function(Command):
    """A function under Google Benchmark: the time of one call, "cpu"."""

    def __init__(self, environment: Mapping[str, str], program: Path, name: str, seconds: float) -> None:
        super().__init__(environment, program, f"--benchmark_filter=^{name}$", "--benchmark_format=json",
                         f"--benchmark_min_time={seconds}")

    def sample(self) -> Sample:
        (result,) = json.loads(self._run(*self._command))["benchmarks"]
        if result.get("error_occurred"):
            raise RuntimeError(f"{result['name']}: {result['error_message']}")
        return {"cpu": result["cpu_time"] * 1e-9}


class Started:
    """A program that does not end by itself, from its start until something has happened: "wall", "cpu", "memory"."""

    def __init__(self, environment: Mapping[str, str], command: Sequence[str | Path], until: Callable[[], None],
                 prepare: Callable[[], None] = nothing) -> None:
        self._environment = environment
        self._command = command
        self._until = until
        self._prepare = prepare

    def sample(self) -> Sample:
        self._prepare()
        begin = time.perf_counter()
        with subprocess.Popen(self._command, env=self._environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as process:
            try:
                self._until()
                wall = time.perf_counter() - begin
                memory = _kibibytes("VmHWM", Path(f"/proc/{process.pid}/status").read_text()) / 1024
            finally:
                process.terminate()
                usage = os.wait4(process.pid, 0)[2]
                process.returncode = 0
        return {"wall": wall, "cpu": usage.ru_utime + usage.ru_stime, "memory": memory}

    def peak(self) -> float:
        return self.sample()["memory"]


def _kibibytes(name: str, text: str) -> int:
    found = re.search(name + r":\s*(\d+)", text)
    if found is None:
        raise RuntimeError(f"no {name} to be read")
    return int(found[1])
