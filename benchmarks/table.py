"""The rows of the table: what was compared with what, and whether the target is met."""

from dataclasses import dataclass
from enum import Enum


class Ratio(Enum):
    """What a ratio means, and so whether its target is a minimum or a maximum."""

    SPEEDUP = "at least {:g}x"
    RELATIVE_TIME = "at most {:g} times as long"


@dataclass(frozen=True)
class Row:
    """One measured ratio, with a target if there is one."""

    operation: str
    baseline: str
    ratio: float
    target: float | None = None
    kind: Ratio = Ratio.SPEEDUP
    limit: str = "not known"  # what keeps the ratio from its target
    collector_off: float | None = None

    @property
    def missed(self) -> bool:
        """Whether there is a target and it is not met."""
        if self.target is None:
            return False
        if self.kind is Ratio.SPEEDUP:
            return self.ratio < self.target
        return self.ratio > self.target

    def markdown(self) -> str:
        """The row as Markdown."""
        target = "" if self.target is None else self.kind.value.format(self.target)
        unit = "x" if self.kind is Ratio.SPEEDUP else ""
        verdict = "" if self.target is None else "**missed**" if self.missed else "met"
        off = "" if self.collector_off is None else f"{self.collector_off:.2f}{unit}"
        cells = [self.operation, self.baseline, target, f"{self.ratio:.2f}{unit}", off, verdict]
        return f"| {' | '.join(cells)} |"


def markdown(rows: list[Row]) -> str:
    """The table as Markdown."""
    head = "| Operation | Baseline | Target | Measured | Collector off | |\n"
    return head + "|---|---|---|---|---|---|\n" + "".join(f"{row.markdown()}\n" for row in rows)


def misses(rows: list[Row]) -> str:
    """One line for each missed target, with what limits it."""
    missed = [row for row in rows if row.missed]
    if not missed and any(row.target is not None for row in rows):
        return "Every target is met.\n"
    return "".join(f"Missed: {row.operation} / {row.baseline}: {row.limit}\n" for row in missed)
