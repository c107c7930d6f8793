"""The example that filters findings, beside reading them."""

import json
from collections.abc import Iterator
from functools import partial
from pathlib import Path

from findings import sarif
from findings.touched import Touched
from table import Ratio, Row
from timing import measure

from orvel_tarnix.utils.git_utils import LineSpan

FINDINGS, FILES, SPANS_A_FILE = 100_000, 100, 100


def finding_rows() -> Iterator[Row]:
    """The filter beside reading its input, and how it grows."""
    text = _findings(FINDINGS)
    document, more = json.loads(text), json.loads(_findings(2 * FINDINGS))
    touched, more_touched = _touched(SPANS_A_FILE), _touched(2 * SPANS_A_FILE)

    def kept(document: sarif.Json, touched: dict[str, Touched]) -> int:
        return len(list(sarif.Run(document["runs"][0], Path("/nowhere")).at(touched)))

    if kept(document, touched) != FINDINGS * 3 // 20:
        raise AssertionError("a finding is lost")
    measurement = measure(
        read=partial(json.loads, text),
        filter=partial(kept, document, touched),
        more=partial(kept, more, touched),
        wider=partial(kept, document, more_touched),
    )
    work = f"{FINDINGS:,} findings, {FILES * SPANS_A_FILE:,} spans"
    kind, ratios = Ratio.RELATIVE_TIME, measurement.ratios("filter", "read")
    yield Row(f"{work}: filter", "reading with `json`", target=1, kind=kind, **ratios)
    for side, what in (("more", "findings"), ("wider", "spans")):
        ratio = measurement.ratios(side, "filter")["ratio"]
        yield Row(f"filter, twice as many {what}", "half as many", ratio, 2.2, kind)


def _touched(spans: int) -> dict[str, Touched]:
    """So many spans in each file."""
    lines = [LineSpan(20 * number + 1, 20 * number + 3, added=True) for number in range(spans)]
    return {f"src/{file}.py": Touched(lines) for file in range(FILES)}


def _findings(number: int) -> str:
    """Findings on the lines of some files, line by line."""
    results = []
    for index in range(number):
        line, file = divmod(index, FILES)
        region = {"startLine": line + 1, "startColumn": 1, "endLine": line + 1, "endColumn": 9}
        place = {"artifactLocation": {"uri": f"file:///nowhere/src/{file}.py"}, "region": region}
        message = {"text": f"Line {line + 1} is not as it should be"}
        finding = {"ruleId": f"E{index % 50}", "level": "error", "message": message}
        results.append(finding | {"locations": [{"physicalLocation": place}]})
    run = {"tool": {"driver": {"name": "tool"}}, "results": results}
    return json.dumps({"version": "2.1.0", "runs": [run]})
