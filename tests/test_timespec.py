"""Time specs and the authors of a period."""

import time
from datetime import datetime, timedelta
from pathlib import Path
from types import ModuleType, NoneType

import pytest
from compare import NOW, StoppedClock
from conftest import Log, Runs

NEW_YORK = "EST5EDT,M3.2.0,M11.1.0"
MOMENTS = [
    ("UTC", "\u30002w\xa0", NOW - timedelta(weeks=2)),
    ("UTC", " 20260901\n", datetime(2026, 9, 1)),
    (NEW_YORK, "2026-03-08T07:00:00Z", datetime(2026, 3, 8, 3)),
    (NEW_YORK, "2026-11-01T06:30:00+00:00", datetime(2026, 11, 1, 1, 30)),
    (NEW_YORK, "2026-03-08T02:30", datetime(2026, 3, 8, 2, 30)),
    (NEW_YORK, "0001-01-01", datetime(1, 1, 1)),
]


@pytest.mark.parametrize(("zone", "spec", "moment"), MOMENTS, ids=[row[1] for row in MOMENTS])
def test_a_spec_goes_back_from_now_or_becomes_local_time(
    either: ModuleType, monkeypatch: pytest.MonkeyPatch, zone: str, spec: str, moment: datetime
) -> None:
    monkeypatch.setattr(either, "datetime", StoppedClock)
    monkeypatch.setenv("TZ", zone)
    time.tzset()
    parsed = either.parse_time_spec(spec)
    assert (parsed, parsed.fold, parsed.tzinfo) == (moment, 0, None)


SUMMARY = {
    "    12\tAnn Lee <ann@example.org>": ("Ann Lee", "ann@example.org", 12),
    "1\tAnn\tLee < a b@c >\r": ("Ann\tLee", " a b@c ", 1),
    "2\tA <b <d@e> C": ("A", "b ", 2),
    "3\tBob > x <y": ("Bob > x", "y", 3),
    "4\t Ann  Lee ": (" Ann  Lee", "", 4),
    "٦\t<>": ("", "", 6),
}


def test_each_line_of_the_summary_with_a_tab_is_an_author(
    either: ModuleType, answer_runs: Runs, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setattr(either, "datetime", StoppedClock)
    calls = answer_runs(("\n" + "\n  \n\nno tab <a@b>\n".join(SUMMARY) + "\n", " warned", 0))
    authors = either.get_authors_for_period(Path("r"))
    assert [tuple(author.values()) for author in authors] == list(SUMMARY.values())
    assert {tuple(author) for author in authors} == {("name", "email", "commits")}
    assert [call.args[1] for call in calls] == [["shortlog", "--since=2026-02-06 12:30:15", "-sne"]]


def test_a_failed_summary_is_logged_and_lists_nobody(
    either: ModuleType, answer_runs: Runs, log: Log
) -> None:
    answer_runs(("1\tA <b>", " fatal: bad\n", 1), ("many\tAnn <a@b>", "", 0))
    assert either.get_authors_for_period(Path("r"), "7d") == []
    message = "get_authors_for_period: git shortlog failed rc=%s stderr=%s"
    assert log == [("DEBUG", "get_authors_for_period", (message, 1, "fatal: bad"), NoneType)]
    with pytest.raises(ValueError, match="'many'"):
        either.get_authors_for_period(Path("r"))
