"""The rows of the table: what was raced against what, and whether the target is met."""

from dataclasses import dataclass
from enum import Enum


class Bound(Enum):
    """How a ratio is read."""

    TIMES_AS_FAST = "at least {:g}x"
    TIMES_THE_TIME = "at most {:g} of its time"


@dataclass(frozen=True)
class Row:
    """A measured ratio, the collector on as users have it, and its target if it has one."""

    work: str
    against: str
    ratio: float
    target: float | None = None
    bound: Bound = Bound.TIMES_AS_FAST
    limit: str = "not known"  # what keeps it from its target, if it is missed
    collector_off: float | None = None

    @property
    def missed(self) -> bool:
        """Whether there is a target and it is not reached."""
        if self.target is None:
            return False
        if self.bound is Bound.TIMES_AS_FAST:
            return self.ratio < self.target
        return self.ratio > self.target

    def markdown(self) -> str:
        """The row as Markdown."""
        target = "" if self.target is None else self.bound.value.format(self.target)
        unit = "x" if self.bound is Bound.TIMES_AS_FAST else ""
        verdict = "" if self.target is None else "**missed**" if self.missed else "met"
        off = "" if self.collector_off is None else f"{self.collector_off:.2f}{unit}"
        cells = [self.work, self.against, target, f"{self.ratio:.2f}{unit}", off, verdict]
        return f"| {' | '.join(cells)} |"


def markdown(rows: list[Row]) -> str:
    """The table as Markdown."""
    head = "| Work | Against | Target | Measured | Collector off | |\n|---|---|---|---|---|---|\n"
    return head + "".join(f"{row.markdown()}\n" for row in rows)


def misses(rows: list[Row]) -> str:
    """The rows that miss their targets, by name, with what limits them."""
    missed = [row for row in rows if row.missed]
    if not missed:
        return "Every target is met.\n"
    lines = (f"Missed: {row.work} / {row.against}: {row.limit}\n" for row in missed)
    return "".join(lines)
