/* acl_rm_file_logger.so: a logger plug-in that appends every log line to a file.
 *
 *   ZV_ACL_RM_LOG_FILE=/var/log/zv_acl_rm.log zv_acl_rm --logger=/usr/lib/acl_rm_file_logger.so
 *
 * For whoever writes a logger of their own. A logger is a shared library that exports one function,
 * log_cb. The daemon loads it while it reads its command line and hands the function to the log,
 * RPC and network libraries as their sink. From then until it unloads the library, at its very
 * end, that function
 *   - is called from several threads at once, and from inside signal handlers, so it must neither
 *     lock nor allocate nor call anything that does;
 *   - gets `message` complete: it is text and never a format, nothing follows it, and it may or may
 *     not end with newlines;
 *   - owns neither text: both are the caller's and gone when the call is over;
 *   - cannot fail: there is nobody to tell. A line that cannot be written is dropped.
 * Hence this one opens its file with the first line, keeps the number of the open file and whether
 * the last line is torn in atomics and nothing else, and hands each line to the kernel with one
 * call, whose append neither another thread nor another process can cut into. Only where the kernel
 * takes a part (a full disk, a signal) does another call follow.
 */
#include <errno.h>
#include <fcntl.h>
#include <stdatomic.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/uio.h>
#include <unistd.h>

/* The daemon looks the function up by name, so it has to be visible and keep its C name. */
#define EXPORTED __attribute__((visibility("default")))

EXPORTED void log_cb(uint32_t severity_mask, const char *module, const char *message, ...);

enum { MODULE_WIDTH = 20, NOT_OPENED = -1, UNUSABLE = -2 };

static _Atomic int log_fd = NOT_OPENED;
/* The file ends in the middle of a line, so that the next one has to begin a line of its own. */
static _Atomic bool line_is_torn = false;

/* A severity is the mask of the low L bits of its level L: 1 for an error, 3 for a warning, ... */
static const char *level_name(uint32_t severity_mask) {
    static const char *const names[] = {"NONE   ", "ERROR  ", "WARN   ", "NOTICE ", "INFO   ",
                                        "DEBUG  ", "FUNCS  ", "FRAMES ", "ALL    "};
    size_t level = 0;
    while (level < 32 && (severity_mask >> level & 1) != 0) {
        ++level;
    }
    return level < sizeof(names) / sizeof(names[0]) ? names[level] : "UNKNOWN";
}

/* The open file, or a negative number. Two threads that come first both open it; one of them gives
 * its own up again, which is cheaper than the lock that must not be here. */
static int opened_file(void) {
    int fd = atomic_load(&log_fd);
    if (fd != NOT_OPENED) {
        return fd;
    }
    const char *path = getenv("ZV_ACL_RM_LOG_FILE");
    do {
        fd = path == NULL ? UNUSABLE : open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0640);
    } while (fd == NOT_OPENED && errno == EINTR);
    if (fd < 0) {
        fd = UNUSABLE; /* asked for once: a file that appears later is not looked for */
    }
    int expected = NOT_OPENED;
    if (!atomic_compare_exchange_strong(&log_fd, &expected, fd)) {
        if (fd >= 0) {
            close(fd);
        }
        fd = expected;
    }
    return fd;
}

static struct iovec text(const char *start, size_t length) {
    /* writev reads only, but its record is shared with readv and knows no const. */
    struct iovec part = {(void *)(uintptr_t)start, length};
    return part;
}

static size_t length_of(const struct iovec *parts, int num) {
    size_t length = 0;
    for (int i = 0; i < num; ++i) {
        length += parts[i].iov_len;
    }
    return length;
}

static void skip(struct iovec *parts, int num, size_t bytes) {
    for (int i = 0; i < num; ++i) {
        const size_t skipped = bytes < parts[i].iov_len ? bytes : parts[i].iov_len;
        parts[i] = text((const char *)parts[i].iov_base + skipped, parts[i].iov_len - skipped);
        bytes -= skipped;
    }
}

/* The first part is the newline that ends a torn line. The line counts as torn until that newline
 * is out: a line that another thread, or a signal handler on this one, writes before brings its
 * own. An empty line may come of that, but nothing is glued to a torn line that is known as one. */
static void write_line(int fd, struct iovec *parts, int num) {
    parts[0].iov_len = atomic_load(&line_is_torn) ? 1 : 0;
    const size_t line_length = length_of(parts + 1, num - 1);
    size_t left = parts[0].iov_len + line_length;
    while (left > 0) {
        const ssize_t written = writev(fd, parts, num);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            break; /* nothing to be done about a full disk, and nobody to tell */
        }
        if (parts[0].iov_len != 0) {
            atomic_store(&line_is_torn, false);
        }
        left -= (size_t)written;
        skip(parts, num, (size_t)written);
    }
    if (left > 0 && left < line_length) {
        atomic_store(&line_is_torn, true);
    }
}

void log_cb(uint32_t severity_mask, const char *module, const char *message, ...) {
    static const char blanks[MODULE_WIDTH + 1] = "                    ";
    /* The code that a signal interrupted may be about to look at errno. */
    const int interrupted_errno = errno;
    const int fd = opened_file();
    if (fd >= 0 && module != NULL && message != NULL) {
        const size_t module_len = strlen(module);
        size_t message_len = strlen(message);
        while (message_len > 0 && message[message_len - 1] == '\n') {
            --message_len;
        }
        const char *level = level_name(severity_mask);
        struct iovec line[] = {
            text("\n", 0),
            text("[", 1),
            text(module, module_len),
            text(blanks, module_len < MODULE_WIDTH ? MODULE_WIDTH - module_len : 0),
            text("][", 2),
            text(level, strlen(level)),
            text("] : ", 4),
            text(message, message_len),
            text("\n", 1),
        };
        write_line(fd, line, sizeof(line) / sizeof(line[0]));
    }
    errno = interrupted_errno;
}

/* Runs when the daemon unloads the library. No sink is called any more by then. */
__attribute__((destructor)) static void close_file(void) {
    const int fd = atomic_exchange(&log_fd, UNUSABLE);
    if (fd >= 0) {
        close(fd);
    }
}
