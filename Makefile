# The targets for developers. They write to build/, dist/, .venv/ and .cache/, and the bytecode that
# Python caches; a complete `make bench` also rewrites docs/speed.md.

MAKEFLAGS += --no-print-directory
SHELL := /bin/sh
.DEFAULT_GOAL := help
.DELETE_ON_ERROR:

# The repository that `make demo` reads.
REPO ?= .

# CMake takes the compiler that `CXX=clang++-14 make test` names, else c++.
ifeq ($(origin CXX),default)
CXX := c++
endif
export CXX

find_python := PYTHON="$(PYTHON)" sh cmake/find_python.sh
python = $$(head -n 1 build/interpreter.stamp)
venv_python := .venv/bin/python
venv_path := PATH="$(CURDIR)/.venv/bin:$$PATH"
pip_install := $(venv_python) -m pip install --quiet --disable-pip-version-check
sources := $(shell find orvel_tarnix cmake -name '*.[ch]pp' -o -name '*.py' -o -name '*.pyi' -o -name '*.map') \
    CMakeLists.txt pyproject.toml

.PHONY: help
help: ## list the targets
	@awk -F ':.*## ' '/^[a-z0-9-]+:.*## / { printf "  make %-14s %s\n", $$1, $$2 }' $(MAKEFILE_LIST)
	@echo "All but help, demo, fuzz-scanners and clean fill .venv from the package index, once."

.PHONY: tools
tools:
	@test -w . || { echo "This folder is read-only; build/ and .venv/ are created in it" >&2; exit 1; }
	@command -v git >/dev/null || { echo "git is needed: install git" >&2; exit 1; }
	@command -v $(firstword $(CXX)) >/dev/null || \
	    { echo "No compiler $(firstword $(CXX)): install g++ 12 or clang 14, or newer" >&2; exit 1; }

.PHONY: FORCE
FORCE:

# Build outputs embed the paths of the interpreter and of this folder: delete them when either
# changes. The interpreters and Debian's sources stay, as they take long to make again.
build/interpreter.stamp: FORCE
	@python=$$($(find_python)) || exit 1; \
	 with=$$(printf '%s\n%s' "$$python" "$(CURDIR)"); \
	 [ "$$with" = "$$(cat $@ 2>/dev/null)" ] || \
	 { mkdir -p build && rm -rf .venv && \
	   find build -mindepth 1 -maxdepth 1 ! -name interpreters ! -name debian -exec rm -rf {} + && \
	   printf '%s\n' "$$with" > $@; }

# A configured build folder keeps its compiler and flags, whatever the environment says later:
# delete it when they change.
build/compiler.stamp: build/interpreter.stamp FORCE
	@by=$$(printf '%s\n' "$(CXX)" "$$CXXFLAGS" "$$LDFLAGS" "$$($(CXX) --version)"); \
	 [ "$$by" = "$$(cat $@ 2>/dev/null)" ] || \
	 { rm -rf build/wheel build/demo && printf '%s\n' "$$by" > $@; }

.PHONY: demo
demo: tools repository build/demo/module ## report on a branch of REPO=. (needs no package index)
	@PYTHONPATH=build/demo:. "$(python)" examples/branch_report.py "$(REPO)"

.PHONY: repository
repository:
	@error=$$(git -C "$(REPO)" rev-parse --git-dir 2>&1) || \
	 { echo "No git repository to report on; name one: make demo REPO=/path ($$error)" | head -n 1 >&2; exit 1; }

build/demo/module: $(sources) build/compiler.stamp
	@for cmake in cmake .venv/bin/cmake ""; do $$cmake --version >/dev/null 2>&1 && break; done; \
	 [ "$$cmake" ] || { echo "CMake is needed: install cmake 3.25 or newer" >&2; exit 1; }; \
	 echo "Building the module in build/demo (about half a minute)"; \
	 mkdir -p build/demo; \
	 { $$cmake -S . -B build/demo -DPython_EXECUTABLE="$(python)" && \
	   $$cmake --build build/demo --parallel; } > build/demo/log 2>&1 || \
	 { cat build/demo/log; exit 1; }
	@touch $@

.venv/created: build/interpreter.stamp
	@"$(python)" -c 'import ensurepip' 2>/dev/null || \
	    { echo "Python's venv is needed: install python3.13-venv" >&2; exit 1; }
	@echo "Creating .venv, to be filled from the package index"
	@"$(python)" -m venv --clear .venv
	@$(pip_install) "pip==26.3"
	@touch $@

# A dependency group of pyproject.toml.
.venv/group-%: pyproject.toml .venv/created
	@echo "Installing the $* group of pyproject.toml into .venv"
	@$(pip_install) --group $*
	@touch $@

.venv/module: $(sources) build/compiler.stamp .venv/group-build
	@echo "Building the module and installing it into .venv (about half a minute)"
	@$(pip_install) --no-build-isolation --no-deps --force-reinstall .
	@touch $@

# Tests of examples that need large libraries: run by `make check`, and by `make test` if TESTS names one.
tests_for_check := tests/test_cluster.py
groups_for_check := .venv/group-examples .venv/group-check

.PHONY: test
test: tools .venv/module .venv/group-test
test: $(if $(filter $(tests_for_check),$(subst ::, ,$(TESTS))),$(groups_for_check))
test: ## run the tests against the installed module; TESTS=tests/test_x.py selects
	@echo "Running the tests"
	@$(venv_python) -m pytest --numprocesses=auto \
	    $(or $(TESTS),$(addprefix --ignore=,$(tests_for_check)))

include checks/debian.mk checks/checks.mk checks/compilers/compilers.mk \
    checks/interpreters/interpreters.mk checks/platforms/dist.mk checks/platforms/windows.mk \
    checks/page/page.mk checks/release.mk

.PHONY: bench
bench: tools .venv/module .venv/group-bench .venv/group-examples ## print the table of ratios; BENCH="--repo PATH"
	@PYTHONPATH=reference:examples:. $(venv_python) benchmarks/run.py $(BENCH)

.PHONY: clean
clean: ## remove everything that the targets have created
	@rm -rf build dist .venv .cache
	@find . -name __pycache__ -prune -exec rm -rf {} +
