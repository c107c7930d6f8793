"""The report's page in a real browser, for a repository whose names contain HTML."""

import json
import os
import shutil
import subprocess
import sys
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import pytest
from axe_selenium_python import Axe
from selenium.webdriver import Chrome, ChromeOptions, ChromeService

SUBJECT = "<img src=//x.invalid onerror=document.title=1><script>document.title=1</script>{{7*7}}"
AUTHOR = "A\"' onload=x &lt;b&gt; B"
BRANCH = 'fix"><svg/onload=document.title=1>' + "w" * 80
SCRIPT_FILE = "<script>document.title=1<"
WIDE_FILE = "w\u202e\n\"'" * 20
MARKS = "\u0301\u0316" * 150  # above and below the letter that they follow
MARKED_FILE = f"f{MARKS[:100]}ile"
TREE = Path(__file__).parents[2]
FORBIDDEN = "script, img, iframe, object, embed, link, base, svg[onload], [onerror], body svg svg"
FIGURES = ".tiles b, .counts b, .authors b, .chart > span, td"
MAKE_PAGES = r"""
report() { "$PYTHON" "$TREE"/examples/branch_report.py --html "$1"; }
git init -q -b main; git config user.name "$AUTHOR"; git config user.email "b@&lt;b&gt;"
seq 40 >file; git add file; git commit -qm start; git checkout -qb "$BRANCH"
seq 2 39 >file; seq 9 >"$SCRIPT_FILE"; seq 9 >"$WIDE_FILE"; git add .; git commit -qm "$SUBJECT"
report names.html
git checkout -q main; git checkout -qb large; seq 258848 >long; git add long; git commit -qm long
{ echo "reset refs/heads/large"; echo "from refs/heads/large^0"; for number in $(seq 1100); do
printf 'commit refs/heads/large\ncommitter A <a@b> 1700000000 +0000\ndata 4\nmore\n'; done
} | git fast-import --quiet
report large.html
git checkout -q main; git checkout -qb marks; git config user.name "Zal$MARKS"
git mv file "$MARKED_FILE"; git commit -qm "Sub${MARKS}ject"
report marks.html
"""
# Figures that wrap or overflow their box.
BROKEN_FIGURES = """
    return [...document.querySelectorAll(arguments[0])].filter(figure => {
        const text = document.createRange();
        text.selectNodeContents(figure);
        const lines = new Set([...text.getClientRects()].map(line => Math.round(line.top)));
        const box = figure.parentElement.getBoundingClientRect();
        const end = text.getBoundingClientRect().right;
        return lines.size > 1 || end > box.right + 0.5;
    }).map(figure => figure.textContent);
"""
REMOVE_MARKS = r"""
    const texts = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
    while (texts.nextNode())
        texts.currentNode.data = texts.currentNode.data.replace(/[\u0300-\u036f]/g, '');
"""


@pytest.fixture(scope="module")
def folder(tmp_path_factory: pytest.TempPathFactory) -> Path:
    """Make the pages: of odd names, of large figures, and of combining marks."""
    root = tmp_path_factory.mktemp("work")
    env = {"PYTHON": sys.executable, "TREE": str(TREE), "PYTHONPATH": str(TREE)}
    env |= {"PATH": os.environ["PATH"], "HOME": str(root)}
    env |= {"GIT_CONFIG_NOSYSTEM": "1", "LC_ALL": "C.UTF-8"}
    env |= {"AUTHOR": AUTHOR, "BRANCH": BRANCH, "SUBJECT": SUBJECT, "MARKS": MARKS}
    env |= {"SCRIPT_FILE": SCRIPT_FILE, "WIDE_FILE": WIDE_FILE, "MARKED_FILE": MARKED_FILE}
    subprocess.check_call(["sh", "-ec", MAKE_PAGES], cwd=root, env=env)
    return root


