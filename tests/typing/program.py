"""A program whose ignored lines are misuse: `make stub` fails where one is not, or another is."""

import re
from pathlib import Path

from orvel_tarnix.utils import git_utils

root: Path = git_utils.find_repo_root()
git_utils.get_head_commit(str(root))  # type: ignore[arg-type]
git_utils.diff_line_spans(root, "main", "HEAD")  # type: ignore[call-arg]
git_utils.log_commit_changes(root, since="7d", ref=None, max_commits=1)  # type: ignore[arg-type]
git_utils.run_git_command(root, ("status",))  # type: ignore[arg-type]
git_utils.LineSpan(1, 2, added=True).start = 3  # type: ignore[misc]
git_utils.resolve_commit(root, "main").upper()  # type: ignore[union-attr]
git_utils.parse_line_spans("")[0]  # type: ignore[index]
moment = git_utils.datetime.now() - git_utils.timedelta(days=7)
output = git_utils.subprocess.run("git", **git_utils.get_subprocess_hidden_kwargs()).stdout

texts: list[str] = [git_utils.TIME_SPEC_FORMS, git_utils._COMMIT_START]
patterns: list[re.Pattern[str]] = [git_utils._HUNK_HEADER, git_utils._C_ESCAPE]
patterns.append(git_utils._RELATIVE_SPEC)
tables: list[dict[str, str]] = [git_utils._SPEC_UNITS, git_utils._C_ESCAPES]
tables.append(git_utils._STATUS_BY_LETTER)
letters: frozenset[str] = git_utils._TWO_PATH_LETTERS
options: tuple[str, ...] = git_utils._PATCH_OPTIONS
most: int = git_utils._MAX_PATHSPEC_CHARS
