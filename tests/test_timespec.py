"""Time specs and the authors of a period."""

import os
import time
from datetime import datetime, timedelta
from pathlib import Path
from types import ModuleType

import pytest
from conftest import LogWatcher, Repository, Runs, standard_input
from hypothesis import given
from hypothesis import strategies as st
from twin import NOW, FrozenClock, assert_alike, native, plain

NEW_YORK = "EST5EDT,M3.2.0,M11.1.0"


@pytest.fixture
def _frozen(monkeypatch: pytest.MonkeyPatch) -> None:
    for module in (native, plain):
        monkeypatch.setattr(module, "datetime", FrozenClock)


@pytest.mark.usefixtures("_frozen")
@pytest.mark.parametrize(
    ("spec", "span"),
    [
        ("30m", timedelta(minutes=30)),
        ("24h", timedelta(hours=24)),
        (" 7d\n", timedelta(days=7)),
        ("\u30002w\xa0", timedelta(weeks=2)),
        ("007d", timedelta(days=7)),
        ("\u0667d", timedelta(days=7)),
        ("1\uff17d", timedelta(days=17)),
        ("739317d", timedelta(days=739317)),
    ],
)
def test_a_relative_spec_goes_back_from_now(either: ModuleType, spec: str, span: timedelta) -> None:
    assert either.parse_time_spec(spec) == NOW - span


@pytest.mark.parametrize(
    ("zone", "spec", "moment"),
    [
        ("UTC", "2026-09-01", datetime(2026, 9, 1)),
        ("UTC", " 20260901 ", datetime(2026, 9, 1)),
        ("UTC", "2026-W36-2", datetime(2026, 9, 1)),
        (NEW_YORK, "2026-03-08T02:30:00.25", datetime(2026, 3, 8, 2, 30, 0, 250000)),
        (NEW_YORK, "2026-03-08T06:59:59Z", datetime(2026, 3, 8, 1, 59, 59)),
        (NEW_YORK, "2026-03-08T07:00:00Z", datetime(2026, 3, 8, 3)),
        (NEW_YORK, "2026-11-01T05:30:00+00:00", datetime(2026, 11, 1, 1, 30)),
        (NEW_YORK, "2026-11-01T06:30:00+00:00", datetime(2026, 11, 1, 1, 30)),
        ("<+0545>-5:45", "2026-09-01T20:00:00-04:30", datetime(2026, 9, 2, 6, 15)),
    ],
)
def test_an_iso_spec_is_local_time_and_one_with_an_offset_becomes_it(
    either: ModuleType, monkeypatch: pytest.MonkeyPatch, zone: str, spec: str, moment: datetime
) -> None:
    monkeypatch.setenv("TZ", zone)
    time.tzset()
    parsed = either.parse_time_spec(spec)
    assert (parsed, parsed.fold, parsed.tzinfo) == (moment, 0, None)


INVALID = [
    "",
    "  ",
    "7",
    "7 d",
    "7D",
    "7dd",
    "-7d",
    "+7d",
    "1.5h",
    "0d",
    "\u0660\u0660w",
    "²d",
    "1_0d",
]


@pytest.mark.usefixtures("_frozen")
@pytest.mark.parametrize(
    "spec", [*INVALID, "2026-13-01", "2026-02-30", "\t'3x'", 'it\'s "😀"\ud800', "1" * 4301 + "d"]
)
def test_an_invalid_spec_is_quoted_beside_the_valid_forms(either: ModuleType, spec: str) -> None:
    with pytest.raises(ValueError, match=r"^since must be") as caught:
        either.parse_time_spec(spec)
    forms = (
        "a positive whole number followed by m (minutes), h (hours), d (days) or w (weeks), "
        "such as 7d or 24h, or an ISO date such as 2026-09-01"
    )
    assert caught.value.args == (f"since must be {forms}; got {spec!r}",)
    assert type(caught.value) is ValueError
    assert caught.value.__cause__ is caught.value.__context__ is None


@pytest.mark.usefixtures("_frozen")
@pytest.mark.parametrize(
    "spec",
    ["999999999d", "99999999999d", " 99999999w", "9" * 400 + "m", "0001-01-01T00:00+01:00"],
)
def test_a_spec_beyond_the_calendar_tells_what_overflowed(either: ModuleType, spec: str) -> None:
    with pytest.raises(ValueError, match="reaches outside the calendar") as caught:
        either.parse_time_spec(spec)
    assert caught.value.args == (f"since {spec!r} reaches outside the calendar",)
    assert isinstance(caught.value.__cause__, OverflowError)
    assert caught.value.__context__ is caught.value.__cause__
    assert caught.value.__cause__.__context__ is None


@given(
    st.from_regex(r"\s?[+-]?\d{1,12}[mhdwD]?\s?", fullmatch=True)
    | st.datetimes(timezones=st.none() | st.timezones()).map(lambda moment: moment.isoformat())
    | st.text(max_size=12)
)
def test_any_spec_is_read_as_python_reads_it(spec: str) -> None:
    with pytest.MonkeyPatch.context() as patch:
        for module in (native, plain):
            patch.setattr(module, "datetime", FrozenClock)
        assert_alike("parse_time_spec", spec)


