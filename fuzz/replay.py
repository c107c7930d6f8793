"""Compares the two modules on stored inputs and on each beginning of them.

Usage: replay.py [FILE...]    (default: the whole corpus)
"""

import sys
from pathlib import Path

import differential

CORPUS = Path(__file__).with_name("corpus")


def replay(data: bytes) -> int:
    """Compares on one input and its beginnings in every variant; returns the comparisons made."""
    variants = range(len(differential.VARIANTS))
    text = data[differential.HEAD :]
    for end in range(len(text) + 1):
        for variant in variants:
            differential.check(bytes([data[0], variant]) + text[:end])
    return (len(text) + 1) * len(variants)


def main(arguments: list[str]) -> None:
    """Replays the files, or the whole corpus, which must have an input for each function."""
    files = [Path(each) for each in arguments] or sorted(CORPUS.iterdir())
    inputs = {each: each.read_bytes() for each in files}
    if not arguments:
        for file, data in inputs.items():
            function = differential.function_of(data)
            if not file.name.startswith(f"{function}-"):
                sys.exit(f"{file} is an input for {function}: rename it to {function}-...")
        missing = set(differential.NAMES) - {file.name.partition("-")[0] for file in inputs}
        if missing:
            sys.exit(f"no input for {', '.join(sorted(missing))}: add one to fuzz/corpus")
    compared = sum(replay(data) for data in inputs.values())
    print(f"{len(files)} inputs: both modules agree in {compared} comparisons")


if __name__ == "__main__":
    main(sys.argv[1:])
