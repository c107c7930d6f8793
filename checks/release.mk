# `make release-check`: what continuous integration leaves out, because it takes hours or downloads
# and builds other interpreters.

.PHONY: release-check
release-check: ## run what CI leaves out, before a release (hours)
	@$(MAKE) compilers
	@$(MAKE) windows
	@$(MAKE) dist
	@$(MAKE) musl
	@$(MAKE) arm64
	@$(MAKE) interpreters
