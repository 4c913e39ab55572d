/*
 * Preloaded into a process, counts its heap allocations (malloc, calloc, realloc, aligned ones; not
 * frees) where another process can read the number at any time: in the first 8 bytes of the file
 * that ZV_BENCH_HEAP_COUNT names. Operator new arrives here through malloc.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdatomic.h>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

static _Atomic uint64_t before_the_file;
static _Atomic uint64_t *count = &before_the_file;

static void *(*next_malloc)(size_t);
static void *(*next_calloc)(size_t, size_t);
static void *(*next_realloc)(void *, size_t);
static int (*next_posix_memalign)(void **, size_t, size_t);
static void *(*next_aligned_alloc)(size_t, size_t);

/* The dynamic loader itself may allocate while it looks a function up; it is served from here, and
 * never gives back. */
static char early[4096];
static size_t early_used;

static void *early_allocate(size_t size) {
    size_t rounded = (size + 15) & ~(size_t)15;
    if (rounded < size || rounded > sizeof early - early_used)
        return NULL;
    void *memory = early + early_used;
    early_used += rounded;
    return memory;
}

__attribute__((constructor)) static void start(void) {
    const char *path = getenv("ZV_BENCH_HEAP_COUNT");
    if (path == NULL)
        return;
    int fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0 || ftruncate(fd, sizeof(uint64_t)) != 0)
        abort();
    void *shared = mmap(NULL, sizeof(uint64_t), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (shared == MAP_FAILED)
        abort();
    close(fd);
    count = shared;
}

static void add_one(void) {
    atomic_fetch_add_explicit(count, 1, memory_order_relaxed);
}

/* Stores the function of that name behind this library's. Copied bytewise: ISO C has no conversion
 * from an object's address to a function's. */
static void find_next(const char *name, void *function, size_t size) {
    void *found = dlsym(RTLD_NEXT, name);
    memcpy(function, &found, size);
}

void *malloc(size_t size) {
    static _Thread_local int searching;
    if (next_malloc == NULL) {
        if (searching)
            return early_allocate(size);
        searching = 1;
        find_next("malloc", &next_malloc, sizeof next_malloc);
        searching = 0;
    }
    add_one();
    return next_malloc(size);
}

void *calloc(size_t number, size_t size) {
    static _Thread_local int searching;
    if (next_calloc == NULL) {
        if (searching)
            return early_allocate(number * size); /* zero, as all of it is used once */
        searching = 1;
        find_next("calloc", &next_calloc, sizeof next_calloc);
        searching = 0;
    }
    add_one();
    return next_calloc(number, size);
}

void *realloc(void *memory, size_t size) {
    if (next_realloc == NULL)
        find_next("realloc", &next_realloc, sizeof next_realloc);
    add_one();
    return next_realloc(memory, size);
}

int posix_memalign(void **memory, size_t alignment, size_t size) {
    if (next_posix_memalign == NULL)
        find_next("posix_memalign", &next_posix_memalign, sizeof next_posix_memalign);
    add_one();
    return next_posix_memalign(memory, alignment, size);
}

void *aligned_alloc(size_t alignment, size_t size) {
    if (next_aligned_alloc == NULL)
        find_next("aligned_alloc", &next_aligned_alloc, sizeof next_aligned_alloc);
    add_one();
    return next_aligned_alloc(alignment, size);
}
