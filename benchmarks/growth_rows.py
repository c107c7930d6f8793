"""Whether time per unit of input stays the same as the input grows."""

from collections.abc import Iterator
from functools import partial

import plain_python
from inputs import SPARSE_HUNK, file_changes, patch
from table import Ratio, Row
from timing import measure

from orvel_tarnix.utils import git_utils

# Function, unit, a small and a large input, what makes an input of that size.
CASES = [
    ("parse_line_spans", "character", (1_000_000, 64_000_000), partial(patch, lines=SPARSE_HUNK)),
    ("parse_file_changes", "file", (1_000, 1_000_000), file_changes),
]


def growth_rows() -> Iterator[Row]:
    """The time per unit in a large input, relative to a small one."""
    for function, unit, (small, large), make in CASES:
        texts = {"small": make(small), "large": make(large)}
        growth = large / small
        for module, name in ((git_utils, "git_utils"), (plain_python, "plain Python")):
            parse = getattr(module, function)
            sides = {size: partial(parse, text) for size, text in texts.items()}
            ratios = measure(min_rounds=3, **sides).ratios("large", "small")
            yield Row(
                f"`{function}` of {name}, {large:,} {unit}s: time per {unit}",
                f"{small:,} {unit}s",
                kind=Ratio.RELATIVE_TIME,
                **{field: ratio / growth for field, ratio in ratios.items()},
            )
