# Packages and sources from Debian: the install command for missing packages, and sources of
# Debian 13, which are unpacked in build/debian and never installed.

# $(call need,COMMAND,PACKAGES) stops with the install command unless COMMAND succeeds.
need = { $(1); } >/dev/null 2>&1 || { echo "missing: apt-get install $(2)" >&2; exit 1; }
# $(call installed,PACKAGES) is a COMMAND for packages that bring no program of their own.
installed = dpkg-query --show $(1)

debian := $(CURDIR)/build/debian
cpython_source := $(debian)/python3.13

# An apt configuration of its own, so that the machine's own sources are not changed. The server is
# the one that the machine uses.
debian_server = $$(apt-get indextargets --format '$$(REPO_URI)' | grep -m 1 '/debian/$$')
trixie_keyring := /usr/share/keyrings/debian-archive-trixie-stable.gpg
trixie_apt := apt-get --quiet=2 -o Dir::Etc::SourceList=$(debian)/apt/sources.list \
    -o Dir::Etc::SourceParts=- -o Dir::State::Lists=$(debian)/apt/lists \
    -o Dir::Cache=$(debian)/apt/cache -o APT::Sandbox::User=root

$(debian)/apt/updated:
	@$(call need,test -e $(trixie_keyring),debian-archive-keyring)
	@mkdir -p $(debian)/apt/lists/partial $(debian)/apt/cache
	@echo "deb-src [signed-by=$(trixie_keyring)] $(debian_server) trixie main" > $(debian)/apt/sources.list
	@$(trixie_apt) update
	@touch $@

# CPython 3.13 as Debian 13 has it, without Debian's patches.
$(cpython_source)/unpacked: $(debian)/apt/updated
	@$(call need,command -v dpkg-source,dpkg-dev)
	@cd $(debian) && $(trixie_apt) source --download-only python3.13
	@rm -rf $(cpython_source)
	@cd $(debian) && dpkg-source --skip-patches --extract python3.13_*.dsc $(cpython_source) > unpacked.log 2>&1
	@touch $@
