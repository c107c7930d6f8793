"""Misuse: each line that is marked is an error, and no other is."""

from orvel_tarnix.utils import git_utils

root = git_utils.find_repo_root()
git_utils.get_head_commit(str(root))  # wrong
git_utils.diff_line_spans(root, "main", "HEAD")  # wrong
git_utils.log_commit_changes(root, since="7d", ref=None, max_commits=1)  # wrong
git_utils.run_git_command(root, ("status",))  # wrong
git_utils.LineSpan(1, 2, added=True).start = 3  # wrong
commit = git_utils.resolve_commit(root, "main")
print(commit.upper())  # wrong
print(git_utils.parse_line_spans("")[0])  # wrong
