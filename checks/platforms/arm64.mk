# Debian 13's CPython for arm64, unpacked in build/platforms and run by qemu.

arm64_packages := g++-aarch64-linux-gnu qemu-user-static
arm64_root := $(platforms)/arm64/root
python_arm64 := $(arm64_root)/usr/bin/python
# qemu ignores limits of memory, and replaying the fuzz corpus takes minutes.
limits_arm64 := PROCESS_LIMIT=1800
pytest_arm64 := -m "not exhausts_memory" -o faulthandler_timeout=3600
cross_arm64 := $(call cross,arm64,$(arm64_root)/usr,aarch64,cpython-313-aarch64-linux-gnu)

# With a status file that lists no package, apt downloads every package that CPython depends on.
arm64_apt := $(trixie_apt) -o APT::Architecture=arm64 -o APT::Architectures=arm64 \
    -o Dir::Etc::SourceList=$(debian)/arm64/sources.list -o Dir::State::Status=$(debian)/arm64/status \
    -o Dir::State::Lists=$(debian)/arm64/lists -o Dir::Cache=$(debian)/arm64/cache

$(platforms)/arm64/wheel: $(python_arm64)

$(debian)/arm64/downloaded:
	@$(call need,$(call installed,$(arm64_packages)),$(arm64_packages))
	@$(call need,test -e $(trixie_keyring),debian-archive-keyring)
	@echo "Downloading CPython for arm64"
	@mkdir -p $(@D)/lists/partial $(@D)/cache/archives/partial && : > $(@D)/status
	@echo "deb [signed-by=$(trixie_keyring)] $(debian_server) trixie main" > $(@D)/sources.list
	@{ $(arm64_apt) update && $(arm64_apt) install --yes --download-only --no-install-recommends \
	    python3.13-venv libpython3.13-dev; } > $(@D)/log 2>&1 || { cat $(@D)/log; exit 1; }
	@touch $@

# A program for arm64 can only be started through qemu, so `python` is a script that does it. It
# passes its own path as the program's name, from which CPython derives sys.executable and the
# environment that it runs in. The standard library is compiled here, which takes long under qemu.
$(python_arm64): $(debian)/arm64/downloaded .venv/created
	@rm -rf $(arm64_root) && mkdir -p $(arm64_root)/usr/lib && ln -s usr/lib $(arm64_root)/lib
	@for package in $(debian)/arm64/cache/archives/*.deb; do \
	     dpkg-deb --extract $$package $(arm64_root) || exit 1; done
	@$(venv_python) -m compileall -q -j 0 -x /test/ $(arm64_root)/usr/lib/python3.13
	@printf '%s\n' '#!/bin/sh' \
	    'exec qemu-aarch64-static -L $(arm64_root) -0 "$$0" $(@D)/python3.13 "$$@"' > $@
	@chmod +x $@
