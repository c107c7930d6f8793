"""Every public function, record field and constant, used as its type says."""

import logging
import re
from datetime import datetime
from pathlib import Path
from typing import Any, assert_type

from orvel_tarnix.utils import git_utils
from orvel_tarnix.utils.git_utils import CommitChanges, FileChange, GitError, LineSpan

root = git_utils.find_repo_root()
moment = git_utils.parse_time_spec("7d")
assert_type(root, Path)
assert_type(moment, datetime)
assert_type(git_utils.find_git_root(), Path | None)
assert_type(git_utils.find_git_root(root), Path | None)
assert_type(git_utils.resolve_display_branch(root), str | None)
assert_type(git_utils.normalize_branch_name(None), str | None)
assert_type(git_utils.sanitize_branch_name("a/b"), str)
assert_type(git_utils.wiki_root(root), Path)
assert_type(git_utils.wiki_directory(root, branch="a/b"), Path)
assert_type(git_utils.run_git_command(root, ["status"], timeout=5), tuple[str, str, int])
assert_type(git_utils.get_head_commit(root, short=False), str | None)
assert_type(git_utils.get_default_branch(root), str)
assert_type(git_utils.branch_exists(root, "main"), bool)
assert_type(git_utils.get_authors_for_period(root, "2w"), list[dict[str, Any]])
assert_type(git_utils.resolve_commit(root, "HEAD"), str | None)
assert_type(git_utils.count_commits(root, "main", "HEAD"), int)
assert_type(git_utils.commit_before(root, "HEAD", moment), str | None)
assert_type(git_utils.diff_file_changes(root, "main", "HEAD"), list[FileChange])
commits = git_utils.log_commit_changes(root, since=moment, ref=None, max_commits=9)
assert_type(commits, list[CommitChanges])
spans = git_utils.diff_line_spans(root, "main", "HEAD", merge_base=True, paths=["a"])
assert_type(spans, dict[str, list[LineSpan]])
assert_type(git_utils.parse_file_changes(""), list[FileChange])
assert_type(git_utils.parse_commit_changes(""), list[CommitChanges])
assert_type(git_utils.parse_line_spans(""), dict[str, list[LineSpan]])

file = FileChange("a", "added", 1, 0)
assert_type(file.path, str)
assert_type(file.status, str)
assert_type(file.additions, int)
assert_type(file.deletions, int)
assert_type(file.old_path, str | None)
assert_type(CommitChanges(1, (file,)).timestamp, int)
assert_type(CommitChanges(1, (file,)).files, tuple[FileChange, ...])
span = LineSpan(1, 2, added=True)
assert_type(span.start, int)
assert_type(span.end, int)
assert_type(span.added, bool)
match span:
    case LineSpan(start, _end, _added):
        assert_type(start, int)
error: RuntimeError = GitError("no such revision")

assert_type(git_utils.logger, logging.Logger)
assert_type(git_utils.TIME_SPEC_FORMS, str)
assert_type(git_utils._RELATIVE_SPEC, re.Pattern[str])
assert_type(git_utils._SPEC_UNITS, dict[str, str])
assert_type(git_utils._STATUS_BY_LETTER, dict[str, str])
assert_type(git_utils._TWO_PATH_LETTERS, frozenset[str])
assert_type(git_utils._COMMIT_START, str)
assert_type(git_utils._PATCH_OPTIONS, tuple[str, ...])
assert_type(git_utils._HUNK_HEADER, re.Pattern[str])
assert_type(git_utils._C_ESCAPE, re.Pattern[str])
assert_type(git_utils._C_ESCAPES, dict[str, str])
assert_type(git_utils._MAX_PATHSPEC_CHARS, int)
