// The trace ring as a file. The kernel keeps a shared mapping's pages whatever becomes of the
// program, so nothing has to be written out at the time of a crash.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "platform/log/trace_ring.h"

namespace zv_log_lib {

namespace {

constexpr char kMagic[] = "ZVTRACE1";

uint64_t magic_word() {
    uint64_t word = 0;
    memcpy(&word, kMagic, sizeof(word));
    return word;
}

// Keeps the ring of an earlier run, which may be the trace of a crash. Anything but a plain file at
// that path is somebody else's and is left alone.
bool move_aside(const char *path) {
    struct stat info = {};
    if (lstat(path, &info) != 0) {
        return errno == ENOENT;
    }
    if (!S_ISREG(info.st_mode)) {
        errno = EEXIST;
        return false;
    }
    char old_path[PATH_MAX];
    int len = snprintf(old_path, sizeof(old_path), "%s.old", path);
    if (len < 0 || static_cast<size_t>(len) >= sizeof(old_path)) {
        errno = ENAMETOOLONG;
        return false;
    }
    return rename(path, old_path) == 0;
}

// The file's blocks are allocated first: a store to a mapped page that the disk has no room for
// would be a fatal signal.
void *map_new(int fd) {
    int error = posix_fallocate(fd, 0, sizeof(TraceRing));
    if (error != 0) {
        errno = error;
        return nullptr;
    }
    void *memory = mmap(nullptr, sizeof(TraceRing), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    return memory == MAP_FAILED ? nullptr : memory;
}

bool is_ring(const TraceRing &ring) {
    return ring.magic == magic_word() && ring.slot_bytes == sizeof(TraceSlot) &&
           ring.slot_num == kSlotNum;
}

const TraceRing *map_existing(int fd) {
    struct stat info = {};
    if (fstat(fd, &info) != 0) {
        return nullptr;
    }
    if (!S_ISREG(info.st_mode) || info.st_size != static_cast<off_t>(sizeof(TraceRing))) {
        errno = EINVAL;
        return nullptr;
    }
    void *memory = mmap(nullptr, sizeof(TraceRing), PROT_READ, MAP_SHARED, fd, 0);
    return memory == MAP_FAILED ? nullptr : static_cast<const TraceRing *>(memory);
}

}  // namespace

TraceRing *ring_file_create(const char *path) {
    if (!move_aside(path)) {
        return nullptr;
    }
    int fd = open(path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        return nullptr;
    }
    void *memory = map_new(fd);
    int error = errno;
    close(fd);
    if (memory == nullptr) {
        unlink(path);
        errno = error;
        return nullptr;
    }
    // A new file is all zeros, which is the state of an empty ring.
    auto *ring = static_cast<TraceRing *>(memory);
    ring->slot_bytes = sizeof(TraceSlot);
    ring->slot_num = kSlotNum;
    ring->pid = static_cast<uint64_t>(getpid());
    ring->created_s = static_cast<uint64_t>(time(nullptr));
    ring->magic = magic_word();
    return ring;
}

void ring_file_unmap(TraceRing *ring) {
    munmap(ring, sizeof(*ring));
}

}  // namespace zv_log_lib

int zv_trace_file_read(const char *path, char *buffer, uint32_t size, uint32_t max_lines,
                       uint32_t *written) {
    *written = 0;
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return errno;
    }
    const zv_log_lib::TraceRing *ring = zv_log_lib::map_existing(fd);
    int error = ring == nullptr ? errno : 0;
    close(fd);
    if (ring == nullptr) {
        return error;
    }
    if (zv_log_lib::is_ring(*ring)) {
        *written = zv_log_lib::ring_read(*ring, buffer, size, max_lines);
    } else {
        error = EINVAL;
    }
    munmap(const_cast<zv_log_lib::TraceRing *>(ring), sizeof(*ring));
    return error;
}
