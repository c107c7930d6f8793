"""Timing calls beside each other, for ratios that hold on a busy machine."""

import gc
from collections.abc import Callable, Mapping
from dataclasses import dataclass
from itertools import repeat
from pathlib import Path
from random import Random
from statistics import median

import pyperf

Call = Callable[[], object]

# A sample is of so many calls that it takes at least this long.
SHORTEST_SAMPLE = 0.005


@dataclass(frozen=True)
class Race:
    """The seconds that each side took, round by round: as users run it, and without collector."""

    times: Mapping[str, list[float]]
    without_collector: Mapping[str, list[float]] | None = None

    def figures(
        self, above: str, below: str, *, without: str | None = None
    ) -> dict[str, float | None]:
        """The ratio of a row, `above / below`, from `above` taken what `without` took."""
        off = self.without_collector
        return {
            "ratio": _median_ratio(self.times, above, below, without),
            "collector_off": _median_ratio(off, above, below, without) if off else None,
        }


class Stopwatch:
    """Runs races and keeps all their times."""

    def __init__(self) -> None:
        self._benchmarks: list[pyperf.Benchmark] = []

    def race(self, name: str, seconds: float = 2.0, least_rounds: int = 5, **sides: Call) -> Race:
        """Lets the sides take turns for about so long, in every round in another order."""
        # What the benchmarks themselves hold is not for the collector to walk meanwhile.
        gc.collect()
        gc.freeze()
        loops = {side: _calibrate(call) for side, call in sides.items()}
        times: dict[bool, dict[str, list[float]]] = {
            collector: {side: [] for side in sides} for collector in (True, False)
        }
        runs = [(side, collector) for side in sorted(sides) for collector in times]
        order = Random(10)
        end = pyperf.perf_counter() + seconds
        rounds = 0
        while rounds < least_rounds or pyperf.perf_counter() < end:
            rounds += 1
            for side, collector in order.sample(runs, len(runs)):
                times[collector][side].append(_time(sides[side], loops[side], collector=collector))
        gc.unfreeze()
        self.keep(f"{name}, collector off", times[False])
        return Race(self.keep(name, times[True]).times, times[False])

    def keep(self, name: str, times: Mapping[str, list[float]]) -> Race:
        """Takes up a race whose sides took their own times, with the collector on."""
        for side, values in times.items():
            metadata = {"name": f"{name}: {side}"}
            run = pyperf.Run(values, metadata=metadata, collect_metadata=False)
            self._benchmarks.append(pyperf.Benchmark([run]))
        return Race(times)

    def dump(self, file: Path) -> None:
        """Writes all times, for `python -m pyperf stats` and its like."""
        pyperf.BenchmarkSuite(self._benchmarks).dump(str(file), replace=True)


def _calibrate(call: Call) -> int:
    loops = 1
    while (seconds := _time(call, loops, collector=True) * loops) < SHORTEST_SAMPLE:
        loops = max(loops + 1, min(loops * 10, int(loops * SHORTEST_SAMPLE / seconds)))
    return loops


def _time(call: Call, loops: int, *, collector: bool) -> float:
    kept = None
    if not collector:
        gc.disable()
    begin = pyperf.perf_counter()
    for _ in repeat(None, loops):
        kept = call()
    seconds = pyperf.perf_counter() - begin
    gc.enable()
    # Only here: to free the last result is no part of the call.
    del kept
    return seconds / loops


def _median_ratio(
    times: Mapping[str, list[float]], above: str, below: str, without: str | None
) -> float:
    spared = times[without] if without else repeat(0.0)
    rounds = zip(times[above], spared, times[below], strict=False)
    return median((time - spare) / other for time, spare, other in rounds)
