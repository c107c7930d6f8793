# The report's page in a real browser.

browser := chromium chromium-driver
with_browser = command -v chromium >/dev/null && command -v chromedriver >/dev/null

.PHONY: page-check
page-check: tools .venv/module .venv/group-page ## look at the report's page in Chromium
	@$(with_browser) || { [ "$$(id -u)" = 0 ] && command -v apt-get >/dev/null && \
	    echo "installing $(browser)" && apt-get -qq update && \
	    DEBIAN_FRONTEND=noninteractive apt-get -qq install --no-install-recommends --yes \
	        $(browser) >build/apt.log 2>&1; } || \
	 { echo "$(browser) are needed: apt-get install $(browser)" >&2; exit 1; }
	@$(venv_python) -m pytest --quiet checks/page/check_page.py
