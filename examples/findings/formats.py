"""How findings are printed: for a person, or as annotations of a pull request."""

from collections.abc import Iterator, Sequence

from findings.sarif import Finding
from shared.terminal import aligned, printable

# The commands of GitHub's runners, by the level of a result.
COMMANDS = {"error": "error", "warning": "warning", "note": "notice", "none": "notice"}
DATA_ESCAPES = str.maketrans({"%": "%25", "\r": "%0D", "\n": "%0A"})
PROPERTY_ESCAPES = DATA_ESCAPES | str.maketrans({":": "%3A", ",": "%2C"})


def text(findings: Sequence[Finding]) -> Iterator[str]:
    """A line for each finding: where it is, its rule and its message."""
    rows = [
        (f"{finding.path}:{finding.line}:", f"{finding.rule}:", " ".join(finding.message.split()))
        for finding in findings
    ]
    return aligned([[printable(cell) for cell in row] for row in rows], "<<")


def github(findings: Sequence[Finding]) -> Iterator[str]:
    """A workflow command for each finding, which puts it on its line of the pull request."""
    for finding in findings:
        place = {"file": finding.path, "line": str(finding.line), "title": finding.rule}
        properties = ",".join(
            f"{name}={printable(value.translate(PROPERTY_ESCAPES))}"
            for name, value in place.items()
        )
        message = printable(finding.message.translate(DATA_ESCAPES))
        yield f"::{COMMANDS[finding.level]} {properties}::{message}"


FORMATS = {"text": text, "github": github}
