# Builds what is published, checks it with the index's tools, and installs it into new environments.

include checks/platforms/wheels.mk

.PHONY: dist
dist: tools $(published:%=try-%) ## build, check and try what is published (in dist/)
	@rm -rf dist && mkdir dist
	@cp $(published:%=$(platforms)/%/*.whl) dist
	@$(venv_python) -m build --sdist --no-isolation --outdir=dist . > build/archive.log 2>&1 || \
	 { cat build/archive.log; exit 1; }
	@.venv/bin/twine check --strict dist/*
	@.venv/bin/check-wheel-contents dist/*.whl
	@echo "Trying the source archive"
	@"$(python)" -m venv --clear build/archive
	@build/archive/bin/pip install --quiet --disable-pip-version-check \
	    --config-settings=cmake.define.WITH_STAND_IN=ON dist/*.tar.gz
	@build/archive/bin/python -I checks/platforms/smoke.py
