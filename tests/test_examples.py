"""The examples, run as a person runs them, on a repository whose contents are known."""

import json
import os
import re
import subprocess
import sys
from collections.abc import Callable
from html import unescape
from pathlib import Path

import pytest

TREE = Path(__file__).parents[1]
BRANCH = "fix/<b>&co"
ODD_NAME = "docs/<script>\n.html"
Run = Callable[..., subprocess.CompletedProcess[str]]


@pytest.fixture(scope="module")
def environment(tmp_path_factory: pytest.TempPathFactory) -> dict[str, str]:
    home = str(tmp_path_factory.mktemp("home"))
    kept = {name: value for name, value in os.environ.items() if not name.startswith("GIT_")}
    git = {"GIT_CONFIG_GLOBAL": os.devnull, "GIT_CONFIG_NOSYSTEM": "1"}
    return kept | git | {"HOME": home, "TMPDIR": home, "TZ": "UTC0", "PYTHONPATH": str(TREE)}


@pytest.fixture(scope="module")
def repository(tmp_path_factory: pytest.TempPathFactory, environment: dict[str, str]) -> Path:
    """A branch of two commits, one of them empty, on a main that went on by one."""
    root = tmp_path_factory.mktemp("work") / "project"

    def git(*args: str, **identity: str) -> None:
        subprocess.run(["git", *args], cwd=root, env=environment | identity, check=True)

    def commit(day: int, contents: dict[str, list[object]]) -> None:
        for name, lines in contents.items():
            (root / name).parent.mkdir(exist_ok=True)
            (root / name).write_text("".join(f"{line}\n" for line in lines))
        facts = {"NAME": "Zoë & Co", "EMAIL": "zoe@example.com", "DATE": f"2020-01-0{day}T12:00Z"}
        who = {f"GIT_{role}_{k}": v for role in ("AUTHOR", "COMMITTER") for k, v in facts.items()}
        git("add", ".")
        git("commit", "--quiet", "--allow-empty", f"--message=Day {day}", **who)

    root.mkdir()
    git("init", "--quiet", "--initial-branch=main")
    text = {"src/app.py": [*range(1, 11)], "src/old name.py": [*range(30)], "gone.txt": [1, 2]}
    commit(1, text | {"logo.bin": ["\0 1"]})
    git("checkout", "--quiet", "-b", BRANCH)
    git("mv", "src/old name.py", "src/new name.py")
    git("rm", "--quiet", "gone.txt")
    changed = [1, 2, "three", 4, 5, 6, "x", "y", 7, 8, 9]
    commit(2, {"src/app.py": changed, ODD_NAME: ["<p>"], "logo.bin": ["\0 2"]})
    commit(3, {})
    git("checkout", "--quiet", "main")
    commit(4, {"src/app.py": [1, 2, 3, 4, 5, "main's", 7, 8, 9, 10]})
    git("checkout", "--quiet", BRANCH)
    return root


@pytest.fixture
def run(environment: dict[str, str], repository: Path) -> Run:
    def run(script: str, *args: str) -> subprocess.CompletedProcess[str]:
        # Standard input is a pipe that nobody writes to or closes: no git may wait for it.
        reader, writer = os.pipe()
        with os.fdopen(reader), os.fdopen(writer, "w"):
            command = [sys.executable, "-W", "error", f"{TREE}/examples/{script}.py", *args]
            place = {"cwd": repository / "src", "env": environment, "stdin": reader}
            return subprocess.run(command, **place, capture_output=True, encoding="utf-8")

    return run


