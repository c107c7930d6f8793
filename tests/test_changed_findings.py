"""Findings in SARIF, of which those on the lines that a branch touched are left."""

import json
import os
import subprocess
import sys
from pathlib import Path
from typing import Any

import pytest
from conftest import Repository

TREE = Path(__file__).parents[1]
SCRIPT = TREE / "examples" / "changed_findings.py"
CHANGED = ["src/a.py", "src/ä b%c.py"]
MOVED = [f"{number:0120}.py" for number in range(150)]  # more names than one run of git gets


def ten_lines(name: str, *, changed: bool) -> str:
    """The lines of a file of that name, or with line 3 another and without line 8."""
    lines = [f"{number} of {name}\n" for number in range(1, 11)]
    return "".join([*lines[:2], "new\n", *lines[3:7], *lines[8:]] if changed else lines)


@pytest.fixture
def root(repository: Repository) -> Path:
    """A branch that touched most files, and moved 150 of them."""
    old = {f"old/{name}": ten_lines(name, changed=False) for name in MOVED}
    repository.commit(old | {name: ten_lines(name, changed=False) for name in CHANGED})
    repository.git("checkout", "--quiet", "-b", "topic")
    new = {f"new/{name}": ten_lines(name, changed=True) for name in MOVED}
    new |= {name: ten_lines(name, changed=True) for name in CHANGED}
    repository.commit(dict.fromkeys(old) | new | {"fresh.py": "1\n"})
    return repository.root


def result(uri: str | None, line: int = 0, base: str = "", end: int | None = None) -> Any:
    file = ({"uri": uri} if uri else {"index": 1}) | ({"uriBaseId": base} if base else {})
    region = {"region": {"startLine": line, "endLine": end or line}} if line else {}
    place = {"physicalLocation": {"artifactLocation": file} | region}
    return {"ruleId": "E1", "message": {"text": f"about\n{uri}"}, "locations": [place]}


def run(root: Path, given: str | list[Any], *args: str) -> subprocess.CompletedProcess[str]:
    """Filter a text, or the results of a document."""
    if isinstance(given, list):
        made = {"tool": {"driver": {"rules": [{"id": "R0"}, {"id": "R1"}]}}, "results": given}
        source = {"uri": "src/", "uriBaseId": "ROOT"}
        bases = {"ROOT": {"uri": root.as_uri()}, "SRC": source, "LOOP": {"uriBaseId": "LOOP"}}
        made["originalUriBaseIds"] = bases
        made["artifacts"] = [{}, {"location": {"uri": "a.py", "uriBaseId": "SRC"}}]
        given = json.dumps({"version": "2.1.0", "runs": [made]})
    command = [sys.executable, "-W", "error", SCRIPT, root, *args, "-"]
    options = {"env": os.environ | {"PYTHONPATH": str(TREE)}, "encoding": "utf-8"}
    return subprocess.run(command, input=given, capture_output=True, **options)


NAMES = [("./src/../src/a.py", 3), ("{root}/src/%C3%A4%20b%25c.py", 3), (None, 3)]
BASES = [("src/a.py", 3, "ROOT"), ("a.py", 3, "SRC"), ("src/a.py", 3, "LOOP"), ("src/a.py", 3, "?")]
LINES = [("src/a.py", 3), ("src/a.py", 1, "", 3), ("src/a.py", 7), ("src/a.py",), ("fresh.py", 1)]
TOUCHED = [*NAMES, *BASES, *LINES]
OTHER_LINES = [("src/a.py", 1, "", 2), ("{root}/src/%C3%A4 b%25c.py", 4), ("src/a.py", 8)]
OTHER_FILES = ["file:///src/a.py", "../src/a.py", "file://host/src/a.py", "https://a.org/src/a.py"]
UNTOUCHED = [*OTHER_LINES, *((name, 3) for name in [*OTHER_FILES, f"old/{MOVED[0]}"])]


def test_touched_lines_are_told_by_every_kind_of_name(root: Path) -> None:
    text = json.dumps([result(*case) for case in [*UNTOUCHED, *TOUCHED]])
    results = json.loads(text.replace("{root}", root.as_uri()))
    answer = run(root, results, f"--sarif={root}/out")
    left = json.loads((root / "out").read_text())["runs"][0]["results"]
    assert left == results[len(UNTOUCHED) :]
    assert (answer.returncode, answer.stdout.count("\n"), answer.stderr) == (1, len(left), "")
    answer = run(root, results[: len(UNTOUCHED)])
    assert (answer.returncode, answer.stdout, answer.stderr) == (0, "", "")


def test_moved_files_keep_their_old_lines_in_every_run_of_git(root: Path) -> None:
    results = [result(f"new/{name}", line) for name in MOVED for line in (2, 3, 5)]
    lines = run(root, results, "--base=main", "--head=topic").stdout.splitlines()
    assert lines == [f"new/{name}:3:  E1:  about new/{name}" for name in MOVED]


def test_rules_are_named_in_any_way_and_columns_are_aligned(root: Path) -> None:
    named = [{"ruleId": "LONG1"}, {"rule": {"id": "E2"}}, {"ruleIndex": 1}, {"rule": {"index": 0}}]
    results = [result("src/a.py", 3) | {"ruleId": None} | name for name in [*named, {}]]
    rules = ["LONG1:", "E2:   ", "R1:   ", "R0:   ", "-:    "]
    expected = "".join(f"src/a.py:3:  {rule}  about src/a.py\n" for rule in rules)
    assert run(root, results).stdout == expected


UNREADABLE = {
    "[" * 100_000: "no JSON: ",
    "[]": "no SARIF: it has no list of runs",
    '{"runs": [], "version": "2.0.0"}': "SARIF 2.1.0 is read, not '2.0.0'",
    '{"runs": [{"tool": {"driver": {}}, "results": [{"locations": 1}]}], "version": "2.1.0"}': "no",
}


def test_what_is_no_sarif_gets_one_line(repository: Repository) -> None:
    repository.commit({"a": "1"})
    for text, complaint in UNREADABLE.items():
        answer = run(repository.root, text)
        assert (answer.returncode, answer.stdout, answer.stderr.count("\n")) == (2, "", 1)
        assert answer.stderr.startswith(f"changed_findings: -: {complaint}")
