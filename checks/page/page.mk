# The report's page in a real browser.

browser := chromium chromium-driver fonts-dejavu-core
has_browser = command -v chromium >/dev/null && command -v chromedriver >/dev/null
can_install = [ "$$(id -u)" = 0 ] && command -v apt-get >/dev/null

.PHONY: page-check
page-check: tools .venv/module .venv/group-page ## look at the report's page in Chromium
	@$(has_browser) || { $(can_install) && $(MAKE) browser; } || \
	    { echo "a browser is needed: apt-get install $(browser)" >&2; exit 1; }
	@$(venv_python) -m pytest --quiet checks/page/check_page.py

.PHONY: browser
browser:
	@echo "installing $(browser)"
	@mkdir -p build
	@export DEBIAN_FRONTEND=noninteractive; { apt-get update --quiet && \
	    apt-get install --quiet --yes --no-install-recommends $(browser); } >build/browser.log 2>&1 || \
	 { tail -3 build/browser.log; exit 1; }
