"""Generated texts in the formats that git prints; each run creates the same ones."""

from collections.abc import Iterator, Sequence
from random import Random

# Ends each line; a str stores all its characters in as many bytes as its widest one needs.
LAST_CHARACTER = {1: "e", 2: "\N{CYRILLIC SMALL LETTER IE}", 4: "\N{GRINNING FACE}"}
# The least and the largest number of changed lines per hunk.
DENSE_HUNK = (5, 13)
SPARSE_HUNK = (300, 700)
HUNKS_PER_FILE = 12
FILES_PER_FOLDER = 40
BINARY_SHARE = 0.02


def patch(characters: int, lines: tuple[int, int], width: int = 1) -> str:
    """A patch as `git diff -U0 --no-prefix` prints it, of at least that many characters."""
    random = Random(20)
    parts: list[str] = []
    length = 0
    for file in range(characters):
        path = _path(file)
        part = f"diff --git {path} {path}\nindex 5bd1a2f..9c04e77 100644\n--- {path}\n+++ {path}\n"
        part += "".join(_hunks(random, lines, LAST_CHARACTER[width]))
        parts.append(part)
        length += len(part)
        if length >= characters:
            break
    return "".join(parts)


def _hunks(random: Random, lines: tuple[int, int], last: str) -> Iterator[str]:
    start = 1
    for _ in range(HUNKS_PER_FILE):
        total = random.randint(*lines)
        old = random.choice([0, total, random.randint(0, total)])
        new = total - old
        yield f"@@ -{_extent(start, old)} +{_extent(start, new)} @@ def load_settings(self):\n"
        for number in range(total):
            sign = "-" if number < old else "+"
            indent = " " * random.choice([0, 4, 4, 8, 8, 12])
            yield f"{sign}{indent}result_{number} = compute(value, {start}){last}\n"
        start += total + random.randint(1, 60)


def _extent(start: int, count: int) -> str:
    return f"{start}" if count == 1 else f"{start},{count}"


def long_hunk(lines: int) -> str:
    """A patch of one hunk with that many added lines, built without a second copy of it."""
    line = "+    result = compute(value, 1234567)\n"
    chunk = line * 20_000
    text = f"--- /dev/null\n+++ long.py\n@@ -0,0 +1,{lines} @@\n"
    for _ in range(lines // 20_000):
        text += chunk
    return text


def file_changes(count: int, *, exchange_last: bool = False) -> str:
    """What `git diff --raw --numstat -M -z` prints for that many files.

    With ``exchange_last``, the numstat records of the last two files are exchanged.
    """
    raw, numstat = _file_records(Random(30), range(count))
    if exchange_last:
        numstat[-2:] = reversed(numstat[-2:])
    return "".join(raw + numstat)


def commit_log(count: int) -> str:
    """What `git log --format=%x1e%ct --raw --numstat -M -z` prints for commits of 1 to 3 files."""
    random = Random(40)
    tokens: list[str] = []
    for number in range(count):
        files = sorted(random.sample(range(5000), random.randint(1, 3)))
        raw, numstat = _file_records(random, files)
        tokens += [f"\x1e{1_700_000_000 - number * 977}\0\n", *raw, *numstat]
    return "".join(tokens)


def _file_records(random: Random, files: Sequence[int]) -> tuple[list[str], list[str]]:
    """The raw records and the numstat records, both in the order of the paths."""
    raw, numstat = [], []
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
        raw.append(f":{modes} {blobs} {kind}\0{names}\0")
        added, deleted = random.randint(0, 400), random.randint(0, 90)
        counts = "-\t-" if random.random() < BINARY_SHARE else f"{added}\t{deleted}"
        numstat.append(f"{counts}{counted}\0")
    return raw, numstat


def paths(count: int) -> list[str]:
    """That many paths, in the order in which git prints them."""
    return [_path(number) for number in range(count)]


def _path(number: int) -> str:
    folder, file = divmod(number, FILES_PER_FOLDER)
    return f"packages/component_{folder:06}/source/module_{file:03}.py"
