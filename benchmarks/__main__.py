"""Measures the updater beside programs and code that do the same work on the same input."""

from __future__ import annotations

import argparse
import json
import os
import shutil
import signal
import sys
import tempfile
from collections.abc import Callable
from contextlib import ExitStack
from dataclasses import asdict, dataclass
from pathlib import Path
from statistics import median

import groups
import packing
import serving
from groups import Figure, Group, Stage, Value
from measuring import Sample

GROUPS = groups.GROUPS | packing.GROUPS | serving.GROUPS

# What the largest group needs, with room to spare.
_SPACE = 7 * 1024**3
_SPACE_QUICK = 256 * 1024**2
_LEAST_TURNS = 5


@dataclass(frozen=True)
class Result:
    """A figure as measured. Values that could not be measured are None."""

    name: str
    ours: float | None
    peer: float | None
    unit: str
    # The median of the turns' ratios, which need not be the ratio of the medians.
    ratio: float | None
    target: float | None


@dataclass(frozen=True)
class Row:
    """A line of the table."""

    result: Result
    # The lowest and the highest ratio of a turn.
    spread: tuple[float, float] | None
    # Peak memory of ours and of the peer in MiB.
    memory: tuple[float | None, float | None]


def parse_options() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="./bench", description=__doc__)
    parser.add_argument("figures", nargs="*", metavar="FIGURE")
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--json", action="store_true")
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--turns", type=int, default=_LEAST_TURNS)
    parser.add_argument("--folder", type=Path)
    options = parser.parse_args()
    if options.turns < _LEAST_TURNS:
        parser.error(f"fewer than {_LEAST_TURNS} turns say too little")
    for beginning in options.figures:
        if not any(name.startswith(beginning) for names in GROUPS.values() for name in names):
            parser.error(f"no figure begins with {beginning!r}; --list tells which there are")
    return options


def say(text: str) -> None:
    print(text, file=sys.stderr, flush=True)


def choose_folder(options: argparse.Namespace) -> Path:
    """The first folder with enough space. In memory no disk is measured."""
    needed = _SPACE_QUICK if options.quick else _SPACE
    memory = os.sysconf("SC_AVPHYS_PAGES") * os.sysconf("SC_PAGE_SIZE")
    folders = [options.folder] if options.folder else [Path("/dev/shm"), Path(tempfile.gettempdir())]
    for folder in folders:
        if folder == Path("/dev/shm") and (not os.access(folder, os.W_OK) or memory < 2 * needed):
            continue
        if shutil.disk_usage(folder).free >= needed:
            return folder
    raise SystemExit(f"bench: {needed // 1024**2} MiB of free space are needed in {' or '.join(map(str, folders))}")


def values(figure: Figure, samples: dict[str, list[Sample]], which: Value | float, scale: float) -> list[float]:
    if isinstance(which, float):
        return [which] * len(samples[figure.ours[0]])
    side, value, *other = which
    numbers = [sample[value] * scale for sample in samples[side] if value in sample]
    return [number / sample[value] for number, sample in zip(numbers, samples[other[0]])] if other else numbers


def middle(numbers: list[float]) -> float | None:
    return median(numbers) if numbers else None


def row_of(figure: Figure, samples: dict[str, list[Sample]], peaks: dict[str, float | None]) -> Row:
    ours = values(figure, samples, figure.ours, figure.scale[0])
    peer = values(figure, samples, figure.peer, figure.scale[1])
    ratios = [a / b for a, b in zip(ours, peer)]
    peer_peak = None if isinstance(figure.peer, float) else peaks[figure.peer[0]]
    return Row(Result(figure.name, middle(ours), middle(peer), figure.unit, middle(ratios), figure.target),
               (min(ratios), max(ratios)) if ratios else None, (peaks[figure.ours[0]], peer_peak))


def measure(make: Callable[[Stage], Group], folder: Path, turns: int, is_quick: bool) -> list[Row]:
    say(f"== {', '.join(GROUPS[make])}")
    with ExitStack() as resources:
        resources.callback(shutil.rmtree, folder)
        group = make(Stage(folder, is_quick, resources))
        if [figure.name for figure in group.figures] != GROUPS[make]:
            raise RuntimeError(f"{make.__name__} has other figures than are listed")
        # Goes first, since it also brings all programs and inputs into memory.
        peaks = {side: program.peak() for side, program in group.sides.items()}
        samples: dict[str, list[Sample]] = {side: [] for side in group.sides}
        for turn in range(turns):
            sides = list(group.sides)
            for side in sides if turn % 2 == 0 else reversed(sides):
                samples[side].append(group.sides[side].sample())
        return [row_of(figure, samples, peaks) for figure in group.figures]


def verdict(result: Result, is_quick: bool) -> str:
    if is_quick or result.target is None or result.ratio is None:
        return ""
    return "met" if result.ratio <= result.target else "MISSED"


def table(rows: list[Row], is_quick: bool) -> list[str]:
    """The table's lines, the first of them its head."""
    def number(value: float | None, unit: str = "") -> str:
        return "-" if value is None else f"{value:.4g} {unit}".rstrip()

    def memory(value: float | None) -> str:
        return "-" if value is None else f"{value:.0f}"

    head = ("figure", "ours", "peer", "ratio", "spread", "target", "", "peak MiB, ours", "peer")
    lines = [head]
    for row in rows:
        result = row.result
        spread = "-" if row.spread is None else f"{row.spread[0]:.2f} to {row.spread[1]:.2f}"
        ratio = "-" if result.ratio is None else f"{result.ratio:.2f}"
        target = "-" if result.target is None else f"{result.target:.2f}"
        lines.append((result.name, number(result.ours, result.unit), number(result.peer, result.unit), ratio, spread,
                      target, verdict(result, is_quick), memory(row.memory[0]), memory(row.memory[1])))
    widths = [max(len(line[column]) for line in lines) for column in range(len(head))]
    return ["  ".join(text.ljust(width) for text, width in zip(line, widths)).rstrip() for line in lines]


def main() -> None:
    options = parse_options()
    # So that the inputs are removed then, too.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(128 + signal.SIGTERM))
    if options.list:
        print("\n".join(name for names in GROUPS.values() for name in names))
        return

    def is_wanted(name: str) -> bool:
        return not options.figures or any(map(name.startswith, options.figures))

    turns = 1 if options.quick else options.turns
    rows: list[Row] = []
    with tempfile.TemporaryDirectory(prefix="freshen-bench-", dir=choose_folder(options)) as folder:
        for make, names in GROUPS.items():
            if any(map(is_wanted, names)):
                rows += measure(make, Path(folder, make.__name__), turns, options.quick)
                say("\n".join(table(rows[-len(names):], options.quick)[1:]))
    rows = [row for row in rows if is_wanted(row.result.name)]
    if options.json:
        print(json.dumps({"results": [asdict(row.result) for row in rows]}, indent=2))
    else:
        print("\n".join(table(rows, options.quick)))


if __name__ == "__main__":
    main()
