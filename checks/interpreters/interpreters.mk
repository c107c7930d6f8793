# `make interpreters`: the tests and a search for races with interpreters that watch themselves: one
# that counts every reference, one of these that has no global lock, and one without that lock that
# the thread sanitizer watches. They come from Debian's source package, and stay in build/interpreters.

interpreters := $(CURDIR)/build/interpreters
interpreter_kinds := debug free-threaded thread-sanitizer
# Whatever runs on the machine beside this goes first.
patiently := nice -n 15

configured_debug := --with-pydebug
configured_free-threaded := --disable-gil --with-pydebug
configured_thread-sanitizer := --disable-gil --with-thread-sanitizer CC=clang-19 CXX=clang++-19

checked := CXXFLAGS="-O1 -D_GLIBCXX_ASSERTIONS"
compiled_debug := $(checked)
compiled_free-threaded := $(checked)
compiled_thread-sanitizer := CXX=clang++-19 CXXFLAGS="-O1 -fsanitize=thread"

# How many threads race, and for how many seconds in each mode.
THREADS ?= 6
RACE_SECONDS ?= 15

# Nothing but this package's source is taken from that release, so it has a configuration of its
# own, with the server that the machine asks as it is.
debian_server = $$(apt-get indextargets --format '$$(REPO_URI)' | grep -m 1 '/debian/$$')
private_apt := apt-get --quiet=2 \
    -o Dir::Etc::SourceList=$(interpreters)/apt/sources.list -o Dir::Etc::SourceParts=- \
    -o Dir::State::Lists=$(interpreters)/apt/lists -o Dir::Cache=$(interpreters)/apt/cache \
    -o APT::Sandbox::User=root

.PRECIOUS: $(interpreters)/%/built $(interpreters)/%/needs
.PHONY: interpreters
interpreters: tools .venv/made $(interpreter_kinds:%=$(interpreters)/%/module) ## test and look for races with CPythons that watch themselves (root of a Debian)
	@$(venv_python) checks/interpreters/run.py $(interpreters) $(THREADS) $(RACE_SECONDS) \
	    "$(interpreter_kinds)" $(addprefix --ignore=,$(tests_for_check))

$(interpreters)/packages:
	@mkdir -p $(@D)
	@apt-get --quiet=2 update
	@apt-get --quiet=2 install --no-install-recommends clang-19 libclang-rt-19-dev llvm-19 \
	    dpkg-dev libbz2-dev libffi-dev liblzma-dev libsqlite3-dev libssl-dev make zlib1g-dev > $@.log 2>&1
	@touch $@

$(interpreters)/unpacked: $(interpreters)/packages
	@mkdir -p $(interpreters)/apt/lists/partial $(interpreters)/apt/cache
	@echo "deb-src [signed-by=/usr/share/keyrings/debian-archive-trixie-stable.gpg]" \
	    "$(debian_server) trixie main" > $(interpreters)/apt/sources.list
	@$(private_apt) update
	@cd $(interpreters) && $(private_apt) source --download-only python3.13
	@rm -rf $(interpreters)/source
	@cd $(interpreters) && dpkg-source --skip-patches --extract python3.13_*.dsc source > unpacked.log 2>&1
	@touch $@

$(interpreters)/%/built: $(interpreters)/unpacked
	@mkdir -p $(@D)/objects
	@echo "building CPython: $*"
	@cd $(@D)/objects && { ../../source/configure --quiet --prefix=$(@D) \
	    $(configured_$*) && $(patiently) $(MAKE) -j2 && \
	    $(patiently) $(MAKE) COMPILEALL_OPTS="-r 0" altinstall; } > ../log 2>&1 || { tail ../log; exit 1; }
	@rm -rf $(@D)/objects
	@touch $@

$(interpreters)/%/needs: $(interpreters)/%/built pyproject.toml
	@$(@D)/bin/python3.13 -m venv --clear $(@D)/venv
	@$(venv_python) -c 'import tomllib; \
	    groups = tomllib.load(open("pyproject.toml", "rb"))["dependency-groups"]; \
	    print(*groups["build"], *groups["test"], sep="\n")' > $(@D)/needs.txt
	@$(patiently) $(@D)/venv/bin/pip install --quiet --only-binary=:all: \
	    --requirement $(@D)/needs.txt > $(@D)/needs.log 2>&1 || { cat $(@D)/needs.log; exit 1; }
	@touch $@

$(interpreters)/%/module: $(interpreters)/%/needs $(sources)
	@$(compiled_$*) $(patiently) $(@D)/venv/bin/pip install --quiet --no-build-isolation --no-deps \
	    --force-reinstall --config-settings=cmake.build-type=Debug \
	    --config-settings=build-dir=$(@D)/objects . > $(@D)/module.log 2>&1 || { cat $(@D)/module.log; exit 1; }
	@touch $@
