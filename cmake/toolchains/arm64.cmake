# Linux on arm64 with glibc: Debian's cross compiler, and the headers of the CPython that is
# installed in TARGET_PREFIX, a variable of the environment.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(Python_INCLUDE_DIR $ENV{TARGET_PREFIX}/include/python3.13)
# Debian's pyconfig.h includes a header of the architecture from here. The C library's headers are
# here as well, but newer than the cross compiler's own, which must be found first.
set(CMAKE_CXX_FLAGS_INIT "-idirafter $ENV{TARGET_PREFIX}/include")
