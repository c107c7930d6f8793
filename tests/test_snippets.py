"""Every snippet of the README and of docs/, typed in at a terminal beside the sample repository."""

import ast
import doctest
import os
import re
from pathlib import Path

import pytest
import sample_repository

from orvel_tarnix.utils import git_utils

TREE = Path(__file__).parent.parent
# A program is followed by what it prints; a session shows it line by line.
SNIPPET = re.compile(r"(?ms)^```(python|pycon)\n(.*?)^```\n(?:\n[^\n`]*\n\n```text\n(.*?)^```\n)?")
PAGES = [TREE / "README.md", *sorted((TREE / "docs").glob("*.md"))]
SNIPPETS = {page.name: SNIPPET.findall(page.read_text("utf-8")) for page in PAGES}


@pytest.mark.parametrize("page", [page for page, snippets in SNIPPETS.items() if snippets])
def test_what_a_snippet_prints_is_what_the_page_says(
    page: str, tmp_path: Path, monkeypatch: pytest.MonkeyPatch, capsys: pytest.CaptureFixture[str]
) -> None:
    sample_repository.make(tmp_path / "sample")
    monkeypatch.chdir(tmp_path)
    session = "\n".join(code for language, code, _ in SNIPPETS[page] if language == "pycon")
    test = doctest.DocTestParser().get_doctest(session, {}, page, page, 0)
    differences: list[str] = []
    os.dup2(os.openpty()[1], 0)
    doctest.DocTestRunner(optionflags=doctest.ELLIPSIS).run(test, out=differences.append)
    for language, code, printed in SNIPPETS[page]:
        if language == "python":
            exec(code, {})
            assert capsys.readouterr().out == printed
    assert "".join(differences) == ""


def test_every_public_function_has_its_snippet() -> None:
    stub = ast.parse((Path(git_utils.__file__).parent / "git_utils.pyi").read_text("utf-8"))
    functions = [each.name for each in stub.body if isinstance(each, ast.FunctionDef)]
    shown = "".join(code for _, code, _ in SNIPPETS["functions.md"])
    assert [
        name for name in functions if name[0] != "_" and f"git_utils.{name}(" not in shown
    ] == []
