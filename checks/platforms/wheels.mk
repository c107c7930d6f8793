# The wheels that are published: each is built, gets its tag from auditwheel, and is tried with an
# interpreter of its platform. They stay in build/platforms.

platforms := $(CURDIR)/build/platforms
published := x86_64 arm64 musl
tag_x86_64 := manylinux_2_17_x86_64
tag_arm64 := manylinux_2_17_aarch64
tag_musl := musllinux_1_2_x86_64

# $(call cross,PLATFORM,PREFIX,MACHINE,SOABI) tells CMake and scikit-build-core what to build for:
# the toolchain file, where the platform's CPython is, the wheel's tag and the module's suffix.
cross = CMAKE_TOOLCHAIN_FILE=$(CURDIR)/cmake/toolchains/$(1).cmake TARGET_PREFIX=$(2) \
    _PYTHON_HOST_PLATFORM=linux-$(3) SETUPTOOLS_EXT_SUFFIX=.$(4).so

python_x86_64 = "$(python)"
include checks/platforms/arm64.mk checks/platforms/musl.mk

# $(call environment,PLATFORM,FOLDER) makes an environment that contains the wheel alone. The
# interpreter that builds runs pip: for arm64 it is faster, and the one for musl has no zlib.
environment = rm -rf $(2) && $(python_$(1)) -m venv --without-pip $(2) && $(pip_install) --no-deps \
    --only-binary=:all: --platform=$(tag_$(1)) --target=$(2)/$(site_packages) $(platforms)/$(1)/*.whl

.PRECIOUS: $(platforms)/%/wheel $(platforms)/%/venv/created
$(platforms)/%/wheel: $(sources) $(wildcard cmake/toolchains/*) README.md LICENSE \
        checks/platforms/check_tag.sh .venv/group-build .venv/group-dist
	@echo "Building the wheel for $(tag_$*)"
	@rm -rf $(@D)/*.whl $(@D)/built $(@D)/objects && mkdir -p $(@D)
	@{ export $(cross_$*) $(venv_path) && \
	   pip wheel --no-build-isolation --no-deps --config-settings=build-dir=$(@D)/objects \
	    $(if $(filter manylinux%,$(tag_$*)),--config-settings=cmake.define.FOR_OLD_GLIBC=ON) \
	    --wheel-dir=$(@D)/built . && \
	   auditwheel repair $(auditwheel_$*) --wheel-dir=$(@D) $(@D)/built/*.whl; \
	 } > $(@D)/log 2>&1 || { cat $(@D)/log; exit 1; }
	@sh checks/platforms/check_tag.sh $(tag_$*) $(@D)/*.whl
	@touch $@

.PHONY: $(published:%=try-%)
$(published:%=try-%): try-%: $(platforms)/%/wheel
	@echo "Trying the wheel for $(tag_$*)"
	@$(call environment,$*,$(platforms)/$*/empty)
	@PYTHONPATH=.venv/$(site_packages) $(platforms)/$*/empty/bin/python \
	    checks/platforms/check_accepted.py $(platforms)/$*/*.whl
	@$(platforms)/$*/empty/bin/python -I checks/platforms/smoke.py "$(CURDIR)"

# The tests run with pytest of .venv, which is plain Python.
$(platforms)/%/venv/created: $(platforms)/%/wheel .venv/group-test
	@$(call environment,$*,$(@D))
	@echo "$(CURDIR)/.venv/$(site_packages)" > $(@D)/$(site_packages)/pytest.pth
	@touch $@

.PHONY: arm64 musl
arm64: ## run the tests on arm64, under qemu
musl: ## run the tests with musl as the C library
arm64 musl: %: tools $(platforms)/%/venv/created
	@echo "Running the tests for $(tag_$*)"
	@$(limits_$*) $(platforms)/$*/venv/bin/python -m pytest --numprocesses=auto $(pytest_$*) \
	    $(or $(TESTS),--ignore=tests/test_packaging.py $(addprefix --ignore=,$(tests_for_check)))
