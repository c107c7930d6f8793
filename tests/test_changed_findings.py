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
MOVED = [f"{number:0120}.py" for number in range(150)]  # more names than one run of git gets


def ten_lines(name: str, *, changed: bool) -> str:
    """The lines of a file of that name, or with line 3 another and without line 8."""
    lines = [f"{number} of {name}\n" for number in range(1, 11)]
    return "".join([*lines[:2], "new\n", *lines[3:7], *lines[8:]] if changed else lines)


@pytest.fixture(scope="module")
def project(tmp_path_factory: pytest.TempPathFactory) -> Repository:
    """A branch that touched most files, and moved 150 of them."""
    with pytest.MonkeyPatch.context() as patch:
        patch.setenv("GIT_CONFIG_GLOBAL", os.devnull)
        for name in ("GIT_AUTHOR", "GIT_COMMITTER"):
            patch.setenv(f"{name}_NAME", "Ann Lee")
            patch.setenv(f"{name}_EMAIL", "ann@example.org")
        made = Repository(tmp_path_factory.mktemp("made") / "repository")
        names = ["src/a.py", "src/ä b%c.py", "same.py"]
        old = {f"old/{name}": ten_lines(name, changed=False) for name in MOVED}
        new = {f"new/{name}": ten_lines(name, changed=True) for name in MOVED}
        names = ["src/a.py", "src/ä b%c.py"]
        made.commit(old | {name: ten_lines(name, changed=False) for name in [*names, "same.py"]})
        made.git("checkout", "--quiet", "-b", "topic")
        new |= {name: ten_lines(name, changed=True) for name in names}
        made.commit(dict.fromkeys(old) | new | {"fresh.py": "1\n"})
    return made


@pytest.fixture(autouse=True)
def _host_package(monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setenv("PYTHONPATH", str(TREE))


def result(uri: str | None, line: int | None = None, base: str | None = None, **more: Any) -> Any:
    file = {"uri": uri, "uriBaseId": base} if base else {"uri": uri} if uri else {"index": 1}
    region = {"region": {"startLine": line} | more} if line else {}
    place = {"physicalLocation": {"artifactLocation": file} | region}
    return {"ruleId": "E1", "message": {"text": f"about\n{uri}"}, "locations": [place]}


def run(project: Repository, results: list[Any], *args: str) -> subprocess.CompletedProcess[str]:
    document = {
        "version": "2.1.0",
        "runs": [
            {
                "tool": {"driver": {"name": "tool", "rules": [{"id": "R0"}, {"id": "R1"}]}},
                "originalUriBaseIds": {
                    "ROOT": {"uri": f"{project.root.as_uri()}/"},
                    "SRC": {"uri": "src/", "uriBaseId": "ROOT"},
                    "LOOP": {"uriBaseId": "LOOP"},
                },
                "artifacts": [{}, {"location": {"uri": "a.py", "uriBaseId": "SRC"}}],
                "results": results,
            }
        ],
    }
    command = [sys.executable, "-W", "error", SCRIPT, project.root, *args, "-"]
    text = json.dumps(document)
    return subprocess.run(command, input=text, capture_output=True, encoding="utf-8")


KEPT = {
    "relative": ("src/a.py", 3),
    "dots": ("./src/../src/a.py", 3),
    "with base": ("src/a.py", 3, "ROOT"),
    "with base on a base": ("a.py", 3, "SRC"),
    "with unknown base": ("src/a.py", 3, "%SRCROOT%"),
    "with base on itself": ("src/a.py", 3, "LOOP"),
    "as an artifact": (None, 3),
    "encoded": ("src/%C3%A4%20b%25c.py", 3),
    "above deleted lines": ("src/a.py", 7),
    "whole file": ("src/a.py",),
    "new file": ("fresh.py", 1),
}
DROPPED = {
    "other line": ("src/a.py", 4),
    "behind the last": ("src/a.py", 8),
    "unchanged file": ("same.py",),
    "elsewhere": ("file:///src/a.py", 3),
    "above": ("../src/a.py", 3),
    "other host": ("file://host/src/a.py", 3),
    "no file": ("https://example.org/src/a.py", 3),
    "old name": (f"old/{MOVED[0]}", 3),
}


@pytest.mark.parametrize("kept", [True, False], ids=["kept", "dropped"])
def test_touched_lines_are_told_by_every_kind_of_name(project: Repository, kept: bool) -> None:
    results = [result(*case) for case in (KEPT if kept else DROPPED).values()]
    results.append(result(f"{project.root.as_uri()}/src/%C3%A4 b%25c.py", 3 if kept else 2))
    results.append(result("src/a.py", 1, endLine=3 if kept else 2))
    out = project.root.parent / "out"
    answer = run(project, results, "--sarif", str(out))
    left = json.loads(out.read_text())["runs"][0].pop("results")
    assert (answer.returncode, answer.stderr, left) == (int(kept), "", results if kept else [])
    assert answer.stdout.count("\n") == len(left)


def test_moved_files_keep_their_old_lines_in_every_run_of_git(project: Repository) -> None:
    results = [result(f"new/{name}", line) for name in MOVED for line in (2, 3, 5)]
    lines = run(project, results, "--base=main", "--head=topic").stdout.splitlines()
    expected = [f"new/{name}:3:  E1:  about new/{name}" for name in MOVED]
    assert lines == expected


def test_rules_are_named_in_any_way_and_columns_are_aligned(project: Repository) -> None:
    named = [{"ruleId": "LONG1"}, {"rule": {"id": "E2"}}, {"ruleIndex": 1}, {"rule": {"index": 0}}]
    results = [result("src/a.py", 3) | {"ruleId": None} | name for name in [*named, {}]]
    rules = ["LONG1:", "E2:   ", "R1:   ", "R0:   ", "-:    "]
    expected = "".join(f"src/a.py:3:  {rule}  about src/a.py\n" for rule in rules)
    assert run(project, results).stdout == expected


UNREADABLE = {
    "": "no JSON: ",
    "[" * 100_000: "no JSON: ",
    "[]": "no SARIF: it has no list of runs",
    '{"runs": [], "version": "2.0.0"}': "SARIF 2.1.0 is read, not '2.0.0'",
    '{"runs": [1], "version": "2.1.0"}': "no SARIF: ",
    '{"runs": [{"tool": {"driver": {}}, "results": [{"locations": 1}]}], "version": "2.1.0"}': "no",
}


@pytest.mark.parametrize(("text", "complaint"), UNREADABLE.items(), ids=range(len(UNREADABLE)))
def test_what_is_no_sarif_gets_one_line(project: Repository, text: str, complaint: str) -> None:
    file = project.root.parent / "in"
    file.write_text(text)
    command = [sys.executable, SCRIPT, project.root, file]
    answer = subprocess.run(command, capture_output=True, encoding="utf-8")
    assert (answer.returncode, answer.stdout, answer.stderr.count("\n")) == (2, "", 1)
    assert answer.stderr.startswith(f"changed_findings: {file}: {complaint}")
