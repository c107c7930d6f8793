# The parts of `make check`, each a target of its own, and the searches for faults.

# How long `make fuzz` searches.
SECONDS ?= 60
# How many faults `make mutants` plants in each file.
COUNT ?= 10

# The dependency groups that all tests need.
test_needs := .venv/group-test $(groups_for_check)
cpp_sources = $(shell find orvel_tarnix checks cmake fuzz -name '*.[ch]pp')
site_packages := lib/python3.13/site-packages

# The address sanitizer checks only memory from malloc. The interpreter never frees some of its
# memory, so the tests look for leaks instead. Reports go to files, as a test may discard the output
# of a process that it starts.
sanitizer_options := PYTHONMALLOC=malloc \
    ASAN_OPTIONS=detect_leaks=0:log_path=$(CURDIR)/build/report \
    UBSAN_OPTIONS=print_stacktrace=1:log_path=$(CURDIR)/build/report
# Preloaded: the interpreter is not linked with the sanitizers.
runtime = $(shell g++ -print-file-name=$(1))
runtimes = $(call runtime,libasan.so) $(CURDIR)/build/thread_exit.so $(call runtime,libubsan.so) \
    $(call runtime,libstdc++.so)
sanitized = rm -f build/report.*; LD_PRELOAD="$(runtimes)" $(sanitizer_options)
# Keeps the exit status of the preceding command, or fails if there is a report.
fail_on_reports = status=$$?; if cat build/report.* 2>/dev/null; then exit 1; fi; exit $$status

.PHONY: check
check: tools .venv/module $(test_needs) ## run lint, stub, corpus, coverage and sanitize (15 minutes)
	@$(MAKE) lint
	@$(MAKE) stub
	@$(MAKE) corpus
	@$(MAKE) coverage
	@$(MAKE) sanitize

# The module as built by a preset of CMakePresets.json, and an environment whose Python finds it
# before the installed one, whatever PYTHONPATH is.
build/%/module: $(sources) CMakePresets.json .venv/group-build
	@mkdir -p build/$*
	@{ .venv/bin/cmake --preset $* -DPython_EXECUTABLE="$(CURDIR)/$(venv_python)" && \
	   .venv/bin/cmake --build --preset $* --parallel "$$(nproc)" && \
	   .venv/bin/cmake --install build/$* --prefix build/$*/installed; } > build/$*/log 2>&1 || \
	 { cat build/$*/log; exit 1; }
	@$(venv_python) -m venv --without-pip --clear build/$*/venv
	@printf '%s\n' "$(CURDIR)/build/$*/installed" "$(CURDIR)/.venv/$(site_packages)" \
	    > build/$*/venv/$(site_packages)/module.pth
	@build/$*/venv/bin/python -c \
	    'import importlib.util as u; print(u.find_spec("orvel_tarnix.utils.git_utils").origin)' | \
	 grep -q '^$(CURDIR)/build/$*/installed/' || { echo "build/$*/venv finds another module" >&2; exit 1; }
	@touch $@

build/thread_exit.so: checks/thread_exit.cpp
	@mkdir -p build
	@g++ -std=c++20 -Wall -Wextra -Werror -O1 -shared -fPIC -o $@ $<

# build/asan has the compile_commands.json that clang-tidy reads.
.PHONY: lint
lint: build/asan/module .venv/group-test .venv/group-check ## run the formatters, linters and static checks
	@.venv/bin/clang-format --dry-run -Werror $(cpp_sources)
	@.venv/bin/ruff check --quiet
	@.venv/bin/ruff format --quiet --check
	@.venv/bin/ast-grep scan --rule checks/lint/boundary.yml --error orvel_tarnix
	@$(CXX) $(fuzz_scanners_options) -fsyntax-only fuzz/fuzz_scanners.cpp
	@$(venv_python) -m pytest --quiet checks
	@printf '%s\n' $(filter orvel_tarnix/%.cpp,$(cpp_sources)) | \
	    xargs -P "$$(nproc)" -n 1 .venv/bin/clang-tidy -p build/asan --quiet 2>build/tidy.log || \
	 { grep error: build/tidy.log; exit 1; }

# Run in build/, so that mypy reads the installed package and not the tree.
.PHONY: stub
stub: .venv/module .venv/group-check ## compare the stub with the module, and type-check a program
	@MYPY_CACHE_DIR=.cache/mypy $(venv_python) -m mypy.stubtest orvel_tarnix.utils.git_utils
	@cd build && MYPY_CACHE_DIR=../.cache/mypy ../$(venv_python) -m mypy --strict \
	    --no-error-summary ../tests/typing/program.py

.PHONY: corpus
corpus: build/asan/module build/thread_exit.so ## replay the fuzz corpus with sanitizers
	@$(sanitized) PYTHONPATH=reference:. build/asan/venv/bin/python fuzz/replay.py; \
	 $(fail_on_reports)

.PHONY: coverage
coverage: build/coverage/module $(test_needs) ## run the tests, and require 97 % line coverage
	@find build/coverage -name '*.gcda' -delete
	@build/coverage/venv/bin/python -m pytest --quiet --numprocesses=auto
	@.venv/bin/gcovr --merge-lines --fail-under-line=97 --filter orvel_tarnix/ \
	    build/coverage/CMakeFiles/git_utils.dir

# The sanitizer's operator new aborts instead of throwing, and the interpreter does not count the
# blocks of malloc.
.PHONY: sanitize
sanitize: build/asan/module build/thread_exit.so $(test_needs) ## run the tests with sanitizers
	@$(sanitized) build/asan/venv/bin/python -m pytest --numprocesses=auto \
	    -m "not exhausts_memory and not counts_blocks"; \
	 $(fail_on_reports)

.PHONY: fuzz
fuzz: tools clang build/fuzz/module .venv/group-fuzz ## search for inputs that break a parser, for SECONDS=60
	@mkdir -p build/fuzz/corpus
	@libraries=$$($(venv_python) -c 'import atheris; print(atheris.path())') && \
	 LD_PRELOAD="$$libraries/asan_with_fuzzer.so" PYTHONMALLOC=malloc ASAN_OPTIONS=detect_leaks=0 \
	 PYTHONPATH=reference:. build/fuzz/venv/bin/python fuzz/fuzz_parsers.py -max_len=1024 \
	    -max_total_time=$(SECONDS) -artifact_prefix=build/fuzz/ build/fuzz/corpus fuzz/corpus

# How many inputs `make fuzz-scanners` tries.
RUNS ?= 1000000

fuzz_scanners_options := -std=c++20 -Wall -Wextra -Wconversion -Werror -Iorvel_tarnix/utils/git_utils

build/fuzz_scanners: fuzz/fuzz_scanners.cpp $(sources)
	@mkdir -p build
	@clang++ $(fuzz_scanners_options) -O2 -g -fsanitize=fuzzer,address $< -o $@

.PHONY: fuzz-scanners
fuzz-scanners: clang build/fuzz_scanners ## search for inputs that the scanners misread, RUNS=1000000
	@mkdir -p build/fuzz/scanners
	@build/fuzz_scanners -runs=$(RUNS) -max_len=200 -dict=fuzz/scanners.dict \
	    -artifact_prefix=build/fuzz/ -print_final_stats=1 build/fuzz/scanners

.PHONY: mutants
mutants: tools .venv/module $(test_needs) .venv/group-mutants ## plant COUNT=10 faults in each of FILES= and list those that no test detects
	@$(venv_python) checks/mutants.py $(COUNT) $(FILES)

.PHONY: clang
clang:
	@$(call need,command -v clang++,clang libclang-rt-dev)