def test_text_and_json_tell_what_the_branch_changed(run: Run, repository: Path) -> None:
    report = run("branch_report", "--since", "2020-01-02")
    facts = json.loads(run("branch_report", "--json", "--since", "2020-01-02").stdout)
    assert (report.returncode, report.stderr) == (0, "")
    assert (
        report.stdout
        == f"""\
repository  {repository}
branch      {BRANCH} (default: main)
head        {BRANCH} ({facts["head"]["commit"][:12]})
base        main ({facts["base"]["commit"][:12]}), 2 ahead, 1 behind
wiki        memory/lore-book/fix___b__co
period      since 2020-01-02 00:00 (2020-01-02)

What {BRANCH} changed since it left main: 5 files, +4 -4 lines
  modified  +3  -2  src/app.py
      lines 3, +7-8, 11
  deleted   +0  -2  gone.txt
  added     +1  -0  docs/<script>\\n.html  lines +1
  modified  +0  -0  logo.bin
  renamed   +0  -0  src/old name.py -> src/new name.py

Commits of the period: 2
  2020-01-03 12:00  0 files  +0  -0
  2020-01-02 12:00  5 files  +4  -4

Authors of the period: 1
  2  Zoë & Co <zoe@example.com>
"""
    )
    assert (facts["ahead"], facts["behind"], facts["period_start"]) == (2, 1, "2020-01-02T00:00:00")
    assert facts["authors"] == [{"name": "Zoë & Co", "email": "zoe@example.com", "commits": 2}]
    old_paths = dict.fromkeys([ODD_NAME, "gone.txt", "logo.bin", "src/app.py"])
    old_paths["src/new name.py"] = "src/old name.py"
    assert {file["path"]: file["old_path"] for file in facts["files"]} == old_paths
    assert facts["spans"]["src/app.py"][1] == {"start": 7, "end": 8, "added": True}


def test_a_head_without_anything_of_its_own_tells_of_the_period(run: Run) -> None:
    report = run("branch_report", "--head=main", "--since=2020-01-02").stdout
    assert "What main changed since 2020-01-02 00:00: 1 file," in report
    # All has been quiet for long: the usual period ends with the newest commit.
    report = run("branch_report", "--head=main").stdout
    assert "All that main holds, from its first commit on: 4 files, +42 -0" in report


COMPLAINTS = {
    "--base=--output=x": "'--output=x' names no commit of ",
    "--since=soon": "since must be a positive whole number",
    "/": "/ is in no git repository",
    "../missing": "../missing is no directory",
    "--html=missing/page.html": "[Errno 2] No such file or directory",
}


@pytest.mark.parametrize(("arg", "complaint"), COMPLAINTS.items())
def test_bad_input_gets_one_line_and_exit_code_2(run: Run, arg: str, complaint: str) -> None:
    answer = run("branch_report", arg)
    assert (answer.returncode, answer.stdout) == (2, "")
    assert answer.stderr.startswith(f"branch_report: {complaint}")
    assert answer.stderr.count("\n") == 1


def test_a_reader_may_stop_reading(environment: dict[str, str], repository: Path) -> None:
    command = [sys.executable, "-W", "error", f"{TREE}/examples/branch_report.py", str(repository)]
    pipe = subprocess.PIPE
    with subprocess.Popen(command, env=environment, stdout=pipe, stderr=pipe) as report:
        report.stdout.close()
        assert (report.stderr.read(), report.wait()) == (b"", 0)


def test_the_page_needs_nothing_else_and_escapes_names(run: Run, tmp_path: Path) -> None:
    assert run("branch_report", "--html", f"{tmp_path}/page.html").returncode == 0
    page = (tmp_path / "page.html").read_text("utf-8")
    tags = re.findall(r"<([a-z]+\d?)([^>]*)>", page)
    words = unescape(re.sub(r"<[^>]*>", "", page))
    for shown in (f"What {BRANCH} changed", "docs/<script>\\n.html", "was src/old name.py"):
        assert shown in words
    assert not {"script", "link", "img", "iframe"} & {tag for tag, _ in tags}
    assert not re.search(r"\b(src|href)=|url\(|@import", page)
    # The largest change comes first: its bar, then the strip of its three spans.
    marks = [attributes.split()[0] for tag, attributes in tags if tag in {"svg", "rect"}]
    kinds = ["size", "added", "deleted", "strip", "touched", "fresh", "touched"]
    assert marks[:7] == [f"class={kind}" for kind in kinds]


def test_many_repositories_are_asked_at_once(run: Run, repository: Path) -> None:
    answer = run("many_repositories", "..", "/", "--since", "2020-01-02")
    _, good, bad = map(str.split, answer.stdout.splitlines())
    assert good == ["2", "1", "5", "+4", "-4", "2", "1", BRANCH, "main", str(repository)]
    assert " ".join(bad).endswith("- /: / is in no git repository")
    assert (answer.returncode, answer.stderr) == (1, "")
