"""Findings in SARIF, of which those on the lines that a branch touched are left."""

import json
import os
import resource
import signal
from functools import partial
from typing import Any

import pytest
from conftest import EXAMPLES, Repository, Run, Start

MOVED = [f"new/{number:0120}.py" for number in range(150)]  # more names than a run of git gets
FILES = ["src/a.py", "src/lib/ä%.py", *MOVED]
RUN = {
    "tool": {
        "driver": {"rules": [{"id": "R0"}, {"id": "R1", "defaultConfiguration": {"level": "note"}}]}
    },
    "originalUriBaseIds": {
        "SRC": {"uri": "file://{root}/src"},
        "LIB": {"uri": "lib", "uriBaseId": "SRC"},
        "LOOP": {"uriBaseId": "LOOP"},
    },
    "artifacts": [{}, {"location": {"uri": "a.py", "uriBaseId": "SRC"}}],
}


def ten_lines(name: str, *, changed: bool) -> str:
    """The lines of a file of that name, or with lines 3 and 4 others and without line 8."""
    lines = [f"{number} of {name}\n" for number in range(1, 11)]
    if changed:
        lines[2:4] = ["new\n", "new\n"]
        del lines[7]
    return "".join(lines)


@pytest.fixture
def project(repository: Repository) -> Repository:
    """A branch that touched most files and moved 150 of them."""
    old = {name.replace("new/", "old/"): ten_lines(name, changed=False) for name in FILES}
    repository.commit(old)
    repository.git("checkout", "--quiet", "-b", "topic")
    new = {name: ten_lines(name, changed=True) for name in FILES}
    repository.commit(dict.fromkeys(old) | new | {"fresh.py": "1\n"})
    return repository


@pytest.fixture
def run(run: Run, project: Repository) -> Run:
    """Filter findings that are given on standard input."""
    return partial(run, "changed_findings.py", project.root, "-")


def document(results: list[Any], root: object = "") -> str:
    """A document of one run with these results, for a repository at that root."""
    text = json.dumps({"version": "2.1.0", "runs": [RUN | {"results": results}]})
    return text.replace("{root}", str(root))


def result(
    uri: str | None, line: int | None = None, *, base: str = "", end: int | None = None
) -> Any:
    """A result at a line of a file, at lines up to an end, or at the whole file.

    Without a name the file is that of an artifact.
    """
    file = ({"uri": uri} if uri else {"index": 1}) | ({"uriBaseId": base} if base else {})
    region = {"region": {"startLine": line, "endLine": end or line}} if line else {}
    place = {"physicalLocation": {"artifactLocation": file} | region}
    return {"ruleId": "E1", "message": {"text": f"about\n{uri}"}, "locations": [place]}


TOUCHED = {
    "a name with dots": result("./src/../src/a.py", 3),
    "an absolute URI with escapes": result("file://{root}/src/lib/%C3%A4%25.py", 3),
    "an artifact": result(None, 3),
    "a base": result("a.py", 3, base="SRC"),
    "a base relative to another": result("ä%25.py", 3, base="LIB"),
    "a base relative to itself": result("src/a.py", 3, base="LOOP"),
    "an unknown base": result("src/a.py", 3, base="?"),
    "a region that ends on a touched line": result("src/a.py", 1, end=3),
    "the last of the touched lines": result("src/a.py", 4),
    "the line above a deletion": result("src/a.py", 7),
    "the whole file": result("src/a.py"),
    "a new file": result("fresh.py", 1),
}
UNTOUCHED = {
    "a region before": result("src/a.py", 1, end=2),
    "a line between": result("src/a.py", 5),
    "a line after": result("src/a.py", 8),
    "a file outside": result("../src/a.py", 3),
    "a name from before the move": result("old/src/a.py", 3),
    "a path of another root": result("file:///src/a.py", 3),
    "a file of another host": result("file://host{root}/src/a.py", 3),
    "another scheme": result("https://localhost{root}/src/a.py", 3),
}


def test_only_findings_on_touched_lines_are_left(run: Run, project: Repository) -> None:
    out = project.root / "out"
    both = document([*UNTOUCHED.values(), *TOUCHED.values()], project.root)
    code, lines, message = run(f"--sarif={out}", given=both)
    assert (code, lines.count("\n"), message) == (1, len(TOUCHED), "")
    left = json.loads(out.read_text().replace(str(project.root), "{root}"))
    assert left["runs"][0] == RUN | {"results": [*TOUCHED.values()]}


def test_without_findings_on_touched_lines_the_exit_code_is_0(run: Run) -> None:
    assert run(given=document([*UNTOUCHED.values()])) == (0, "", "")


def test_moved_files_keep_their_old_lines_in_every_run_of_git(run: Run) -> None:
    results = [result(name, line) for name in MOVED for line in (2, 3, 5)]
    lines = run("--base=main", "--head=topic", given=document(results))[1].splitlines()
    assert lines == [f"{name}:3:  E1:  about {name}" for name in MOVED]


