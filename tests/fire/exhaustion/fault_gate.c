#define _GNU_SOURCE
#include "tests/fire/exhaustion/fault_gate.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

/* The kernel's own calls: those of the C library are wrapped here. */
static struct fire_page *map_page(const char *path) {
    const long fd = syscall(SYS_openat, AT_FDCWD, path, O_RDWR | O_CLOEXEC);
    if (fd < 0) {
        return NULL;
    }
    const long address = syscall(SYS_mmap, NULL, sizeof(struct fire_page), PROT_READ | PROT_WRITE,
                                 MAP_SHARED, fd, 0);
    syscall(SYS_close, fd);
    return address < 0 && address > -4096 ? NULL : (struct fire_page *)address;
}

struct fire_page *fire_page(void) {
    static struct fire_page *page = NULL;
    static bool is_known = false;
    if (!is_known && environ != NULL) {
        const char *path = getenv("ZV_FIRE_PAGE");
        page = path == NULL ? NULL : map_page(path);
        is_known = true;
    }
    return page;
}

bool fire_on_main_thread(void) {
    static __thread int kind __attribute__((tls_model("initial-exec"))) = 0;
    if (kind == 0) {
        kind = syscall(SYS_gettid) == syscall(SYS_getpid) ? 1 : 2;
    }
    return kind == 1;
}

bool fire_hits(struct fire_fault *fault) {
    if (__atomic_load_n(&fault->armed, __ATOMIC_ACQUIRE) == 0) {
        return false;
    }
    if (fault->threads != FIRE_ANY_THREAD &&
        (fault->threads == FIRE_MAIN_THREAD) != fire_on_main_thread()) {
        return false;
    }
    const uint64_t number = __atomic_add_fetch(&fault->seen, 1, __ATOMIC_RELAXED);
    if (number < fault->nth || number - fault->nth >= fault->times) {
        return false;
    }
    __atomic_add_fetch(&fault->failed, 1, __ATOMIC_RELEASE);
    return true;
}

static bool comes_from(const char *library, const void *caller) {
    Dl_info info;
    if (library[0] == '\0') {
        return true;
    }
    if (dladdr(caller, &info) == 0 || info.dli_fname == NULL) {
        return false;
    }
    const char *slash = strrchr(info.dli_fname, '/');
    const char *name = slash == NULL ? info.dli_fname : slash + 1;
    return strncmp(name, library, strlen(library)) == 0;
}

const struct fire_fault *fire_call_fails(enum fire_call call, const void *caller) {
    struct fire_page *page = fire_page();
    for (int i = 0; page != NULL && i < FIRE_FAULTS_MAX; i++) {
        struct fire_fault *fault = &page->calls[i];
        if (__atomic_load_n(&fault->armed, __ATOMIC_ACQUIRE) != 0 &&
            fault->call == (uint32_t)call && comes_from(fault->library, caller) &&
            fire_hits(fault)) {
            return fault;
        }
    }
    return NULL;
}
