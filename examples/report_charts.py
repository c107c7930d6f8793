"""The pictures of the page, as SVG that stretches to the width it is given."""

from collections.abc import Iterator, Sequence
from contextlib import suppress
from datetime import datetime, timedelta

from branch_facts import size
from report_text import MOST_SPANS, counted, span_text

from orvel_tarnix.utils.git_utils import CommitChanges, FileChange, LineSpan

# The width of every picture in its own units, and the least that can be seen of a mark.
WIDTH = 1000
LEAST = 3

MOST_BARS = 60
WIDEST = 40
STEPS = {
    "hour": timedelta(hours=1),
    "day": timedelta(days=1),
    "week": timedelta(weeks=1),
    "four weeks": timedelta(weeks=4),
    "year": timedelta(weeks=52),
}


def size_bar(file: FileChange, largest: int) -> str:
    """The added and the deleted lines of a file, beside the largest change."""
    bar, start = [], 0.0
    for kind, lines in (("added", file.additions), ("deleted", file.deletions)):
        if lines:
            width = max(WIDTH * lines / largest, LEAST)
            bar.append(_mark(kind, start, width))
            start += width
    return _picture("size", 10, f"{counted(size(file), 'line')} changed", bar)


def span_strip(spans: Sequence[LineSpan], length: int) -> str:
    """Where in a file of ``length`` lines the touched lines lie, its first line at the left."""
    strip = []
    drawn = {True: -1, False: -1}  # how far the last mark of each kind reaches
    for span in spans:
        start = int(WIDTH * (span.start - 1) / length)
        end = max(int(WIDTH * span.end / length), start + LEAST)
        if end > drawn[span.added]:
            start = max(start, drawn[span.added])
            kind = "fresh" if span.added else "touched"
            strip.append(_mark(kind, start, end - start))
            drawn[span.added] = end
    shown = ", ".join(map(span_text, spans[:MOST_SPANS]))
    shown += " \N{HORIZONTAL ELLIPSIS}" * (len(spans) > MOST_SPANS)
    return _picture("strip", 10, f"lines {shown} of {length}", strip)


def commit_chart(commits: Sequence[CommitChanges], start: datetime) -> Iterator[str]:
    """Bars of how many commits each hour, day, week ... of the period holds."""
    times = []
    for commit in commits:
        with suppress(ValueError, OverflowError, OSError):  # a time that no calendar has
            times.append(datetime.fromtimestamp(commit.timestamp))
    # Neither the time before a young repository nor a long quiet up to now fills the picture.
    now = datetime.now()
    first, last = min([*times, now]), max([*times, start])
    start = max(start, first - max((last - first) / 4, STEPS["day"]))
    end = max(min(now, last + max(last - start, STEPS["day"])), last)
    unit = next((name for name in STEPS if (end - start) / STEPS[name] < MOST_BARS), "year")
    step = STEPS[unit]
    start = start.replace(minute=0, second=0, microsecond=0)
    if step >= STEPS["day"]:
        start = start.replace(hour=0)
    counts = [0] * ((end - start) // step + 1)
    for time in times:
        counts[max(time - start, timedelta()) // step] += 1
    yield "<figure>"
    yield f"<p class=top>{counted(max(counts), 'commit')} in the busiest {unit}</p>"
    yield _bars(counts, start, step)
    yield f"<p class=axis><span>{start:%d %b %Y}</span><span>{end:%d %b %Y}</span></p>"
    yield "</figure>"


def _bars(counts: Sequence[int], start: datetime, step: timedelta) -> str:
    height, room = 120, WIDTH / len(counts)
    wide = min(0.8 * room, WIDEST)
    label = "%d %b %Y %H:%M" if step < STEPS["day"] else "%d %b %Y"
    bars = []
    for number, count in enumerate(counts):
        tall = height * count / max(1, *counts)
        tip = f"{start + number * step:{label}}: {counted(count, 'commit')}"
        bars.append(
            f'<g><title>{tip}</title><rect class=hit x="{number * room:.2f}" y="0" '
            f'width="{room:.2f}" height="{height}"/><rect class=commits '
            f'x="{(number + 0.5) * room - wide / 2:.2f}" y="{height - tall:.2f}" '
            f'width="{wide:.2f}" height="{tall:.2f}"/></g>'
        )
    return _picture("chart", height, f"{counted(sum(counts), 'commit')} over time", bars)


def _mark(kind: str, start: float, width: float) -> str:
    return f'<rect class={kind} x="{start:.2f}" width="{width:.2f}" height="10"/>'


def _picture(kind: str, height: int, words: str, marks: Sequence[str]) -> str:
    return (
        f'<svg class={kind} viewBox="0 0 {WIDTH} {height}" preserveAspectRatio="none" role="img" '
        f'aria-label="{words}"><title>{words}</title>{"".join(marks)}</svg>'
    )
