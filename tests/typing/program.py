"""Uses of the module for `make stub`: the type checker must reject the ignored lines, no others."""

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
