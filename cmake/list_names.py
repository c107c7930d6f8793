"""Lists the strings that the C++ code looks up or calls by.

The sources write such a string as a literal, "split"_name; each module keeps all of them interned.
The generated header lists them in order.

Usage: list_names.py HEADER SOURCE...
"""

import re
import sys
from pathlib import Path

LITERAL = re.compile(r'"([^"\n]+)"_name\b')


def main(header: str, *sources: str) -> None:
    """Write the header."""
    texts = (Path(source).read_text(encoding="utf-8") for source in sources)
    names = sorted({name for text in texts for name in LITERAL.findall(text)})
    lines = [
        "// Generated from the sources by list_names.py.",
        *(f'"{name}",' for name in names),
        "",
    ]
    Path(header).write_text("\n".join(lines), encoding="utf-8")


if __name__ == "__main__":
    main(*sys.argv[1:])