@pytest.mark.parametrize("spec", [None, 7, b"7d", ["7d"]])
def test_a_spec_that_is_no_text_fails_outside_of_the_guard(spec: object) -> None:
    assert_alike("parse_time_spec", spec)


@pytest.mark.parametrize("error", [KeyError, ValueError, OverflowError, ArithmeticError])
@pytest.mark.parametrize("spec", ["7d", "2026-09-01T00:00Z"])
def test_only_two_kinds_of_errors_are_translated(
    monkeypatch: pytest.MonkeyPatch, error: type[Exception], spec: str
) -> None:
    class Broken(datetime):
        def astimezone(self, _zone: object = None) -> datetime:
            raise error("of the clock")

        @classmethod
        def now(cls, _zone: object = None) -> datetime:
            raise error("of the clock")

    for module in (native, plain):
        monkeypatch.setattr(module, "datetime", Broken)
    assert_alike("parse_time_spec", spec)


SUMMARY = {
    "    12\tAnn Lee <ann@example.org>": ("Ann Lee", "ann@example.org", 12),
    "1\tAnn\tLee < a b@c >\r": ("Ann\tLee", " a b@c ", 1),
    "2\tA <b> C <d@e>": ("A", "b", 2),
    "2\tA <b <d@e>": ("A", "b ", 2),
    "3\tBob > x <y": ("Bob > x", "y", 3),
    "4\t Ann  Lee": (" Ann  Lee", "", 4),
    "5\tno > address": ("no > address", "", 5),
    "٦\t<>": ("", "", 6),
}


@pytest.mark.usefixtures("_frozen")
def test_each_line_of_the_summary_with_a_tab_is_an_author(
    either: ModuleType, answer_runs: Runs
) -> None:
    calls = answer_runs(("\n" + "\n  \n\nno tab <a@b>\n".join(SUMMARY) + "\n", " warned", 0))
    authors = either.get_authors_for_period(Path("r"))
    assert [tuple(author.values()) for author in authors] == list(SUMMARY.values())
    assert {tuple(author) for author in authors} == {("name", "email", "commits")}
    assert calls == [["shortlog", "--since=2026-02-06 12:30:15", "-sne"]]


def test_a_failed_summary_is_logged_and_lists_nobody(
    either: ModuleType, answer_runs: Runs, log: LogWatcher
) -> None:
    calls = answer_runs(("1\tA <b>", " fatal: bad\n", 128))
    assert either.get_authors_for_period(Path("r"), "7d") == []
    message = "get_authors_for_period: git shortlog failed rc=128 stderr=fatal: bad"
    assert log.records == [("DEBUG", "get_authors_for_period", message)]
    with pytest.raises(ValueError, match="got '0d'"):
        either.get_authors_for_period(Path("r"), "0d")
    answer_runs(("many\tAnn <a@b>", "", 0))
    with pytest.raises(ValueError, match="'many'"):
        either.get_authors_for_period(Path("r"))
    assert len(calls) == 1


@pytest.fixture
def authors(repository: Repository) -> Repository:
    """Give a repository with commits of several authors."""
    mailmap = "Ann Lee <ann@example.org> <lee@old.example>\n"
    day = "2026-02-0{}T12:00:00+00:00".format
    repository.commit({".mailmap": mailmap}, day(1), "Too Early <early@example.org>")
    repository.commit({"a": "1"}, day(2), "A. L. <lee@old.example>")
    repository.commit({"a": "2"}, day(3), "Ann Lee <ann@example.org>")
    repository.commit({"a": "3"}, day(4), 'Zoë "Z" O\'中 <z o@example.org>')
    return repository


def test_at_a_terminal_git_summarises_the_history_of_head(authors: Repository) -> None:
    terminal, inner = os.openpty()
    try:
        with standard_input(inner):
            found = native.get_authors_for_period(authors.root, "2026-02-01T23:00:00+02:00")
    finally:
        os.close(terminal)
        os.close(inner)
    assert found == [
        {"name": "Ann Lee", "email": "ann@example.org", "commits": 2},
        {"name": 'Zoë "Z" O\'中', "email": "z o@example.org", "commits": 1},
    ]


def test_elsewhere_git_summarises_the_log_on_standard_input(
    authors: Repository, tmp_path: Path
) -> None:
    assert native.get_authors_for_period(authors.root, "2026-02-01") == []
    text = tmp_path / "log"
    text.write_text(authors.git("log", "--reverse", "--max-count=2"))
    with text.open("rb") as log, standard_input(log.fileno()):
        found = native.get_authors_for_period(authors.root, "2026-02-04T23:00")
    assert [(author["name"], author["commits"]) for author in found] == [
        ("Ann Lee", 1),
        ('Zoë "Z" O\'中', 1),
    ]
