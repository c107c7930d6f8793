// Loaded into the sanitized interpreter. A daemon thread that it unwinds at shutdown leaves its
// frames without removing the address sanitizer's marks around their variables, which would then
// be taken for those of whatever uses that stretch of the stack next. So the marks are removed
// before.
#include <dlfcn.h>

#include <cstdlib>

extern "C" void __asan_handle_no_return();

extern "C" [[noreturn]] void pthread_exit(void* result) {
    const auto next = reinterpret_cast<void (*)(void*)>(dlsym(RTLD_NEXT, "pthread_exit"));
    __asan_handle_no_return();
    next(result);
    std::abort();
}
