"""Uses of the module for `make stub`: the type checker must reject the ignored lines, no others."""

import re
from pathlib import Path
from typing import assert_type

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

assert_type([git_utils.TIME_SPEC_FORMS, git_utils._COMMIT_START], list[str])
assert_type([git_utils._HUNK_HEADER, git_utils._C_ESCAPE], list[re.Pattern[str]])
assert_type(git_utils._RELATIVE_SPEC, re.Pattern[str])
assert_type([git_utils._SPEC_UNITS, git_utils._C_ESCAPES], list[dict[str, str]])
assert_type(git_utils._STATUS_BY_LETTER, dict[str, str])
assert_type(git_utils._TWO_PATH_LETTERS, frozenset[str])
assert_type(git_utils._PATCH_OPTIONS, tuple[str, ...])
assert_type(git_utils._MAX_PATHSPEC_CHARS, int)
