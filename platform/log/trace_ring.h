// The trace ring: the newest lines given to zv_trace_cbuff_log, readable while they are written and
// after a crash.
//
// Any number of threads and signal handlers write at once without a lock. A line is either seen
// whole by a reader or not at all: what is being written, was left unfinished by a crash or is
// overwritten while it is read is skipped. A writer that finds its place still held by another one,
// which then was interrupted for a whole turn of the ring, takes a new place and after a few of
// them drops the line.
//
// The ring has one layout in memory and in the file of ZV_TRACE_FILE (little-endian):
//
//   offset  width  field
//        0      8  magic "ZVTRACE1"
//        8      4  bytes of a slot: 64
//       12      4  number of slots: 65536
//       16      8  number of the next slot to be taken, counted from 0 and never reduced
//       24      8  process id of the writer
//       32      8  time of creation, seconds since the epoch
//       40     24  zero
//       64         the slots; slot number n lies at index n modulo the number of slots
//
// A line takes as many consecutive slots as its text needs, 48 bytes in each, at least one:
//
//        0      8  marker: 2 * (n + 1) when slot number n is complete, plus 1 while it is written
//        8      4  bytes of the whole line
//       12      4  this slot's place within the line, from 0
//       16     48  text, zero-padded
#ifndef PLATFORM_LOG_TRACE_RING_H
#define PLATFORM_LOG_TRACE_RING_H

#include <array>
#include <atomic>
#include <cstdint>

namespace zv_log_lib {

constexpr uint32_t kSlotWords = 6;
constexpr uint32_t kSlotText = kSlotWords * 8;
constexpr uint32_t kSlotNum = 65536;
// A longer text is cut: a line must stay far smaller than the ring, and than a thread's stack.
constexpr uint32_t kMaxText = 256 * 1024;

struct alignas(64) TraceSlot {
    std::atomic<uint64_t> marker;
    std::atomic<uint64_t> header;
    std::array<std::atomic<uint64_t>, kSlotWords> text;
};

struct alignas(64) TraceRing {
    uint64_t magic;
    uint32_t slot_bytes;
    uint32_t slot_num;
    std::atomic<uint64_t> next;
    uint64_t pid;
    uint64_t created_s;
    uint64_t zero[3];
    std::array<TraceSlot, kSlotNum> slots;
};

static_assert(std::atomic<uint64_t>::is_always_lock_free);
static_assert(sizeof(TraceSlot) == 64 && sizeof(TraceRing) == 64 + 64ull * kSlotNum);

// Appends one line; a text of more than kMaxText bytes is cut.
void ring_write(TraceRing &ring, const char *text, uint32_t text_len);

// As zv_trace_cbuff_read, from a given ring.
uint32_t ring_read(const TraceRing &ring, char *buffer, uint32_t size, uint32_t max_lines);

// Makes the file at path a new, empty ring and maps it; an earlier file stays as <path>.old. All
// its blocks are allocated, since a full disk must not kill the program at some later line. Returns
// null with errno set when that cannot be done.
TraceRing *ring_file_create(const char *path);

void ring_file_unmap(TraceRing *ring);

}  // namespace zv_log_lib

#pragma GCC visibility push(default)
extern "C" {

// Copies the newest complete lines of the ring into buffer, oldest first, with a newline between
// two lines, none at the end and no NUL. At most max_lines lines, and no more than fit whole into
// size bytes. A line that holds newlines itself counts as one. Works before zv_log_init and after
// zv_log_close too. Returns the bytes written.
uint32_t zv_trace_cbuff_read(char *buffer, uint32_t size, uint32_t max_lines);

// The same from a file that ZV_TRACE_FILE names or named, also while its program runs. The bytes
// written are stored in *written. Returns 0, EINVAL for a file that is no trace ring, or the errno
// value with which opening or mapping it failed.
int zv_trace_file_read(const char *path, char *buffer, uint32_t size, uint32_t max_lines,
                       uint32_t *written);
}
#pragma GCC visibility pop

#endif
