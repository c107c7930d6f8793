# `make interpreters`: the tests, and a search for races, with three builds of CPython that check
# themselves: one that counts all references, the same without the global lock, and one without that
# lock and with the thread sanitizer. They are built from Debian's source package in build/interpreters.

interpreters := $(CURDIR)/build/interpreters
interpreter_kinds := debug free-threaded thread-sanitizer
# The builds take an hour of one core: run at low priority.
low_priority := nice -n 15

configured_debug := --with-pydebug
configured_free-threaded := --disable-gil --with-pydebug
configured_thread-sanitizer := --disable-gil --with-thread-sanitizer CC=clang-19 CXX=clang++-19

checked := CXXFLAGS="-O1 -D_GLIBCXX_ASSERTIONS"
compiled_debug := $(checked)
compiled_free-threaded := $(checked)
compiled_thread-sanitizer := CXX=clang++-19 CXXFLAGS="-O1 -fsanitize=thread"

library_packages := libbz2-dev libffi-dev liblzma-dev libsqlite3-dev libssl-dev zlib1g-dev
needed_debug := $(library_packages)
needed_free-threaded := $(library_packages)
needed_thread-sanitizer := clang-19 libclang-rt-19-dev llvm-19 $(library_packages)

# How many threads race, and for how many seconds in each mode.
THREADS ?= 6
RACE_SECONDS ?= 15

.PRECIOUS: $(interpreters)/%/built $(interpreters)/%/needs
.PHONY: interpreters
interpreters: tools .venv/created $(interpreter_kinds:%=$(interpreters)/%/module) ## test, and search for races, with CPythons that check themselves (Debian)
	@$(venv_python) checks/interpreters/run.py $(interpreters) $(cpython_source) $(THREADS) $(RACE_SECONDS) \
	    "$(interpreter_kinds)" $(addprefix --ignore=,$(tests_for_check))

$(interpreters)/%/built: $(cpython_source)/unpacked
	@$(call need,$(call installed,$(needed_$*)),$(needed_$*))
	@mkdir -p $(@D)/objects
	@echo "building CPython: $*"
	@cd $(@D)/objects && { $(cpython_source)/configure --quiet --prefix=$(@D) \
	    $(configured_$*) && $(low_priority) $(MAKE) -j2 && \
	    $(low_priority) $(MAKE) COMPILEALL_OPTS="-r 0" altinstall; } > ../log 2>&1 || { tail ../log; exit 1; }
	@rm -rf $(@D)/objects
	@touch $@

$(interpreters)/%/needs: $(interpreters)/%/built pyproject.toml
	@$(@D)/bin/python3.13 -m venv --clear $(@D)/venv
	@$(venv_python) -c 'import tomllib; \
	    groups = tomllib.load(open("pyproject.toml", "rb"))["dependency-groups"]; \
	    print(*groups["build"], *groups["test"], sep="\n")' > $(@D)/needs.txt
	@$(low_priority) $(@D)/venv/bin/pip install --quiet --only-binary=:all: \
	    --requirement $(@D)/needs.txt > $(@D)/needs.log 2>&1 || { cat $(@D)/needs.log; exit 1; }
	@touch $@

$(interpreters)/%/module: $(interpreters)/%/needs $(sources)
	@$(compiled_$*) $(low_priority) $(@D)/venv/bin/pip install --quiet --no-build-isolation --no-deps \
	    --force-reinstall --config-settings=cmake.build-type=Debug \
	    --config-settings=build-dir=$(@D)/objects . > $(@D)/module.log 2>&1 || { cat $(@D)/module.log; exit 1; }
	@touch $@
