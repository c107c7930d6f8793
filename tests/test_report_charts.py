"""The geometry of the report's charts."""

from dataclasses import dataclass
from datetime import datetime

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


@dataclass
class ChartCase:
    """Times of commits, and where the chart's bars end, how tall they are, and its axis."""

    times: list[int]
    unit: str
    ends: list[float]
    heights: list[float]
    axis: str
    period: Period | None = None


CHARTS = {
    "a period": ChartCase(
        [MAY + 9 * DAY, MAY, MAY],
        "six hours",
        ends=[2.2, 92.2],
        heights=[100, 50],
        axis="01 May to 11 May",
        period=Period(datetime(2020, 5, 1), datetime(2020, 5, 11), ""),
    ),
    "days, with a last one that has just begun": ChartCase(
        [MAY + 20 * DAY + 60, MAY],
        "day",
        ends=[4.3, 99.5],
        heights=[100, 100],
        axis="01 May to 22 May",
    ),
    "a moment": ChartCase([MAY], "hour", ends=[54.0], heights=[100], axis="01 May to 01 May"),
    "weeks": ChartCase(
        [MAY + 99 * DAY, MAY], "week", ends=[6.0, 99.3], heights=[100, 100], axis="01 May to 14 Aug"
    ),
    "five years": ChartCase(
        [MAY + 5 * YEAR, MAY],
        "13 weeks",
        ends=[4.3, 99.5],
        heights=[100, 100],
        axis="01 May to 25 Jul",
    ),
    "all of the calendar": ChartCase(
        [0, END_OF_9999], "century", ends=[1.1, 100], heights=[100, 100], axis="01 Jan to 31 Dec"
    ),
    "one commit beside a thousand": ChartCase(
        [MAY] * 1000 + [MAY + 50 * DAY],
        "day",
        ends=[1.8, 99.8],
        heights=[100, charts.MIN_BAR_HEIGHT],
        axis="01 May to 20 Jun",
    ),
}


@pytest.mark.parametrize("case", CHARTS.values(), ids=CHARTS)
def test_bars_are_whole_steps_of_the_period(case: ChartCase) -> None:
    chart = chart_of(case.times, case.period)
    marks = [bar.mark for bar in chart.bars]
    assert chart.unit == case.unit
    assert [round(mark.left + mark.width, 1) for mark in marks] == case.ends
    assert [mark.height for mark in marks] == case.heights
    assert f"{chart.ticks[0][:6]} to {chart.ticks[2][:6]}" == case.axis


def test_the_last_bar_is_as_wide_as_the_others() -> None:
    first, last = chart_of([MAY, MAY + 20 * DAY + 60]).bars
    assert last.mark.width == pytest.approx(first.mark.width)


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
