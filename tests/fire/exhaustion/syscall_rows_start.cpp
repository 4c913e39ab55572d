// Calls that fail while the daemon starts.
#include <errno.h>

#include "tests/fire/exhaustion/syscalls.h"

namespace zv_fire {

namespace {

constexpr char kComplib[] = "libzv_complib";
constexpr char kSim[] = "libzv_sim";
// Standard streams of C++ open and read files for others.
constexpr char kStreams[] = "libstdc++";

// What the switch says of a configuration that it has read whole.
constexpr char kNoNumber[] = ": regions: must be an integer from 0 to 4294967295; the defaults";

constexpr StartEnd kServes = StartEnd::kServes;
constexpr StartEnd kRefuses = StartEnd::kRefuses;

}  // namespace

std::vector<StartRow> start_rows() {
    return {
        {{FIRE_mkdir, EACCES, kRpc}, kRefuses, "Cannot make the directory of"},
        {{FIRE_mkdir, ENOSPC, kRpc}, kRefuses, "Cannot make the directory of"},
        {{FIRE_open, EMFILE, kRpc}, kRefuses, "Cannot open"},
        {{FIRE_open, EACCES, kRpc}, kRefuses, "Cannot open"},
        {{FIRE_flock, EINTR, kRpc}, kRefuses, "Cannot lock"},
        {{FIRE_flock, ENOLCK, kRpc}, kRefuses, "Cannot lock"},
        {{FIRE_flock, EWOULDBLOCK, kRpc}, kRefuses, "Another server is alive on"},
        {{FIRE_fstat, EIO, kRpc, 1, kFromThenOn}, kRefuses, "Cannot look at"},
        {{FIRE_lstat, EIO, kRpc, 1, kFromThenOn}, kRefuses, "Cannot look at"},
        // The lock file was removed between open and lock: the next one is taken.
        {{FIRE_lstat, ENOENT, kRpc}, kServes, ""},
        {{FIRE_lstat, EACCES, kRpc, 2}, kRefuses, "Cannot take the place of"},
        {{FIRE_lstat, EIO, kRpc, 3}, kRefuses, "Cannot listen on"},
        {{FIRE_socket, EMFILE, kRpc}, kRefuses, "Cannot make a socket for"},
        {{FIRE_socket, ENFILE, kRpc}, kRefuses, "Cannot make a socket for"},
        {{FIRE_unlink, EACCES, kRpc}, kRefuses, "Cannot listen on"},
        {{FIRE_fchmod, EPERM, kRpc}, kRefuses, "Cannot listen on"},
        {{FIRE_bind, EADDRINUSE, kRpc}, kRefuses, "Cannot listen on"},
        {{FIRE_bind, ENOSPC, kRpc}, kRefuses, "Cannot listen on"},
        {{FIRE_chmod, EPERM, kRpc}, kRefuses, "Cannot listen on"},
        {{FIRE_listen, ENOMEM, kRpc}, kRefuses, "Cannot listen on"},
        {{FIRE_rename, EACCES, kRpc}, kRefuses, "Cannot listen on"},
        {{FIRE_eventfd, EMFILE, kRpc}, kRefuses, "Cannot prepare to serve"},
        {{FIRE_epoll_create1, EMFILE, kRpc}, kRefuses, "Cannot prepare to serve"},
        {{FIRE_epoll_ctl, ENOSPC, kRpc}, kRefuses, "Cannot prepare to serve"},
        {{FIRE_epoll_ctl, ENOMEM, kRpc, 2}, kRefuses, "Cannot prepare to serve"},
        {{FIRE_sigaction, EINVAL, kDaemon}, kRefuses, "sigaction error"},
        {{FIRE_sigaction, EINVAL, kDaemon, 6}, kRefuses, "sigaction error"},
        // Kept: without the thread that stops it the daemon serves, and says so.
        {{FIRE_pthread_create, EAGAIN, kComplib},
         kServes,
         "cl_thread_init (terminator) error: ",
         StartRow::kNothing,
         true,
         false},
        {{FIRE_pthread_attr_init, ENOMEM, kComplib},
         kServes,
         "cl_thread_init (terminator) error: ",
         StartRow::kNothing,
         true,
         false},
        {{FIRE_dlopen, ENOENT, kDaemon},
         kRefuses,
         "Could not load ZV ACL RM connector library",
         StartRow::kConnector},
        {{FIRE_lstat, EACCES, kLog}, kServes, "The trace stays in memory", StartRow::kTraceFile},
        {{FIRE_rename, EACCES, kLog},
         kServes,
         "The trace stays in memory",
         StartRow::kOldTraceFile},
        {{FIRE_open, EROFS, kLog}, kServes, "The trace stays in memory", StartRow::kTraceFile},
        {{FIRE_posix_fallocate, ENOSPC, kLog},
         kServes,
         "The trace stays in memory",
         StartRow::kTraceFile},
        {{FIRE_mmap, ENOMEM, kLog}, kServes, "The trace stays in memory", StartRow::kTraceFile},
        {{FIRE_open, EACCES, kSim}, kServes, "calls are not traced", StartRow::kTrace},
        // A line of the trace that cannot be written is lost; one that can be is whole.
        {{FIRE_write, ENOSPC, kSim, 1, 20}, kServes, "", StartRow::kTrace},
        {{FIRE_write, EAGAIN, kSim, 1, 5}, kServes, "", StartRow::kTrace},
        {{FIRE_write, EPIPE, kSim, 1, 5}, kServes, "", StartRow::kTrace},
        {{FIRE_write, EINTR, kSim, 1, 5}, kServes, "", StartRow::kWholeTrace},
        {{FIRE_write, 0, kSim, 1, 5}, kServes, "", StartRow::kWholeTrace},
        // A complaint that cannot be written is lost.
        {{FIRE_writev, EPIPE, kSim}, kServes, "", StartRow::kBadConfig},
        {{FIRE_writev, ENOSPC, kSim}, kServes, "", StartRow::kBadConfig},
        {{FIRE_writev, EINTR, kSim}, kServes, "", StartRow::kBadConfig},
        {{FIRE_writev, 0, kSim, 1, 1, 7}, kServes, "zv_sim:", StartRow::kBadConfig},
        {{FIRE_fopen, EMFILE, kStreams}, kServes, "cannot be read", StartRow::kConfig},
        {{FIRE_read, EIO, kStreams, 1, 2},
         kServes,
         "cannot be read; the defaults are used",
         StartRow::kConfig},
        // Read to its end, where the complaint is about what it says.
        {{FIRE_read, EINTR, kStreams, 1, 3}, kServes, kNoNumber, StartRow::kBadConfig},
        {{FIRE_read, 0, kStreams, 1, 100}, kServes, kNoNumber, StartRow::kBadConfig},
    };
}

std::vector<StartRow> control_start_rows() {
    constexpr auto kNothing = StartRow::kNothing;
    return {
        // The directory is made by the other one who needs it, which comes later.
        {{FIRE_mkdir, EACCES, kSwitch, 1, kFromThenOn},
         kServes,
         "there is no control socket",
         kNothing,
         false},
        {{FIRE_open, EMFILE, kSwitch}, kServes, "there is no control socket", kNothing, false},
        {{FIRE_flock, ENOLCK, kSwitch}, kServes, "there is no control socket", kNothing, false},
        {{FIRE_flock, EWOULDBLOCK, kSwitch}, kServes, "another process serves", kNothing, false},
        {{FIRE_lstat, EACCES, kSwitch}, kServes, "there is no control socket", kNothing, false},
        {{FIRE_socket, ENFILE, kSwitch}, kServes, "there is no control socket", kNothing, false},
        {{FIRE_fchmod, EPERM, kSwitch}, kServes, "there is no control socket", kNothing, false},
        {{FIRE_bind, ENOSPC, kSwitch}, kServes, "there is no control socket", kNothing, false},
        {{FIRE_listen, ENOMEM, kSwitch}, kServes, "there is no control socket", kNothing, false},
        {{FIRE_pthread_attr_init, ENOMEM, kSwitch},
         kServes,
         "no thread for the control socket",
         kNothing,
         false},
        {{FIRE_pthread_create, EAGAIN, kSwitch},
         kServes,
         "no thread for the control socket",
         kNothing,
         false},
    };
}

}  // namespace zv_fire
