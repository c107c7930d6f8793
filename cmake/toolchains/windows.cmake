# Windows on x86_64: the clang and the static libc++ of the Python package ziglang, and the headers
# and the import library of CPython in TARGET_PREFIX, a variable of the environment.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)
set(CMAKE_CXX_COMPILER python -m ziglang c++ -target x86_64-windows-gnu)
set(CMAKE_SHARED_MODULE_SUFFIX_CXX .pyd)
set(Python_INCLUDE_DIR $ENV{TARGET_PREFIX}/include)
set(Python_LIBRARY $ENV{TARGET_PREFIX}/libpython313.a)
set(TARGET_SOABI cp313-win_amd64)
