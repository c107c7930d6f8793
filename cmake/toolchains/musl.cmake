# Linux on x86_64 with musl: the clang and the static libc++ of the Python package ziglang, and the
# headers of the CPython that is installed in TARGET_PREFIX, a variable of the environment.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_CXX_COMPILER python -m ziglang c++ -target x86_64-linux-musl)
set(Python_INCLUDE_DIR $ENV{TARGET_PREFIX}/include/python3.13)