RULES = {
    "LONG1:": {"ruleId": "LONG1"},
    "E2:   ": {"ruleId": None, "rule": {"id": "E2"}},
    "R1:   ": {"ruleId": None, "ruleIndex": 1},
    "R0:   ": {"ruleId": None, "rule": {"index": 0}},
    "-:    ": {"ruleId": None},
}


def test_rules_are_named_in_any_way_and_columns_are_aligned(run: Run) -> None:
    results = [result("src/a.py", 3) | rule for rule in RULES.values()]
    lines = "".join(f"src/a.py:3:  {name}  about src/a.py\n" for name in RULES)
    assert run(given=document(results)) == (1, lines, "")


ANNOTATIONS = {
    "::error file=src/a.py,line=3,title=E1::100%25,%0D%0Anext: \\x1b[2J": {
        "level": "error",
        "message": {"text": "100%,\r\nnext: \x1b[2J"},
    },
    "::warning file=src/a.py,line=3,title=a%3Ab%2Cc%25::m": {"ruleId": "a:b,c%"},
    "::notice file=src/a.py,line=3,title=E1::m": {"level": "none"},
    "::notice file=src/a.py,line=3,title=R1::m": {"ruleId": None, "ruleIndex": 1},
}


@pytest.mark.parametrize("command", ANNOTATIONS)
def test_annotations_are_escaped_workflow_commands(run: Run, command: str) -> None:
    finding = result("src/a.py", 3) | {"message": {"text": "m"}} | ANNOTATIONS[command]
    assert run("--format=github", given=document([finding])) == (1, f"{command}\n", "")


def test_findings_are_left_where_no_commit_is_in_common(run: Run, project: Repository) -> None:
    alone = project.git("commit-tree", "-m", "alone", "topic^{tree}").strip()
    both = document([result("src/a.py", 3), result("src/a.py", 5)])
    expected = (1, "src/a.py:3:  E1:  about src/a.py\n", "")
    assert run(f"--head={alone}", given=both) == expected


UNREADABLE = {
    "[" * 100_000: "not JSON: ",
    "[]": "not SARIF: no list of runs",
    '{"runs": [], "version": "2.0.0"}': "unsupported SARIF version '2.0.0', expected 2.1.0",
    '{"runs": [{"tool": {"driver": {}}, "results": [{"locations": 1}]}], "version": "2.1.0"}': (
        "not SARIF: TypeError in a run: "
    ),
    document([result("src/a.py", 3) | {"message": {"text": 1}}]): (
        "not SARIF: TypeError in a run: 1 is not a string"
    ),
}


@pytest.mark.parametrize("text", UNREADABLE, ids=[*UNREADABLE.values()])
def test_anything_but_sarif_gets_one_line(run: Run, text: str) -> None:
    code, lines, message = run(given=text)
    assert (code, lines) == (2, "")
    assert message.startswith(f"changed_findings: -: {UNREADABLE[text]}")
    assert message.count("\n") == 1


@pytest.mark.parametrize(("stream", "name"), [(0, "input"), (1, "output")])
def test_a_closed_stream_gets_one_line(
    start: Start, project: Repository, stream: int, name: str
) -> None:
    close = partial(os.close, stream)
    program = start(EXAMPLES / "changed_findings.py", project.root, "-", preexec_fn=close)
    line = f"changed_findings: standard {name} is closed\n"
    assert (program.communicate()[1], program.returncode) == (line, 2)


def test_a_closed_pipe_does_not_pass_for_no_findings(run: Run) -> None:
    reader, writer = os.pipe()
    os.close(reader)
    with os.fdopen(writer):
        assert run(given=document([result("src/a.py", 3)]), stdout=writer) == (141, "", "")


def test_a_full_disk_keeps_the_document_that_was_there(run: Run, project: Repository) -> None:
    out = project.root / "out"
    out.write_text("before")
    many = document([result("src/a.py", 3)] * 100)
    code, _, message = run(f"--sarif={out}", given=many, preexec_fn=allow_small_files_only)
    assert code == 2
    # A module that counts its covered lines cannot write these either, and says so at exit.
    assert message.splitlines()[0] == f"changed_findings: [Errno 27] File too large: '{out}'"
    assert out.read_text() == "before"
    assert [*project.root.glob(".out*")] == []


def test_a_device_is_written_to_and_not_replaced(run: Run) -> None:
    finding = document([result("src/a.py", 3)])
    code, lines, _ = run("--sarif=/dev/stdout", given=finding)
    assert code == 1
    assert json.loads(lines.splitlines()[0])["version"] == "2.1.0"


def allow_small_files_only() -> None:
    """Let a write fail as on a full disk."""
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))
