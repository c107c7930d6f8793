"""Texts as git writes them, made up but the same at every run."""

from collections.abc import Iterator
from random import Random

# What a line ends with, so that the text takes one, two or four bytes a character.
MARK_OF_WIDTH = {1: "e", 2: "\N{CYRILLIC SMALL LETTER IE}", 4: "\N{GRINNING FACE}"}
DENSE_HUNK = (5, 13)
SPARSE_HUNK = (300, 700)
HUNKS_A_FILE = 12
FILES_A_FOLDER = 40
BINARY_SHARE = 0.02


def patch(characters: int, lines_a_hunk: tuple[int, int], width: int = 1) -> str:
    """A `-U0 --no-prefix` patch of at least so many characters."""
    random = Random(20)
    parts: list[str] = []
    length = 0
    for file in range(characters):
        path = _path(file)
        part = f"diff --git {path} {path}\nindex 5bd1a2f..9c04e77 100644\n--- {path}\n+++ {path}\n"
        part += "".join(_hunks(random, lines_a_hunk, MARK_OF_WIDTH[width]))
        parts.append(part)
        length += len(part)
        if length >= characters:
            break
    return "".join(parts)


def _hunks(random: Random, lines_a_hunk: tuple[int, int], mark: str) -> Iterator[str]:
    start = 1
    for _ in range(HUNKS_A_FILE):
        total = random.randint(*lines_a_hunk)
        old = random.choice([0, total, random.randint(0, total)])
        new = total - old
        yield f"@@ -{_extent(start, old)} +{_extent(start, new)} @@ def load_settings(self):\n"
        for number in range(total):
            sign = "-" if number < old else "+"
            indent = " " * random.choice([0, 4, 4, 8, 8, 12])
            yield f"{sign}{indent}result_{number} = compute(value, {start}){mark}\n"
        start += total + random.randint(1, 60)


def _extent(start: int, count: int) -> str:
    return f"{start}" if count == 1 else f"{start},{count}"


def long_hunk(lines: int) -> str:
    """A patch of one hunk of so many added lines, which no second copy is made of."""
    line = "+    result = compute(value, 1234567)\n"
    chunk = line * 20_000
    text = f"--- /dev/null\n+++ long.py\n@@ -0,0 +1,{lines} @@\n"
    for _ in range(lines // 20_000):
        text += chunk
    return text


def file_changes(count: int) -> str:
    """What `git diff --raw --numstat -M -z` says of so many files."""
    return "".join(_file_tokens(Random(30), range(count)))


def commit_log(count: int) -> str:
    """What `git log --format=%x1e%ct --raw --numstat -M -z` says of commits of 0 to 4 files."""
    random = Random(40)
    tokens: list[str] = []
    for number in range(count):
        files = sorted(random.sample(range(5000), random.randint(0, 4)))
        feed = "\n" if files else ""
        tokens += [f"\x1e{1_700_000_000 - number * 977}\0{feed}", *_file_tokens(random, files)]
    return "".join(tokens)


def _file_tokens(random: Random, files: range | list[int]) -> Iterator[str]:
    """All raw records, then all numstat records, both in the order of the paths."""
    numstat = []
    for number in files:
        path = _path(number)
        kind = random.choices("MADTR", [80, 8, 6, 1, 5])[0]
        modes = {"A": "000000 100644", "D": "100644 000000"}.get(kind, "100644 100644")
        names = path
        counted = f"\t{path}"
        if kind == "R":
            kind, names = f"R{random.randint(50, 100):03}", f"old/{path}\0{path}"
            counted = f"\t\0{names}"
        blobs = f"{random.getrandbits(28):07x} {random.getrandbits(28):07x}"
        yield f":{modes} {blobs} {kind}\0{names}\0"
        added, deleted = random.randint(0, 400), random.randint(0, 90)
        counts = "-\t-" if random.random() < BINARY_SHARE else f"{added}\t{deleted}"
        numstat.append(f"{counts}{counted}\0")
    yield from numstat


def paths(count: int) -> list[str]:
    """So many paths, in git's order."""
    return [_path(number) for number in range(count)]


def _path(number: int) -> str:
    folder, file = divmod(number, FILES_A_FOLDER)
    return f"packages/component_{folder:06}/source/module_{file:03}.py"
