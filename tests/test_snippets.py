"""Every snippet of the README and of docs/, typed in at a terminal beside the sample repository."""

import doctest
import os
import re
from pathlib import Path

import pytest
import sample_repository

TREE = Path(__file__).parent.parent
# A program is followed by what it prints; a session shows it line by line.
SNIPPET = re.compile(r"(?ms)^```(python|pycon)\n(.*?)^```\n(?:\n[^\n`]*\n\n```text\n(.*?)^```\n)?")
PAGES = [TREE / "README.md", *sorted((TREE / "docs").glob("*.md"))]
SNIPPETS = {page.name: SNIPPET.findall(page.read_text("utf-8")) for page in PAGES}


@pytest.mark.parametrize("page", [page for page, snippets in SNIPPETS.items() if snippets])
def test_a_snippet_prints_what_the_page_says(
    page: str, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setenv("GIT_DEFAULT_HASH", "sha256")  # what the caller has set plays no part
    sample_repository.make(tmp_path / "sample")
    monkeypatch.chdir(tmp_path)
    typed: list[doctest.Example] = []
    for language, code, printed in SNIPPETS[page]:
        program = doctest.Example(f"exec({code!r}, {{}})", printed)
        typed += doctest.DocTestParser().get_examples(code) if language == "pycon" else [program]
    session = doctest.DocTest(typed, {}, page, page, 0, None)
    differences: list[str] = []
    os.dup2(os.openpty()[1], 0)
    doctest.DocTestRunner(optionflags=doctest.ELLIPSIS).run(session, out=differences.append)
    assert "".join(differences) == ""


def test_every_public_function_has_its_snippet() -> None:
    stub = (TREE / "orvel_tarnix/utils/git_utils.pyi").read_text("utf-8")
    shown = "".join(code for _, code, _ in SNIPPETS["functions.md"])
    functions = set(re.findall(r"(?m)^def ([a-z]\w*)", stub))
    assert functions - {*re.findall(r"git_utils\.(\w+)\(", shown)} == set()
