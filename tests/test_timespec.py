"""Time specs, and the authors of a period."""

import time
from datetime import datetime, timedelta
from pathlib import Path
from types import ModuleType, NoneType

import pytest
from compare import NOW, StoppedClock
from conftest import FakeGitResults, Log

# Winter time is five hours before UTC; clocks go forward on 8 March and back on 1 November 2026.
NEW_YORK = "EST5EDT,M3.2.0,M11.1.0"
MOMENTS = {
    "two weeks with blanks": ("UTC", "\u30002w\xa0", NOW - timedelta(weeks=2)),
    "a date without dashes": ("UTC", " 20260901\n", datetime(2026, 9, 1)),
    "as clocks go forward": (NEW_YORK, "2026-03-08T07:00:00Z", datetime(2026, 3, 8, 3)),
    "as clocks go back": (NEW_YORK, "2026-11-01T06:30:00+00:00", datetime(2026, 11, 1, 1, 30)),
    "a local time that is left out": (NEW_YORK, "2026-03-08T02:30", datetime(2026, 3, 8, 2, 30)),
    "the first day": (NEW_YORK, "0001-01-01", datetime(1, 1, 1)),
}


@pytest.mark.parametrize(("zone", "spec", "expected"), MOMENTS.values(), ids=MOMENTS)
def test_a_spec_is_a_naive_local_moment(
    module: ModuleType, monkeypatch: pytest.MonkeyPatch, zone: str, spec: str, expected: datetime
) -> None:
    monkeypatch.setattr(module, "datetime", StoppedClock)
    monkeypatch.setenv("TZ", zone)
    time.tzset()
    moment = module.parse_time_spec(spec)
    assert (moment, moment.fold, moment.tzinfo) == (expected, 0, None)


# What git shortlog prints for an author, and the name, address and number of commits read from it.
AUTHORS = {
    "    12\tAnn Lee <ann@example.org>": ("Ann Lee", "ann@example.org", 12),
    "1\tAnn\tLee < a b@c >\r": ("Ann\tLee", " a b@c ", 1),
    "2\tA <b <d@e> C": ("A", "b ", 2),
    "3\tBob > x <y": ("Bob > x", "y", 3),
    "4\t Ann  Lee ": (" Ann  Lee", "", 4),
    "٦\t<>": ("", "", 6),
}
LINES_WITHOUT_AUTHOR = "\n  \n\nno tab <a@b>\n"


def test_each_line_of_the_summary_with_a_tab_is_an_author(
    module: ModuleType, fake_git_results: FakeGitResults
) -> None:
    fake_git_results((f"\n{LINES_WITHOUT_AUTHOR.join(AUTHORS)}\n", " warned", 0))
    authors = module.get_authors_for_period(Path("r"))
    expected = [
        dict(zip(("name", "email", "commits"), row, strict=True)) for row in AUTHORS.values()
    ]
    assert authors == expected
    assert [list(author) for author in authors] == [list(author) for author in expected]


def test_the_period_is_thirty_days_by_default(
    module: ModuleType, fake_git_results: FakeGitResults, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setattr(module, "datetime", StoppedClock)
    calls = fake_git_results(("", "", 0))
    assert module.get_authors_for_period(Path("r")) == []
    assert [call.args[1] for call in calls] == [["shortlog", "--since=2026-02-06 12:30:15", "-sne"]]


def test_a_failed_summary_is_logged_and_has_no_authors(
    module: ModuleType, fake_git_results: FakeGitResults, log: Log
) -> None:
    fake_git_results(("1\tA <b>", " fatal: bad\n", 1))
    assert module.get_authors_for_period(Path("r"), "7d") == []
    message = "get_authors_for_period: git shortlog failed rc=%s stderr=%s"
    assert log == [("DEBUG", "get_authors_for_period", (message, 1, "fatal: bad"), NoneType)]