@pytest.fixture(scope="module")
def browser() -> Iterator[Chrome]:
    options = ChromeOptions()
    options.binary_location = shutil.which("chromium")
    for option in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage"):
        options.add_argument(option)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    with Chrome(options, ChromeService(shutil.which("chromedriver"))) as browser:
        yield browser


def show(browser: Chrome, page: Path, width: int, scheme: str = "light") -> list[Any]:
    """Open a page on a screen that needs no scrolling; give the addresses that it asked for."""
    screen = {"width": width, "height": 2400, "deviceScaleFactor": 1, "mobile": width < 500}
    media = {"features": [{"name": "prefers-color-scheme", "value": scheme}]}
    browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", screen)
    browser.execute_cdp_cmd("Emulation.setEmulatedMedia", media)
    browser.get(page.as_uri())
    events = [json.loads(entry["message"])["message"] for entry in browser.get_log("performance")]
    return [e["params"]["request"]["url"] for e in events if e["method"].endswith("BeSent")]


@pytest.fixture(params=[1200, 390])
def width(request: pytest.FixtureRequest) -> int:
    return request.param


@pytest.fixture(params=["light", "dark"])
def requested_addresses(
    browser: Chrome, folder: Path, width: int, request: pytest.FixtureRequest
) -> list[Any]:
    """Open the page of odd names with its details; give the addresses that it asked for."""
    addresses = show(browser, folder / "names.html", width, request.param)
    browser.find_element("tag name", "summary").click()
    return addresses


@pytest.mark.usefixtures("requested_addresses")
def test_names_are_shown_as_text(browser: Chrome) -> None:
    words = browser.find_element("tag name", "main").text
    for name in (SUBJECT, AUTHOR, BRANCH, SCRIPT_FILE, "w\\u202e\\n\"'"):
        assert name in words
    assert browser.title.endswith(f"What {BRANCH} changed since it left main")


def test_names_run_no_script(browser: Chrome, folder: Path, requested_addresses: list[Any]) -> None:
    assert requested_addresses == [(folder / "names.html").as_uri()]
    assert browser.get_log("browser") == []
    assert browser.find_elements("css selector", FORBIDDEN) == []


@pytest.mark.usefixtures("requested_addresses")
def test_names_fit_the_width(browser: Chrome, width: int) -> None:
    assert browser.execute_script("return document.documentElement.scrollWidth") <= width


@pytest.mark.usefixtures("requested_addresses")
def test_an_added_file_has_one_bar_and_no_strip(browser: Chrome) -> None:
    bars = "li:has(.badge.added) :is(.size i, .strip)"
    assert len(browser.find_elements("css selector", bars)) == 2  # SCRIPT_FILE and WIDE_FILE


@pytest.mark.usefixtures("requested_addresses")
def test_names_pass_axe(browser: Chrome) -> None:
    (axe := Axe(browser)).inject()
    found = axe.run()
    undecided = [rule for rule in found["incomplete"] if rule["id"] == "color-contrast"]
    assert not (faults := found["violations"] + undecided), axe.report(faults)


@pytest.mark.parametrize("width", [320, 390, 430, 481, 701, 760, 900, 901])
def test_no_figure_is_broken(browser: Chrome, folder: Path, width: int) -> None:
    show(browser, folder / "large.html", width)
    browser.find_element("tag name", "summary").click()
    shown = [figure.text for figure in browser.find_elements("css selector", FIGURES)]
    assert {"+258,848", "1,101", "1,100 commits"} <= {*shown}
    assert browser.execute_script(BROKEN_FIGURES, FIGURES) == []
    assert browser.execute_script("return document.documentElement.scrollWidth") <= width


def test_combining_marks_stay_in_the_box_of_their_name(browser: Chrome, folder: Path) -> None:
    show(browser, folder / "marks.html", 1200)
    around = "h2, .tiles, .commits code, .authors b, .badge, .counts"
    places = browser.find_elements("css selector", around)
    with_marks = [place.screenshot_as_base64 for place in places]
    browser.execute_script(REMOVE_MARKS)
    assert [place.screenshot_as_base64 for place in places] == with_marks
