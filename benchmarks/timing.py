"""Times calls side by side in one process; ratios of such times hold on a busy machine too."""

import gc
from collections.abc import Callable, Mapping
from dataclasses import dataclass
from itertools import repeat
from random import Random
from statistics import median
from time import perf_counter

Call = Callable[[], object]

# Seconds; a sample repeats a short call until it takes at least this long.
MIN_SAMPLE = 0.005
QUICK = 1  # a call that takes this many seconds or more needs no warm caches


@dataclass(frozen=True)
class Measurement:
    """Seconds per call of each side, one figure for each round."""

    seconds: Mapping[str, list[float]]  # the garbage collector on, as users run it
    seconds_without_collector: Mapping[str, list[float]] | None = None

    def ratios(
        self, numerator: str, denominator: str, *, subtract: str | None = None
    ) -> dict[str, float | None]:
        """The ratio fields of a row; ``subtract`` names a side that the numerator includes."""
        off = self.seconds_without_collector
        return {
            "ratio": _median_ratio(self.seconds, numerator, denominator, subtract),
            "collector_off": _median_ratio(off, numerator, denominator, subtract) if off else None,
        }


def measure(*, duration: float = 2.0, min_rounds: int = 5, **sides: Call) -> Measurement:
    """Times each side once per round, in random order, for about ``duration`` seconds."""
    loops = {side: _calibrate(call) for side, call in sides.items()}
    quick = {side for side, call in sides.items() if _time(call, 1, collector=True) < QUICK}
    seconds: dict[bool, dict[str, list[float]]] = {
        collector: {side: [] for side in sides} for collector in (True, False)
    }
    samples = [(side, collector) for side in sorted(sides) for collector in seconds]
    order = Random(10)
    end = perf_counter() + duration
    rounds = 0
    while rounds < min_rounds or perf_counter() < end:
        rounds += 1
        for side, collector in order.sample(samples, len(samples)):
            if side in quick:
                sides[side]()  # not timed, as the other side has left its own data in the caches
            sample = _time(sides[side], loops[side], collector=collector)
            seconds[collector][side].append(sample)
    return Measurement(seconds[True], seconds[False])


def _calibrate(call: Call) -> int:
    loops = 1
    # The least of three: any one can be interrupted, and would then seem long enough.
    while (
        seconds := loops * min(_time(call, loops, collector=True) for _ in range(3))
    ) < MIN_SAMPLE:
        loops = max(loops + 1, min(loops * 10, int(loops * MIN_SAMPLE / seconds)))
    return loops


def _time(call: Call, loops: int, *, collector: bool) -> float:
    result = None
    if not collector:
        gc.disable()
    begin = perf_counter()
    for _ in repeat(None, loops):
        result = call()
    seconds = perf_counter() - begin
    gc.enable()
    del result  # freed after the clock has stopped
    return seconds / loops


def _median_ratio(
    seconds: Mapping[str, list[float]], numerator: str, denominator: str, subtract: str | None
) -> float:
    subtracted = seconds[subtract] if subtract else repeat(0.0)
    rounds = zip(seconds[numerator], subtracted, seconds[denominator], strict=False)
    return median((above - less) / below for above, less, below in rounds)
