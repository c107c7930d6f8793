// Preloaded into the sanitized interpreter. A daemon thread that is unwound at shutdown leaves
// ASan's stack poisoning, which would be reported for later users of that stack. This clears it
// first.
#include <dlfcn.h>

#include <cstdlib>

extern "C" void __asan_handle_no_return();

extern "C" [[noreturn]] void pthread_exit(void* result) {
    const auto next = reinterpret_cast<void (*)(void*)>(dlsym(RTLD_NEXT, "pthread_exit"));
    __asan_handle_no_return();
    next(result);
    std::abort();
}
