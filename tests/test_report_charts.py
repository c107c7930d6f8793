"""The geometry of the report's charts."""

from datetime import datetime
from typing import NamedTuple

import pytest
from report import charts, wording
from report.facts import Commit, Period

from orvel_tarnix.utils.git_utils import LineSpan

MAY = 1588291200  # the first of May 2020
DAY = 86400
YEAR = 365 * DAY
END_OF_9999 = 253402300799
NO_CALENDAR_HAS_IT = 2**60


def chart_of(times: list[int], period: Period | None = None) -> charts.Chart:
    """The chart of commits at these times."""
    commits = [Commit("c", (), time, "a", "e", "s", ()) for time in times]
    chart = charts.commit_chart(commits, period)
    assert chart is not None
    return chart


class ChartCase(NamedTuple):
    """Times of commits, and the chart's axis, where its bars end and how tall they are."""

    times: list[int]
    unit: str
    axis: str
    ends: list[float]
    heights: list[float]
    period: Period | None = None


TEN_DAYS = Period(datetime(2020, 5, 1), datetime(2020, 5, 11), "")
LATER = MAY + 20 * DAY + 60
A_THOUSAND = [MAY] * 1000
LOW = charts.MIN_BAR_HEIGHT
CHARTS = [
    ChartCase(
        [MAY + 9 * DAY, MAY, MAY], "six hours", "01 May-11 May", [2.2, 92.2], [100, 50], TEN_DAYS
    ),
    ChartCase([MAY], "hour", "01 May-01 May", [54.0], [100]),
    # The last day has just begun, and its bar is as wide as the others.
    ChartCase([LATER, MAY], "day", "01 May-22 May", [4.3, 99.5], [100, 100]),
    ChartCase([*A_THOUSAND, MAY + 50 * DAY], "day", "01 May-20 Jun", [1.8, 99.8], [100, LOW]),
    ChartCase([MAY + 99 * DAY, MAY], "week", "01 May-14 Aug", [6.0, 99.3], [100, 100]),
    ChartCase([MAY + 5 * YEAR, MAY], "13 weeks", "01 May-25 Jul", [4.3, 99.5], [100, 100]),
    ChartCase([0, END_OF_9999], "century", "01 Jan-31 Dec", [1.1, 100], [100, 100]),
]


@pytest.mark.parametrize("case", CHARTS, ids=lambda case: f"{case.unit}, {case.axis}")
def test_bars_are_whole_steps_of_the_period(case: ChartCase) -> None:
    chart = chart_of(case.times, case.period)
    marks = [bar.mark for bar in chart.bars]
    assert chart.unit == case.unit
    assert f"{chart.ticks[0][:6]}-{chart.ticks[2][:6]}" == case.axis
    assert [round(mark.left + mark.width, 1) for mark in marks] == case.ends
    assert [mark.height for mark in marks] == case.heights
    if case.unit != "century":  # where the calendar ends within the last one
        assert [mark.width for mark in marks] == pytest.approx([marks[0].width] * len(marks))


@pytest.mark.parametrize("days", [3, 16, 61, 430, 1700, 5500, 22000])
def test_a_chart_has_room_for_at_least_eight_bars(days: int) -> None:
    assert chart_of([MAY, MAY + days * DAY]).bars[-1].mark.left > 100 * 7 / 8


def test_a_time_that_no_calendar_has_is_left_out() -> None:
    assert len(chart_of([MAY, NO_CALENDAR_HAS_IT]).bars) == 1
    assert wording.moment(NO_CALENDAR_HAS_IT) == f"@{NO_CALENDAR_HAS_IT}"


def test_strips_show_each_kind_of_line_within_the_file() -> None:
    spans = [
        LineSpan(1, 10, added=True),
        LineSpan(40, 40, added=False),
        LineSpan(999, 1000, added=True),
        LineSpan(1000, 1000, added=True),
    ]
    marks = charts.span_marks(spans, 1000)
    first, second, last = [(new, mark.left, mark.left + mark.width) for new, mark in marks]
    assert first == (True, 0, 1)
    assert second == (False, 3.9, 4.2)
    assert last == (True, pytest.approx(99.7), 100)
