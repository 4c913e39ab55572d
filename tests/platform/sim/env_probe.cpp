// Prints what a process sees of its environment: the configuration as one line, then the outcome of
// each call that is named on the command line. "write=PIECE,ROOM" there lets each later write(2)
// take at most PIECE bytes, and all of them together ROOM; then the disk is full. The first write
// after that is interrupted.

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "platform/sim/call.h"
#include "platform/sim/config.h"

namespace {

size_t g_piece = static_cast<size_t>(-1);
size_t g_room = static_cast<size_t>(-1);
bool g_interrupted = false;

}  // namespace

// Stands before the C library's for the platform's libraries too; printf does not come here.
extern "C" [[gnu::visibility("default")]] ssize_t write(int fd, const void *bytes, size_t len) {
    if (g_interrupted || g_room == 0) {
        errno = g_interrupted ? EINTR : ENOSPC;
        g_interrupted = false;
        return -1;
    }
    const ssize_t written = syscall(SYS_write, fd, bytes, std::min({len, g_piece, g_room}));
    g_room -= written > 0 ? static_cast<size_t>(written) : 0;
    return written;
}

int main(int argc, char **argv) {
    const zv_sim::Config &config = zv_sim::config();
    std::printf("%u %u %u %u %u %u %u %d %zu\n", config.tcam_entries, config.regions, config.acls,
                config.groups, config.bindings, config.pbs_entries, config.counters,
                config.acl_destroy_in_use ? 1 : 0, zv_sim::ports().size());
    for (int i = 1; i < argc; i++) {
        if (std::sscanf(argv[i], "write=%zu,%zu", &g_piece, &g_room) == 2) {
            g_interrupted = true;
            continue;
        }
        zv_sim::Call call(argv[i]);
        std::printf("%u\n", call.finish(0));
    }
    return 0;
}
