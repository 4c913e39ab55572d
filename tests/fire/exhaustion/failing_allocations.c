/* Preloaded into the daemon: every way to memory of the C library, counted and failed as the page
 * says. operator new comes through malloc and aligned_alloc. */
#include <errno.h>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include "tests/fire/exhaustion/fault_gate.h"

/* The C library's own names for what stands behind its wrapped ones; looking them up at run time
 * would allocate. */
extern void *__libc_malloc(size_t size);
extern void *__libc_calloc(size_t num, size_t size);
extern void *__libc_realloc(void *memory, size_t size);
extern void *__libc_memalign(size_t alignment, size_t size);
extern void __libc_free(void *memory);

static bool fails(void) {
    struct fire_page *page = fire_page();
    if (page == NULL || !fire_hits(&page->allocation)) {
        return false;
    }
    errno = ENOMEM;
    return true;
}

static void count(int64_t change) {
    struct fire_page *page = fire_page();
    if (page != NULL) {
        __atomic_add_fetch(fire_on_main_thread() ? &page->live_main : &page->live_others, change,
                           __ATOMIC_RELAXED);
    }
}

static void *counted(void *memory) {
    if (memory != NULL) {
        count(1);
    }
    return memory;
}

EXPORTED void *malloc(size_t size) {
    return fails() ? NULL : counted(__libc_malloc(size));
}

EXPORTED void *calloc(size_t num, size_t size) {
    return fails() ? NULL : counted(__libc_calloc(num, size));
}

EXPORTED void *realloc(void *memory, size_t size) {
    if (memory != NULL && size == 0) {
        count(-1);
        return __libc_realloc(memory, size);
    }
    if (fails()) {
        return NULL;
    }
    void *moved = __libc_realloc(memory, size);
    return memory == NULL ? counted(moved) : moved;
}

EXPORTED void *memalign(size_t alignment, size_t size) {
    return fails() ? NULL : counted(__libc_memalign(alignment, size));
}

EXPORTED void *aligned_alloc(size_t alignment, size_t size) {
    return memalign(alignment, size);
}

EXPORTED int posix_memalign(void **place, size_t alignment, size_t size) {
    void *memory = memalign(alignment, size);
    if (memory == NULL) {
        return ENOMEM;
    }
    *place = memory;
    return 0;
}

EXPORTED void free(void *memory) {
    if (memory != NULL) {
        count(-1);
        __libc_free(memory);
    }
}
