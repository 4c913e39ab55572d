// fuzz.h - what every fuzz program uses: taking an input apart, reporting a find, a place for
// files.
#ifndef ZV_FUZZ_SUPPORT_FUZZ_H
#define ZV_FUZZ_SUPPORT_FUZZ_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace zv_fuzz {

// An input, read from its front. Past its end everything reads as 0, so that any cut of an input is
// an input, and a decoder needs no checks.
class Input {
  public:
    Input(const uint8_t *data, size_t size) : data_(data), size_(size) {}

    bool empty() const { return size_ == 0; }
    size_t size() const { return size_; }
    uint8_t u8() { return number<uint8_t>(); }
    uint16_t u16() { return number<uint16_t>(); }
    uint32_t u32() { return number<uint32_t>(); }
    uint64_t u64() { return number<uint64_t>(); }
    // One byte's worth of a number from 0 to limit - 1.
    uint32_t below(uint32_t limit) { return u8() % limit; }

    std::vector<uint8_t> bytes(size_t most) {
        const size_t len = most < size_ ? most : size_;
        std::vector<uint8_t> taken(data_, data_ + len);
        advance(len);
        return taken;
    }
    std::vector<uint8_t> rest() { return bytes(size_); }
    std::string_view text() const { return {reinterpret_cast<const char *>(data_), size_}; }

  private:
    template <class T>
    T number() {
        T value = 0;
        const size_t len = sizeof(T) < size_ ? sizeof(T) : size_;
        if (len > 0) {
            memcpy(&value, data_, len);
        }
        advance(len);
        return value;
    }
    void advance(size_t len) {
        data_ += len;
        size_ -= len;
    }

    const uint8_t *data_;
    size_t size_;
};

// Ends the process with a text that says what ought to have been: a find.
[[noreturn, gnu::format(printf, 1, 2)]] void fail(const char *format, ...);

// A directory of this process alone, with nothing in it; removed when the process ends well.
const std::string &scratch_dir();

}  // namespace zv_fuzz

// What the engine calls.
extern "C" {
int LLVMFuzzerInitialize(int *argc, char ***argv);
int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
}

#endif
