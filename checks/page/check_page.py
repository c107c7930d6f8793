"""The report's page in a real browser, of a repository whose every name tries to break out."""

import json
import os
import shutil
import subprocess
import sys
from collections.abc import Iterator
from pathlib import Path

import pytest
from axe_selenium_python import Axe
from selenium.webdriver import Chrome, ChromeOptions, ChromeService

SUBJECT = "<img src=//x.invalid onerror=document.title=1><script>document.title=1</script>{{7*7}}"
AUTHOR, BRANCH = "A\"' onload=x &lt;b&gt; B", 'fix"><svg/onload=document.title=1>' + "w" * 80
ODD_FILES = "<script>document.title=1<", "w\u202e\n\"'" * 20
TREE = str(Path(__file__).parents[2])
INTRUDERS = "script, img, iframe, object, embed, link, base, svg[onload], [onerror], body svg svg"
MAKE_PAGE = """
git init -q -b main; git config user.name "$AUTHOR"; git config user.email "b@&lt;b&gt;"
seq 40 >file; git add file; git commit -qm start; git checkout -qb "$BRANCH"
seq 2 39 >file; seq 9 >"$1"; seq 9 >"$2"; git add .; git commit -qm "$SUBJECT"
"$0" "$PYTHONPATH"/examples/branch_report.py --html page.html
"""


@pytest.fixture(scope="module")
def page(tmp_path_factory: pytest.TempPathFactory) -> str:
    root = tmp_path_factory.mktemp("work")
    env = {"AUTHOR": AUTHOR, "BRANCH": BRANCH, "SUBJECT": SUBJECT, "PYTHONPATH": TREE}
    env |= {"PATH": os.environ["PATH"], "HOME": str(root), "GIT_CONFIG_NOSYSTEM": "1"}
    subprocess.check_call(["sh", "-ec", MAKE_PAGE, sys.executable, *ODD_FILES], cwd=root, env=env)
    return (root / "page.html").as_uri()


@pytest.fixture(scope="module")
def browser() -> Iterator[Chrome]:
    options = ChromeOptions()
    options.binary_location = shutil.which("chromium")
    for option in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage"):
        options.add_argument(option)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    with Chrome(options, ChromeService(shutil.which("chromedriver"))) as browser:
        yield browser


@pytest.mark.parametrize("scheme", ["light", "dark"])
@pytest.mark.parametrize("width", [1200, 390])
def test_any_name_stays_readable_words(browser: Chrome, page: str, width: int, scheme: str) -> None:
    screen = {"width": width, "height": 900, "deviceScaleFactor": 1, "mobile": width < 500}
    media = {"features": [{"name": "prefers-color-scheme", "value": scheme}]}
    browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", screen)
    browser.execute_cdp_cmd("Emulation.setEmulatedMedia", media)
    browser.get(page)
    events = [json.loads(entry["message"])["message"] for entry in browser.get_log("performance")]
    asked = [e["params"]["request"]["url"] for e in events if e["method"].endswith("BeSent")]
    assert (asked, browser.get_log("browser")) == ([page], [])
    assert browser.find_elements("css selector", INTRUDERS) == []
    browser.find_element("tag name", "summary").click()
    words = browser.find_element("tag name", "main").text
    for name in (SUBJECT, AUTHOR, BRANCH, ODD_FILES[0], "w\\u202e\\n\"'"):
        assert name in words
    assert browser.title.endswith(f"What {BRANCH} changed since it left main")
    assert browser.execute_script("return document.documentElement.scrollWidth") <= width
    # An added file has one bar, and no strip: all of its lines are new.
    bars = "li:has(.badge.added) :is(.size i, .strip)"
    assert len(browser.find_elements("css selector", bars)) == len(ODD_FILES)
    (axe := Axe(browser)).inject()
    found = axe.run()
    undecided = [rule for rule in found["incomplete"] if rule["id"] == "color-contrast"]
    assert not (faults := found["violations"] + undecided), axe.report(faults)
