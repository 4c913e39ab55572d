#include "platform/sim/json.h"

#include <atomic>
#include <cstdlib>
#include <ctime>

namespace zv_sim {

namespace {

// Most values that a call or a line makes hold fewer than a hundred others, of 16 bytes each.
constexpr size_t kPieceBytes = 4096;
constexpr size_t kPieceNum = 16;
constexpr long kPauseNs = 1000 * 1000;

struct Piece {
    alignas(std::max_align_t) unsigned char bytes[kPieceBytes];
};

Piece g_reserve[kPieceNum];
std::atomic<bool> g_taken[kPieceNum];

void *take_reserve(size_t bytes) {
    for (size_t i = 0; i < kPieceNum && bytes <= kPieceBytes; i++) {
        if (!g_taken[i].exchange(true, std::memory_order_acquire)) {
            return g_reserve[i].bytes;
        }
    }
    return nullptr;
}

// Its place in the reserve; kPieceNum for memory of the heap.
size_t piece_of(const void *memory) {
    const auto address = reinterpret_cast<uintptr_t>(memory);
    const auto first = reinterpret_cast<uintptr_t>(g_reserve);
    const bool inside = address >= first && address < first + sizeof(g_reserve);
    return inside ? (address - first) / sizeof(Piece) : kPieceNum;
}

}  // namespace

void *scratch_take(size_t bytes) noexcept {
    for (;;) {
        void *memory = std::malloc(bytes);
        if (memory == nullptr) {
            memory = take_reserve(bytes);
        }
        if (memory != nullptr) {
            return memory;
        }
        timespec pause = {0, kPauseNs};
        nanosleep(&pause, nullptr);
    }
}

void scratch_give(void *memory) noexcept {
    const size_t piece = piece_of(memory);
    if (piece < kPieceNum) {
        g_taken[piece].store(false, std::memory_order_release);
    } else {
        std::free(memory);
    }
}

}  // namespace zv_sim
