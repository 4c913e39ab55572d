// The daemon's command line, whose ways out of the process lead to the fuzz program.
#include <dlfcn.h>
#include <stdlib.h>

extern "C" {
[[noreturn]] void fuzz_exit(int code);
void *fuzz_dlopen(const char *path, int mode);
void *fuzz_dlsym(void *library, const char *name);
int fuzz_dlclose(void *library);
char *fuzz_dlerror();
}

#define exit fuzz_exit
#define dlopen fuzz_dlopen
#define dlsym fuzz_dlsym
#define dlclose fuzz_dlclose
#define dlerror fuzz_dlerror
#include "daemon/cli_settings.cpp"
