# What would be published: made, checked by the index's own tools, and tried as a stranger would.

fresh = "$(python)" -m venv --clear build/dist/$(1) && build/dist/$(1)/bin/pip install --quiet \
    --disable-pip-version-check $(2) && build/dist/$(1)/bin/python -I checks/smoke.py $(3)

.PHONY: dist
dist: tools .venv/group-build .venv/group-dist ## make, check and try what is published (in dist/)
	@rm -rf dist build/dist
	@echo "Building the source archive, and the wheel from it (about a minute)"
	@$(venv_python) -m build --no-isolation --outdir build/dist . > build/dist.log 2>&1 || \
	 { cat build/dist.log; exit 1; }
	@mkdir dist && cp build/dist/*.tar.gz dist
	@PATH="$(CURDIR)/.venv/bin:$$PATH" auditwheel repair --wheel-dir dist build/dist/*.whl
	@.venv/bin/twine check --strict dist/*
	@.venv/bin/check-wheel-contents dist/*.whl
	@echo "Installing each into an environment of its own"
	@$(call fresh,of-wheel,dist/*.whl,"$(CURDIR)")
	@$(call fresh,of-archive,-C cmake.define.WITH_STAND_IN=ON dist/*.tar.gz)
