/* fault_page.h - what is to fail in the daemon, and what has.
 *
 * One page of memory that a test and the daemon share: the file that ZV_FIRE_PAGE names. The test
 * fills in a fault while it is disarmed and arms it last; the library preloaded into the daemon
 * counts and fails. So counting begins at the moment that the test chooses. */
#ifndef ZV_TESTS_FIRE_EXHAUSTION_FAULT_PAGE_H
#define ZV_TESTS_FIRE_EXHAUSTION_FAULT_PAGE_H

#include <stdint.h>

/* Calls of the C library that can be made to fail. */
#define FIRE_CALLS(X)    \
    X(accept4)           \
    X(bind)              \
    X(chmod)             \
    X(clock_gettime)     \
    X(dlopen)            \
    X(epoll_create1)     \
    X(epoll_ctl)         \
    X(epoll_wait)        \
    X(eventfd)           \
    X(fchmod)            \
    X(fdopen)            \
    X(fflush)            \
    X(flock)             \
    X(fopen)             \
    X(fstat)             \
    X(getsockopt)        \
    X(ioctl)             \
    X(listen)            \
    X(lstat)             \
    X(mkdir)             \
    X(mmap)              \
    X(nanosleep)         \
    X(open)              \
    X(poll)              \
    X(posix_fallocate)   \
    X(pthread_attr_init) \
    X(pthread_create)    \
    X(read)              \
    X(recv)              \
    X(rename)            \
    X(send)              \
    X(shutdown)          \
    X(sigaction)         \
    X(socket)            \
    X(unlink)            \
    X(vfprintf)          \
    X(write)             \
    X(writev)

#define FIRE_ENUMERATOR(name) FIRE_##name,
enum fire_call { FIRE_CALLS(FIRE_ENUMERATOR) FIRE_CALLS_NUM };
#undef FIRE_ENUMERATOR

enum fire_threads { FIRE_ANY_THREAD, FIRE_MAIN_THREAD, FIRE_OTHER_THREADS };

/* The nth matching call from the arming on fails, and times - 1 after it. */
struct fire_fault {
    uint32_t armed;
    uint32_t threads; /* enum fire_threads */
    uint32_t call;    /* enum fire_call; not looked at for allocations */
    int32_t error;    /* errno; 0: the call is carried out for short_bytes bytes only */
    uint64_t nth;     /* from 1 */
    uint64_t times;
    uint64_t short_bytes;
    char library[24]; /* calls from files whose name begins so; empty: from anywhere */
    uint64_t seen;    /* out: matching calls since the arming */
    uint64_t failed;  /* out */
};

#define FIRE_FAULTS_MAX 3

struct fire_page {
    struct fire_fault allocation;
    struct fire_fault calls[FIRE_FAULTS_MAX];
    /* Allocations less releases, by the thread that made them. */
    int64_t live_main;
    int64_t live_others;
};

#endif
