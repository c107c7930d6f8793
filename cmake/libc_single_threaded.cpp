// Lets a wheel load with glibc 2.17 to 2.31, which have no __libc_single_threaded. The static
// libstdc++ reads it to skip atomic operations on reference counts while there is one thread, and
// refers to nothing else that is newer than glibc 2.17. Zero means "there may be more threads",
// which is always safe.
extern "C" {
extern char __libc_single_threaded __attribute__((visibility("hidden")));
char __libc_single_threaded = 0;
}
