/* Preloaded into the daemon, it stands before two functions of the C library:
 *   syslog     appends "priority|text" to the file named by ZV_TEST_SYSLOG_FILE
 *   sigaction  fails for the signal numbered by ZV_TEST_FAIL_SIGACTION
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <syslog.h>

#define EXPORTED __attribute__((visibility("default")))

static void keep(int priority, const char *format, va_list arguments) {
    const char *path = getenv("ZV_TEST_SYSLOG_FILE");
    FILE *file = path != NULL ? fopen(path, "a") : NULL;
    if (file == NULL) {
        return;
    }
    fprintf(file, "%d|", priority);
    vfprintf(file, format, arguments);
    fclose(file);
}

EXPORTED void syslog(int priority, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    keep(priority, format, arguments);
    va_end(arguments);
}

/* What the compiler calls in its place where lengths and formats are checked. */
EXPORTED void __syslog_chk(int priority, int flag, const char *format, ...);
EXPORTED void __syslog_chk(int priority, int flag, const char *format, ...) {
    (void)flag;
    va_list arguments;
    va_start(arguments, format);
    keep(priority, format, arguments);
    va_end(arguments);
}

EXPORTED int sigaction(int signal_number, const struct sigaction *action, struct sigaction *old) {
    typedef int (*sigaction_t)(int, const struct sigaction *, struct sigaction *);
    const char *failing = getenv("ZV_TEST_FAIL_SIGACTION");
    if (failing != NULL && atoi(failing) == signal_number) {
        errno = EINVAL;
        return -1;
    }
    /* The standard's way from dlsym's pointer to a function: not by a cast. */
    void *found = dlsym(RTLD_NEXT, "sigaction");
    sigaction_t next;
    memcpy(&next, &found, sizeof(next));
    return next(signal_number, action, old);
}
