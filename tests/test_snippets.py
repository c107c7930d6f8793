"""Every snippet of the README and of docs/ prints what the page shows."""

import doctest
import os
import re
from pathlib import Path

import pytest
import sample_repository

TREE = Path(__file__).parent.parent
STUB = TREE / "orvel_tarnix/utils/git_utils.pyi"
# A session (pycon) shows its output line by line. A program (python) may be followed by a sentence
# and a block of its output.
SNIPPET = re.compile(r"(?ms)^```(python|pycon)\n(.*?)^```\n(?:\n[^\n`]*\n\n```text\n(.*?)^```\n)?")
PAGES = [TREE / "README.md", *sorted((TREE / "docs").glob("*.md"))]
SNIPPETS = {page.name: SNIPPET.findall(page.read_text("utf-8")) for page in PAGES}


@pytest.mark.parametrize("page", [page for page, snippets in SNIPPETS.items() if snippets])
def test_a_snippet_prints_what_the_page_shows(
    page: str, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setenv("GIT_DEFAULT_HASH", "sha256")  # the sample does not depend on it
    sample_repository.make(tmp_path / "sample")
    monkeypatch.chdir(tmp_path)
    examples: list[doctest.Example] = []
    for language, code, printed in SNIPPETS[page]:
        if language == "pycon":
            examples += doctest.DocTestParser().get_examples(code)
        else:
            examples.append(doctest.Example(f"exec({code!r}, {{}})", printed))
    session = doctest.DocTest(examples, {}, page, page, 0, None)
    differences: list[str] = []
    os.dup2(os.openpty()[1], 0)  # git shortlog reads HEAD only if stdin is a terminal
    doctest.DocTestRunner(optionflags=doctest.ELLIPSIS).run(session, out=differences.append)
    assert "".join(differences) == ""


PUBLIC_FUNCTIONS = re.findall(r"(?m)^def ([a-z]\w*)", STUB.read_text("utf-8"))


def test_each_public_function_has_a_snippet_in_functions_md() -> None:
    code = "".join(code for _, code, _ in SNIPPETS["functions.md"])
    missing = ", ".join(name for name in PUBLIC_FUNCTIONS if f"git_utils.{name}(" not in code)
    assert not missing, (
        f"docs/functions.md has no snippet that calls {missing}: add a section there"
    )
