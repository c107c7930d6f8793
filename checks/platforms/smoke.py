"""Check that an installed module works: list the files that a branch of a repository changed.

Usage: smoke.py [HOST], the folder of the host package where no stand-in for it is installed.
"""

import importlib.metadata
import sys
from pathlib import Path
from tempfile import TemporaryDirectory

EXAMPLES = Path(__file__).parents[2] / "examples"


def main() -> str | None:
    """Print what was found where, and return what is wrong, if anything is."""
    sys.path += [str(EXAMPLES), *sys.argv[1:]]
    import sample_repository  # noqa: PLC0415 - found only now

    from orvel_tarnix.utils import git_utils  # noqa: PLC0415 - found only now

    version = importlib.metadata.version("orvel-tarnix-git-utils")
    with TemporaryDirectory() as folder:
        root = Path(folder) / "sample"
        sample_repository.make(root)
        files = git_utils.diff_file_changes(root, "main", "feature/login")
    print(f"git_utils {version}, {git_utils.__file__}")
    statuses = [file.status for file in files]
    return None if statuses == ["added", "modified", "renamed"] else f"found {files}"


if __name__ == "__main__":
    sys.exit(main())
