"""Compares the two modules on kept inputs: each as it is, and cut off at every position.

Usage: replay.py [FILE...]    (default: the whole corpus)
"""

import sys
from pathlib import Path

import differential

CORPUS = Path(__file__).with_name("corpus")


def replay(data: bytes) -> int:
    """Compares one input and its beginnings, in every kind of text; returns how often."""
    variants = range(len(differential.VARIANTS))
    text = data[differential.HEAD :]
    for end in range(len(text) + 1):
        for variant in variants:
            differential.check(bytes([data[0], variant]) + text[:end])
    return (len(text) + 1) * len(variants)


def main(arguments: list[str]) -> None:
    """Replays the files, or the corpus, which has to have inputs for each of the parsers."""
    files = [Path(each) for each in arguments] or sorted(CORPUS.iterdir())
    inputs = {each: each.read_bytes() for each in files}
    if not arguments:
        for file, data in inputs.items():
            if not file.name.startswith(differential.parser_of(data) + "-"):
                sys.exit(f"{file} is for {differential.parser_of(data)}")
        missing = set(differential.NAMES) - {file.name.partition("-")[0] for file in inputs}
        if missing:
            sys.exit(f"nothing in {CORPUS} is for {', '.join(sorted(missing))}")
    compared = sum(replay(data) for data in inputs.values())
    print(f"{len(files)} inputs: native and plain Python agree in {compared} comparisons")


if __name__ == "__main__":
    main(sys.argv[1:])
