# CPython for musl, built by musl-gcc like the interpreters of `make interpreters`.

musl_prefix := $(interpreters)/musl
python_musl := $(musl_prefix)/bin/python3.13
cross_musl := $(call cross,musl,$(musl_prefix),x86_64,cpython-313-x86_64-linux-musl) \
    ZIG_GLOBAL_CACHE_DIR=$(platforms)/zig
# musl's loader takes libc.so for itself, so auditwheel must not add a copy to the wheel.
auditwheel_musl := --exclude=libc.so
# pytest-randomly needs zlib. When CPython 3.13 ends, its drop_gil() reads the state of a daemon
# thread that the main thread may have freed; musl can have returned that memory to the system.
pytest_musl := -p no:randomly -m "not ends_with_daemon_thread"

# Without pkg-config, configure finds no library that is built for glibc. pip needs zlib, so this
# CPython has none.
configured_musl := CC=$(CURDIR)/checks/platforms/musl_cc.sh PKG_CONFIG=/bin/false --without-ensurepip
needed_musl := musl-tools

$(platforms)/musl/wheel: $(musl_prefix)/built .venv/group-zig
