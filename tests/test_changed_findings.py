"""Findings in SARIF, of which those on the lines that a branch touched are left."""

import json
from functools import partial
from typing import Any

import pytest
from conftest import Repository, Run

MOVED = [f"new/{number:0120}.py" for number in range(150)]  # more names than a run of git gets
FILES = ["src/a.py", "src/lib/ä%.py", *MOVED]
FOLDERS = {"SRC": {"uri": "file://{root}/src"}, "LIB": {"uri": "lib", "uriBaseId": "SRC"}}
RUN = {
    "tool": {"driver": {"rules": [{"id": "R0"}, {"id": "R1"}]}},
    "originalUriBaseIds": FOLDERS | {"LOOP": {"uriBaseId": "LOOP"}},
    "artifacts": [{}, {"location": {"uri": "a.py", "uriBaseId": "SRC"}}],
}


def ten_lines(name: str, *, changed: bool) -> str:
    """The lines of a file of that name, or with lines 3 and 4 others and without line 8."""
    lines = [f"{number} of {name}\n" for number in range(1, 11)]
    return "".join([*lines[:2], "new\n" * 2, *lines[4:7], *lines[8:]] if changed else lines)


@pytest.fixture
def run(run: Run, repository: Repository) -> Run:
    """Filter findings in a branch that touched most files, and moved 150 of them."""
    old = {name.replace("new/", "old/"): ten_lines(name, changed=False) for name in FILES}
    repository.commit(old)
    repository.git("checkout", "--quiet", "-b", "topic")
    new = {name: ten_lines(name, changed=True) for name in FILES} | {"fresh.py": "1\n"}
    repository.commit(dict.fromkeys(old) | new)
    return partial(run, "changed_findings.py", repository.root, "-")


def document(results: list[Any]) -> str:
    return json.dumps({"version": "2.1.0", "runs": [RUN | {"results": results}]})


def result(uri: str | None, line: int = 0, base: str = "", end: int | None = None) -> Any:
    file = ({"uri": uri} if uri else {"index": 1}) | ({"uriBaseId": base} if base else {})
    region = {"region": {"startLine": line, "endLine": end or line}} if line else {}
    place = {"physicalLocation": {"artifactLocation": file} | region}
    return {"ruleId": "E1", "message": {"text": f"about\n{uri}"}, "locations": [place]}


NAMES = [("./src/../src/a.py", 3), ("file://{root}/src/lib/%C3%A4%25.py", 3), (None, 3)]
BASES = [("a.py", 3, "SRC"), ("ä%25.py", 3, "LIB"), ("src/a.py", 3, "LOOP"), ("src/a.py", 3, "?")]
LINES = [("src/a.py", 1, "", 3), ("src/a.py", 4), ("src/a.py", 7), ("src/a.py",), ("fresh.py", 1)]
OTHER_LINES = [("src/a.py", 1, "", 2), ("src/a.py", 5), ("src/a.py", 8)]
OTHER_PLACES = ["../", "old/", "file:///", "file://host{root}/", "https://localhost{root}/"]


def test_touched_lines_are_told_by_every_kind_of_name(run: Run, repository: Repository) -> None:
    touched = [result(*case) for case in NAMES + BASES + LINES]
    untouched = [result(*case) for case in OTHER_LINES]
    untouched += [result(f"{place}src/a.py", 3) for place in OTHER_PLACES]
    root, out = str(repository.root), repository.root / "out"
    given = document(untouched + touched).replace("{root}", root)
    code, told, complaint = run(f"--sarif={out}", given=given)
    assert (code, told.count("\n"), complaint) == (1, len(touched), "")
    left = out.read_text().replace(root, "{root}")
    assert json.loads(left)["runs"][0]["results"] == touched
    assert run(given=document(untouched).replace("{root}", root)) == (0, "", "")


def test_moved_files_keep_their_old_lines_in_every_run_of_git(run: Run) -> None:
    results = [result(name, line) for name in MOVED for line in (2, 3, 5)]
    lines = run("--base=main", "--head=topic", given=document(results))[1].splitlines()
    assert lines == [f"{name}:3:  E1:  about {name}" for name in MOVED]


def test_rules_are_named_in_any_way_and_columns_are_aligned(run: Run) -> None:
    named = [{"ruleId": "LONG1"}, {"rule": {"id": "E2"}}, {"ruleIndex": 1}, {"rule": {"index": 0}}]
    results = [result("src/a.py", 3) | {"ruleId": None} | name for name in [*named, {}]]
    rules = ["LONG1:", "E2:   ", "R1:   ", "R0:   ", "-:    "]
    told = "".join(f"src/a.py:3:  {rule}  about src/a.py\n" for rule in rules)
    assert run(given=document(results)) == (1, told, "")


UNREADABLE = {
    "[" * 100_000: "no JSON: ",
    "[]": "no SARIF: it has no list of runs",
    '{"runs": [], "version": "2.0.0"}': "SARIF 2.1.0 is read, not '2.0.0'",
    '{"runs": [{"tool": {"driver": {}}, "results": [{"locations": 1}]}], "version": "2.1.0"}': "no",
}


def test_what_is_no_sarif_gets_one_line(run: Run) -> None:
    for text, reason in UNREADABLE.items():
        code, told, complaint = run(given=text)
        assert (code, told, complaint.count("\n")) == (2, "", 1)
        assert complaint.startswith(f"changed_findings: -: {reason}")
