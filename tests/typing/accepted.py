"""Every public function, used as its types say."""

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
assert_type(
    git_utils.log_commit_changes(root, since=moment, ref=None, max_commits=9), list[CommitChanges]
)
assert_type(
    git_utils.diff_line_spans(root, "main", "HEAD", merge_base=True, paths=["a"]),
    dict[str, list[LineSpan]],
)
assert_type(git_utils.parse_file_changes(""), list[FileChange])
assert_type(git_utils.parse_commit_changes(""), list[CommitChanges])
assert_type(git_utils.parse_line_spans(""), dict[str, list[LineSpan]])
assert_type(FileChange("a", "added", 1, 0).old_path, str | None)
assert_type(CommitChanges(1, ()).files, tuple[FileChange, ...])
assert_type(git_utils.TIME_SPEC_FORMS, str)
error: RuntimeError = GitError("no such revision")
match LineSpan(1, 2, added=True):
    case LineSpan(start, end, added):
        assert_type(start, int)
        assert_type(end, int)
        assert_type(added, bool)
