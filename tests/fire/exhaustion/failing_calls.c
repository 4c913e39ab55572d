/* Preloaded into the daemon: the calls of the C library that its own code makes, failed or cut
 * short as the page says. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include "tests/fire/exhaustion/fault_gate.h"

#define CALLER __builtin_return_address(0)

/* The function that stands behind this one. By memcpy: a cast from an object's address to a
 * function's is not the standard's. */
#define NEXT(type, name)                       \
    static type next = NULL;                   \
    if (next == NULL) {                        \
        void *found = dlsym(RTLD_NEXT, #name); \
        memcpy(&next, &found, sizeof(next));   \
    }

/* A call that fails with -1 and errno. */
#define FAILING(result, name, parameters, types, arguments)                    \
    EXPORTED result name parameters {                                          \
        typedef result(*type) types;                                           \
        NEXT(type, name)                                                       \
        const struct fire_fault *fault = fire_call_fails(FIRE_##name, CALLER); \
        if (fault != NULL) {                                                   \
            errno = fault->error;                                              \
            return (result)-1;                                                 \
        }                                                                      \
        return next arguments;                                                 \
    }

/* The same, or carried out for a part of the bytes. */
#define CUTTING(name, parameters, types, arguments)                            \
    EXPORTED ssize_t name parameters {                                         \
        typedef ssize_t(*type) types;                                          \
        NEXT(type, name)                                                       \
        const struct fire_fault *fault = fire_call_fails(FIRE_##name, CALLER); \
        if (fault != NULL && fault->error != 0) {                              \
            errno = fault->error;                                              \
            return -1;                                                         \
        }                                                                      \
        if (fault != NULL && len > fault->short_bytes) {                       \
            len = fault->short_bytes;                                          \
        }                                                                      \
        return next arguments;                                                 \
    }

/* A call that returns its error number. */
#define RETURNING(name, parameters, types, arguments)                          \
    EXPORTED int name parameters {                                             \
        typedef int(*type) types;                                              \
        NEXT(type, name)                                                       \
        const struct fire_fault *fault = fire_call_fails(FIRE_##name, CALLER); \
        return fault != NULL ? fault->error : next arguments;                  \
    }

/* A call that fails with null and errno. */
#define VANISHING(name, parameters, types, arguments)                          \
    EXPORTED FILE *name parameters {                                           \
        typedef FILE *(*type)types;                                            \
        NEXT(type, name)                                                       \
        const struct fire_fault *fault = fire_call_fails(FIRE_##name, CALLER); \
        if (fault != NULL) {                                                   \
            errno = fault->error;                                              \
            return NULL;                                                       \
        }                                                                      \
        return next arguments;                                                 \
    }

FAILING(int, accept4, (int fd, __SOCKADDR_ARG address, socklen_t *len, int flags),
        (int, __SOCKADDR_ARG, socklen_t *, int), (fd, address, len, flags))
FAILING(int, bind, (int fd, __CONST_SOCKADDR_ARG address, socklen_t len),
        (int, __CONST_SOCKADDR_ARG, socklen_t), (fd, address, len))
FAILING(int, chmod, (const char *path, mode_t mode), (const char *, mode_t), (path, mode))
FAILING(int, clock_gettime, (clockid_t clock, struct timespec *time),
        (clockid_t, struct timespec *), (clock, time))
FAILING(int, epoll_create1, (int flags), (int), (flags))
FAILING(int, epoll_ctl, (int poll_fd, int operation, int fd, struct epoll_event *event),
        (int, int, int, struct epoll_event *), (poll_fd, operation, fd, event))
FAILING(int, epoll_wait, (int fd, struct epoll_event *events, int num, int timeout_ms),
        (int, struct epoll_event *, int, int), (fd, events, num, timeout_ms))
FAILING(int, eventfd, (unsigned int value, int flags), (unsigned int, int), (value, flags))
FAILING(int, fchmod, (int fd, mode_t mode), (int, mode_t), (fd, mode))
FAILING(int, fflush, (FILE * file), (FILE *), (file))
FAILING(int, flock, (int fd, int operation), (int, int), (fd, operation))
FAILING(int, fstat, (int fd, struct stat *info), (int, struct stat *), (fd, info))
FAILING(int, getsockopt, (int fd, int level, int option, void *value, socklen_t *len),
        (int, int, int, void *, socklen_t *), (fd, level, option, value, len))
FAILING(int, listen, (int fd, int backlog), (int, int), (fd, backlog))
FAILING(int, lstat, (const char *path, struct stat *info), (const char *, struct stat *),
        (path, info))
FAILING(int, mkdir, (const char *path, mode_t mode), (const char *, mode_t), (path, mode))
FAILING(void *, mmap, (void *at, size_t len, int access, int flags, int fd, off_t offset),
        (void *, size_t, int, int, int, off_t), (at, len, access, flags, fd, offset))
FAILING(int, nanosleep, (const struct timespec *time, struct timespec *left),
        (const struct timespec *, struct timespec *), (time, left))
FAILING(int, poll, (struct pollfd * fds, nfds_t num, int timeout_ms),
        (struct pollfd *, nfds_t, int), (fds, num, timeout_ms))
FAILING(int, rename, (const char *from, const char *to), (const char *, const char *), (from, to))
FAILING(int, shutdown, (int fd, int how), (int, int), (fd, how))
FAILING(int, sigaction, (int number, const struct sigaction *action, struct sigaction *old),
        (int, const struct sigaction *, struct sigaction *), (number, action, old))
FAILING(int, socket, (int domain, int type_of_socket, int protocol), (int, int, int),
        (domain, type_of_socket, protocol))
FAILING(int, unlink, (const char *path), (const char *), (path))
FAILING(int, vfprintf, (FILE * file, const char *format, va_list arguments),
        (FILE *, const char *, va_list), (file, format, arguments))

CUTTING(read, (int fd, void *bytes, size_t len), (int, void *, size_t), (fd, bytes, len))
CUTTING(recv, (int fd, void *bytes, size_t len, int flags), (int, void *, size_t, int),
        (fd, bytes, len, flags))
CUTTING(send, (int fd, const void *bytes, size_t len, int flags), (int, const void *, size_t, int),
        (fd, bytes, len, flags))
CUTTING(write, (int fd, const void *bytes, size_t len), (int, const void *, size_t),
        (fd, bytes, len))

RETURNING(posix_fallocate, (int fd, off_t offset, off_t len), (int, off_t, off_t),
          (fd, offset, len))
RETURNING(pthread_attr_init, (pthread_attr_t * attributes), (pthread_attr_t *), (attributes))
RETURNING(pthread_create,
          (pthread_t * thread, const pthread_attr_t *attributes, void *(*function)(void *),
           void *argument),
          (pthread_t *, const pthread_attr_t *, void *(*)(void *), void *),
          (thread, attributes, function, argument))

VANISHING(fdopen, (int fd, const char *mode), (int, const char *), (fd, mode))
VANISHING(fopen, (const char *path, const char *mode), (const char *, const char *), (path, mode))

/* What the compiler calls for vfprintf where formats are checked. */
EXPORTED int __vfprintf_chk(FILE *file, int flag, const char *format, va_list arguments);
EXPORTED int __vfprintf_chk(FILE *file, int flag, const char *format, va_list arguments) {
    typedef int (*type)(FILE *, int, const char *, va_list);
    NEXT(type, __vfprintf_chk)
    const struct fire_fault *fault = fire_call_fails(FIRE_vfprintf, CALLER);
    if (fault != NULL) {
        errno = fault->error;
        return -1;
    }
    return next(file, flag, format, arguments);
}

/* Standard streams of C++ open their files by this name. */
EXPORTED FILE *fopen64(const char *path, const char *mode) {
    typedef FILE *(*type)(const char *, const char *);
    NEXT(type, fopen64)
    const struct fire_fault *fault = fire_call_fails(FIRE_fopen, CALLER);
    if (fault != NULL) {
        errno = fault->error;
        return NULL;
    }
    return next(path, mode);
}

EXPORTED int open(const char *path, int flags, ...) {
    typedef int (*type)(const char *, int, ...);
    NEXT(type, open)
    const struct fire_fault *fault = fire_call_fails(FIRE_open, CALLER);
    if (fault != NULL) {
        errno = fault->error;
        return -1;
    }
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return next(path, flags, mode);
}

/* The same parts, but for what lies past so many bytes. Returns how many parts. */
static int cut_parts(const struct iovec *parts, int num, size_t bytes, struct iovec *cut) {
    int cut_num = 0;
    for (int i = 0; i < num && bytes > 0; i++) {
        cut[i] = parts[i];
        cut[i].iov_len = parts[i].iov_len < bytes ? parts[i].iov_len : bytes;
        bytes -= cut[i].iov_len;
        cut_num++;
    }
    return cut_num;
}

EXPORTED ssize_t writev(int fd, const struct iovec *parts, int num) {
    typedef ssize_t (*type)(int, const struct iovec *, int);
    NEXT(type, writev)
    const struct fire_fault *fault = fire_call_fails(FIRE_writev, CALLER);
    if (fault == NULL) {
        return next(fd, parts, num);
    }
    struct iovec cut[16];
    if (fault->error != 0 || num > (int)(sizeof(cut) / sizeof(cut[0]))) {
        errno = fault->error != 0 ? fault->error : EINVAL;
        return -1;
    }
    return next(fd, cut, cut_parts(parts, num, fault->short_bytes, cut));
}

EXPORTED int ioctl(int fd, unsigned long request, ...) {
    typedef int (*type)(int, unsigned long, ...);
    NEXT(type, ioctl)
    const struct fire_fault *fault = fire_call_fails(FIRE_ioctl, CALLER);
    if (fault != NULL) {
        errno = fault->error;
        return -1;
    }
    va_list arguments;
    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    return next(fd, request, argument);
}

/* A library that is not there fails as one that cannot be read, with a text of dlerror's. */
EXPORTED void *dlopen(const char *path, int mode) {
    typedef void *(*type)(const char *, int);
    NEXT(type, dlopen)
    return next(fire_call_fails(FIRE_dlopen, CALLER) != NULL ? "/nowhere/none.so" : path, mode);
}
