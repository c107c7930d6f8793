"""The geometry of the page's pictures, in percent of their width and height."""

import math
from collections import Counter
from collections.abc import Sequence
from dataclasses import dataclass
from datetime import datetime, timedelta

from report.facts import Commit, Period, local_time

from orvel_tarnix.utils.git_utils import LineSpan

# Smallest visible width, in percent, and smallest height and largest width of a bar.
MIN_WIDTH = 0.3
MIN_BAR_HEIGHT = 2
MAX_BAR_WIDTH = 8

MAX_BARS = 60
STEPS = {
    "hour": timedelta(hours=1),
    "six hours": timedelta(hours=6),
    "day": timedelta(days=1),
    "week": timedelta(weeks=1),
    "four weeks": timedelta(weeks=4),
    "13 weeks": timedelta(weeks=13),
    "year": timedelta(days=365),
    "ten years": timedelta(days=3650),
    "century": timedelta(days=36500),
}


@dataclass(frozen=True)
class Mark:
    """A piece of a strip or a bar of the chart: where it begins, how wide and how tall it is."""

    left: float
    width: float
    height: float = 100


@dataclass(frozen=True)
class Bar:
    """How many commits one step of the chart holds, and the mark that shows it."""

    start: str
    count: int
    mark: Mark


@dataclass(frozen=True)
class Chart:
    """Commits over time: only the steps that hold any."""

    unit: str
    most: int
    bars: list[Bar]
    ticks: list[str]  # what the left end, the middle and the right end of the axis stand for


def commit_chart(commits: Sequence[Commit], period: Period | None) -> Chart | None:
    """How many commits each hour, day, week ... holds, from end to end of the period.

    Without a period it is from the first commit to the last. There is no chart without a commit
    whose time datetime can represent.
    """
    times = [time for commit in commits if (time := local_time(commit.timestamp))]
    if not times:
        return None
    ends = [*times, period.start, period.end] if period else times
    start, end = min(ends), max(ends)
    unit = next((name for name in STEPS if (end - start) / STEPS[name] < MAX_BARS), "century")
    step = STEPS[unit]
    start = start.replace(minute=0, second=0, microsecond=0)
    if step >= STEPS["day"]:
        start = start.replace(hour=0)
    # Whole steps only: the last one may reach beyond the end, but not beyond the calendar's.
    last = max(math.ceil((end - start) / step), 1) - 1
    length = min((last + 1) * step, datetime.max - start)
    counts = Counter(min((time - start) // step, last) for time in times)
    label = "%d %b %Y %H:%M" if step < STEPS["day"] else "%d %b %Y"
    most = max(counts.values())
    bars = [
        Bar(
            f"{start + number * step:{label}}",
            count,
            _bar(number * step / length, min((number + 1) * step / length, 1), count / most),
        )
        for number, count in sorted(counts.items())
    ]
    ticks = [f"{start + share * length:{label}}" for share in (0, 0.5, 1)]
    return Chart(unit, most, bars, ticks)


def span_marks(spans: Sequence[LineSpan], length: int) -> list[tuple[bool, Mark]]:
    """Where in a file of ``length`` lines the spans lie, and whether all of their lines are new."""
    marks = []
    drawn = {True: -1.0, False: -1.0}  # how far the last mark of each kind reaches
    for span in spans:
        start = 100 * (span.start - 1) / length
        end = min(max(100 * span.end / length, start + MIN_WIDTH), 100)
        if end > drawn[span.added]:
            start = max(min(start, 100 - MIN_WIDTH), drawn[span.added])
            marks.append((span.added, Mark(start, end - start)))
            drawn[span.added] = end
    return marks


def _bar(left: float, right: float, tall: float) -> Mark:
    room = 100 * (right - left)
    wide = max(min(0.8 * room, MAX_BAR_WIDTH), MIN_WIDTH)
    height = max(100 * tall, MIN_BAR_HEIGHT)
    return Mark(min(100 * left + max(room - wide, 0) / 2, 100 - wide), wide, height)
