# The developer's front door. Everything that is made lies in build/ and .venv/.

MAKEFLAGS += --no-print-directory
SHELL := /bin/sh
.DEFAULT_GOAL := help
.DELETE_ON_ERROR:

# The repository that `make demo` reads.
REPO ?= .
CXX ?= g++

find_python := PYTHON="$(PYTHON)" sh cmake/find_python.sh
venv_python := .venv/bin/python
sources := $(shell find orvel_tarnix cmake -name '*.[ch]pp' -o -name '*.py*' -o -name '*.map') \
    CMakeLists.txt pyproject.toml

.PHONY: help
help: ## list the targets
	@awk -F ':.*## ' '/^[a-z]+:.*## / { printf "  make %-8s %s\n", $$1, $$2 }' $(MAKEFILE_LIST)

.PHONY: tools
tools:
	@command -v git >/dev/null || { echo "git is needed: install git" >&2; exit 1; }
	@command -v $(CXX) >/dev/null || command -v c++ >/dev/null || \
	    { echo "A C++20 compiler is needed: install g++ 12 or newer" >&2; exit 1; }

.PHONY: demo
demo: tools build/demo/module ## report on a branch of REPO=. (needs no package index)
	@PYTHONPATH=build/demo:. $$(cat build/demo/python) examples/branch_report.py "$(REPO)"

build/demo/module: $(sources)
	@mkdir -p build/demo
	@python=$$($(find_python)) && echo "$$python" > build/demo/python
	@cmake=cmake; \
	 cmake --version >/dev/null 2>&1 || { $(MAKE) .venv/cmake && cmake=.venv/bin/cmake; }; \
	 { $$cmake -S . -B build/demo -DPython_EXECUTABLE="$$(cat build/demo/python)" && \
	   $$cmake --build build/demo --parallel; } > build/demo/log 2>&1 || \
	 { cat build/demo/log; exit 1; }
	@touch $@

.venv/made: cmake/find_python.sh
	@python=$$($(find_python)) && "$$python" -m venv --clear .venv
	@$(venv_python) -m pip install --quiet --disable-pip-version-check "pip==26.3"
	@touch $@

.venv/cmake: .venv/made
	@$(venv_python) -m pip install --quiet --disable-pip-version-check cmake
	@touch $@

# What a dependency group of pyproject.toml lists.
.venv/group-%: pyproject.toml .venv/made
	@$(venv_python) -m pip install --quiet --disable-pip-version-check --group $*
	@touch $@

.venv/module: $(sources) .venv/group-build
	@$(venv_python) -m pip install --quiet --disable-pip-version-check --no-build-isolation --no-deps --force-reinstall .
	@touch $@

.PHONY: test
test: tools .venv/module .venv/group-test .venv/group-examples ## run the tests against the installed module
	@$(venv_python) -m pytest --numprocesses=auto $(TESTS)

include checks/checks.mk checks/page/page.mk

.PHONY: bench
bench: tools .venv/module .venv/group-bench ## print the table of ratios; BENCH="--repo PATH"
	@PYTHONPATH=reference:. $(venv_python) benchmarks/run.py $(BENCH)

.PHONY: clean
clean: ## remove all that was made
	@rm -rf build dist .venv .cache
