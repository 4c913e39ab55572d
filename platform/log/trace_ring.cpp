// How lines get into the ring and out of it.
//
// A writer takes consecutive slot numbers with one addition, turns the marker of each slot from an
// older number's into its own "being written", fills the slot and marks it complete. The number in
// the marker tells a reader whether a slot still holds what it is looking for, as it only ever
// grows.
//
// Everything shared is atomic, and text words are stored with release and loaded with acquire order
// instead of fences (which the thread sanitizer does not know): a reader that sees a word of a
// newer line thereby also sees that line's marker when it checks the marker a second time.
#include "platform/log/trace_ring.h"

#include <algorithm>
#include <cstring>

namespace zv_log_lib {

namespace {

// How often a line tries a new place before it is dropped.
constexpr int kPlaceTries = 4;

constexpr uint64_t complete_marker(uint64_t number) {
    return (number + 1) * 2;
}
constexpr uint64_t writing_marker(uint64_t number) {
    return complete_marker(number) | 1;
}

constexpr uint32_t slots_for(uint32_t text_len) {
    return std::max<uint32_t>(1, (text_len + kSlotText - 1) / kSlotText);
}

constexpr uint64_t slot_header(uint32_t text_len, uint32_t place) {
    return static_cast<uint64_t>(place) << 32 | text_len;
}

// A header no complete line has: the slot was taken and given up.
constexpr uint64_t kVoidHeader = ~0ull;

TraceSlot &slot_at(TraceRing &ring, uint64_t number) {
    return ring.slots[number % kSlotNum];
}

const TraceSlot &slot_at(const TraceRing &ring, uint64_t number) {
    return ring.slots[number % kSlotNum];
}

bool claim_slot(TraceSlot &slot, uint64_t number) {
    uint64_t seen = slot.marker.load(std::memory_order_relaxed);
    // Odd: an interrupted writer holds it. Not older: this writer itself was overtaken by a turn.
    while ((seen & 1) == 0 && seen < complete_marker(number)) {
        if (slot.marker.compare_exchange_weak(seen, writing_marker(number),
                                              std::memory_order_acq_rel,
                                              std::memory_order_relaxed)) {
            return true;
        }
    }
    return false;
}

void finish_slot(TraceSlot &slot, uint64_t number, uint64_t header) {
    slot.header.store(header, std::memory_order_release);
    slot.marker.store(complete_marker(number), std::memory_order_release);
}

bool claim_slots(TraceRing &ring, uint64_t first, uint32_t count) {
    for (uint32_t i = 0; i < count; i++) {
        if (!claim_slot(slot_at(ring, first + i), first + i)) {
            for (uint32_t j = 0; j < i; j++) {
                finish_slot(slot_at(ring, first + j), first + j, kVoidHeader);
            }
            return false;
        }
    }
    return true;
}

void fill_slot(TraceSlot &slot, const char *text, uint32_t text_len) {
    for (uint32_t word = 0; word < kSlotWords; word++) {
        uint64_t value = 0;
        uint32_t begin = word * 8;
        if (begin < text_len) {
            memcpy(&value, text + begin, std::min<uint32_t>(8, text_len - begin));
        }
        slot.text[word].store(value, std::memory_order_release);
    }
}

// A line as its last slot describes it.
struct LineExtent {
    uint64_t first;
    uint32_t slot_num;
    uint32_t text_len;
};

bool find_line_ending_at(const TraceRing &ring, uint64_t number, LineExtent *line) {
    const TraceSlot &slot = slot_at(ring, number);
    if (slot.marker.load(std::memory_order_acquire) != complete_marker(number)) {
        return false;
    }
    uint64_t header = slot.header.load(std::memory_order_acquire);
    auto text_len = static_cast<uint32_t>(header);
    auto place = static_cast<uint32_t>(header >> 32);
    if (text_len > kMaxText || place != slots_for(text_len) - 1 || place > number) {
        return false;
    }
    *line = {number - place, place + 1, text_len};
    return true;
}

bool copy_slot(const TraceSlot &slot, uint64_t number, uint64_t header, char *out,
               uint32_t out_len) {
    if (slot.marker.load(std::memory_order_acquire) != complete_marker(number) ||
        slot.header.load(std::memory_order_acquire) != header) {
        return false;
    }
    for (uint32_t begin = 0; begin < out_len; begin += 8) {
        uint64_t value = slot.text[begin / 8].load(std::memory_order_acquire);
        memcpy(out + begin, &value, std::min<uint32_t>(8, out_len - begin));
    }
    return slot.marker.load(std::memory_order_acquire) == complete_marker(number);
}

bool copy_line(const TraceRing &ring, const LineExtent &line, char *out) {
    for (uint32_t i = 0; i < line.slot_num; i++) {
        uint32_t begin = i * kSlotText;
        if (!copy_slot(slot_at(ring, line.first + i), line.first + i, slot_header(line.text_len, i),
                       out + begin, std::min(kSlotText, line.text_len - begin))) {
            return false;
        }
    }
    return true;
}

}  // namespace

void ring_write(TraceRing &ring, const char *text, uint32_t text_len) {
    text_len = std::min(text_len, kMaxText);
    uint32_t count = slots_for(text_len);
    for (int attempt = 0; attempt < kPlaceTries; attempt++) {
        uint64_t first = ring.next.fetch_add(count, std::memory_order_relaxed);
        if (!claim_slots(ring, first, count)) {
            continue;
        }
        for (uint32_t i = 0; i < count; i++) {
            TraceSlot &slot = slot_at(ring, first + i);
            uint32_t begin = i * kSlotText;
            fill_slot(slot, text + begin, std::min(kSlotText, text_len - begin));
            finish_slot(slot, first + i, slot_header(text_len, i));
        }
        return;
    }
}

// The lines are found newest first, so they are laid down from the buffer's end and moved to its
// beginning at last: no memory beside the caller's is needed.
uint32_t ring_read(const TraceRing &ring, char *buffer, uint32_t size, uint32_t max_lines) {
    uint64_t end = ring.next.load(std::memory_order_acquire);
    const uint64_t oldest = end > kSlotNum ? end - kSlotNum : 0;
    uint32_t begin = size;
    uint32_t lines = 0;
    while (end > oldest && lines < max_lines) {
        LineExtent line{};
        if (!find_line_ending_at(ring, end - 1, &line)) {
            end--;
            continue;
        }
        uint32_t needed = line.text_len + (lines > 0 ? 1 : 0);
        if (needed > begin) {
            break;
        }
        if (!copy_line(ring, line, buffer + begin - needed)) {
            end--;
            continue;
        }
        if (lines > 0) {
            buffer[begin - 1] = '\n';
        }
        begin -= needed;
        end = line.first;
        lines++;
    }
    if (begin < size) {
        memmove(buffer, buffer + begin, size - begin);
    }
    return size - begin;
}

}  // namespace zv_log_lib
