# The report's page in a real browser.

.PHONY: page-check
page-check: tools .venv/module .venv/group-page ## look at the report's page in Chromium
	@$(call need,command -v chromium && command -v chromedriver,chromium chromium-driver fonts-dejavu-core)
	@$(venv_python) -m pytest --quiet checks/page/check_page.py
