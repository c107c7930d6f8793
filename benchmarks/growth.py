"""How the time grows with the input, as a plot."""

from collections.abc import Callable, Sequence
from functools import partial
from pathlib import Path

import matplotlib as mpl
import plain_python
from inputs import SPARSE_HUNK, file_changes, patch
from matplotlib.axes import Axes
from matplotlib.figure import Figure
from timing import Stopwatch

from orvel_tarnix.utils import git_utils

CHARACTERS = [1_000_000, 4_000_000, 16_000_000, 64_000_000, 200_000_000]
FILES = [1_000, 10_000, 100_000, 1_000_000]


def plot(watch: Stopwatch, file: Path) -> str:
    """Draws the time a character and the time a file, and says how far they rise."""
    # The same picture is to be the same file.
    mpl.rcParams |= {"svg.hashsalt": "speed", "svg.fonttype": "none", "font.size": 9}
    figure = Figure(figsize=(8, 3), layout="constrained")
    left, right = figure.subplots(1, 2)
    patches = partial(patch, lines_a_hunk=SPARSE_HUNK)
    said = _curve(watch, left, "parse_line_spans", CHARACTERS, patches, "character")
    said += _curve(watch, right, "parse_file_changes", FILES, file_changes, "file")
    figure.savefig(file, format="svg", metadata={"Date": None})
    return said


def _curve(
    watch: Stopwatch,
    axes: Axes,
    function: str,
    sizes: Sequence[int],
    text_of: Callable[[int], str],
    unit: str,
) -> str:
    curves: dict[str, list[float]] = {"native": [], "plain": []}
    for size in sizes:
        text = text_of(size)
        race = watch.race(
            f"growth of {function}, {size:,} {unit}s",
            seconds=1,
            native=partial(getattr(git_utils, function), text),
            plain=partial(getattr(plain_python, function), text),
        )
        for side, curve in curves.items():
            curve.append(min(race.times[side]) / size)
    first = curves["plain"][0]
    for side, label in (("plain", "plain Python"), ("native", "git_utils")):
        axes.plot(sizes, [each / first for each in curves[side]], marker="o", label=label)
    axes.set(
        xscale="log",
        yscale="log",
        xlabel=f"{unit}s",
        title=f"{function}: time a {unit}\n(plain Python with {sizes[0]:,} = 1)",
    )
    axes.grid(alpha=0.3)
    axes.legend()
    ours, plain = (curve[-1] / curve[0] for curve in curves.values())
    return (
        f"Time a {unit}, {sizes[-1]:,} against {sizes[0]:,} {unit}s: "
        f"{ours:.2f} times, plain Python {plain:.2f} times.\n"
    )
