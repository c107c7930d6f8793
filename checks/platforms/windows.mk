# `make windows`: the module for Windows, compiled and linked. There is no Windows to run it on.

windows := $(CURDIR)/build/windows

.PHONY: windows
windows: tools $(windows)/libpython313.a .venv/group-build .venv/group-windows ## compile and link the module for Windows, without running it
	@rm -rf $(windows)/objects
	@echo "Building the module for Windows"
	@{ $(venv_path) TARGET_PREFIX=$(windows) .venv/bin/cmake -S . -B $(windows)/objects -G Ninja \
	       --toolchain cmake/toolchains/windows.cmake -DPython_EXECUTABLE="$(CURDIR)/$(venv_python)" && \
	   $(venv_path) .venv/bin/cmake --build $(windows)/objects; } > $(windows)/log 2>&1 || \
	 { cat $(windows)/log; exit 1; }
	@$(venv_python) checks/platforms/check_dll.py \
	    $(windows)/objects/orvel_tarnix/utils/git_utils.cp313-win_amd64.pyd $(windows)/python313.def

# On Windows an extension module is linked against the list of what python313.dll exports. It is
# taken from the public symbols of the CPython that builds.
$(windows)/python313.def: $(cpython_source)/unpacked build/interpreter.stamp
	@rm -rf $(windows)/include && mkdir -p $(windows)
	@cp -R $(cpython_source)/Include $(windows)/include
	@cp $(cpython_source)/PC/pyconfig.h.in $(windows)/include/pyconfig.h
	@nm --dynamic --defined-only "$(python)" $$(ldd "$(python)" | awk '/libpython/ { print $$3 }') \
	    > $(windows)/symbols
	@{ echo "LIBRARY python313.dll"; echo "EXPORTS"; \
	   awk '$$3 ~ /^_?Py/ { print $$3 ($$2 ~ /[BDR]/ ? " DATA" : "") }' $(windows)/symbols; } > $@

$(windows)/libpython313.a: $(windows)/python313.def .venv/group-windows
	@$(venv_python) -m ziglang dlltool -m i386:x86-64 -d $< -l $@
	@touch $(windows)/python313.dll # FindPython takes a library without a DLL beside it for a static one
