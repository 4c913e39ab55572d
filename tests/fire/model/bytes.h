// bytes.h - little-endian numbers and hexadecimal text in records of the wire.
#ifndef ZV_TESTS_FIRE_MODEL_BYTES_H
#define ZV_TESTS_FIRE_MODEL_BYTES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zv_model {

// Callers have checked the record's length, so every place they name lies inside it.
template <class Number>
Number number_at(const std::vector<uint8_t> &record, size_t at) {
    Number number = 0;
    for (size_t i = sizeof(Number); i-- > 0;) {
        number = static_cast<Number>(static_cast<uint64_t>(number) << 8 | record[at + i]);
    }
    return number;
}

inline uint32_t u32_at(const std::vector<uint8_t> &record, size_t at) {
    return number_at<uint32_t>(record, at);
}

template <class Number>
void put(std::vector<uint8_t> &record, size_t at, Number number) {
    for (size_t i = 0; i < sizeof(Number); ++i) {
        record[at + i] = static_cast<uint8_t>(static_cast<uint64_t>(number) >> (8 * i));
    }
}

inline std::string hex_of(const uint8_t *bytes, size_t bytes_num) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text(2 * bytes_num, '0');
    for (size_t i = 0; i < bytes_num; ++i) {
        text[2 * i] = kDigits[bytes[i] >> 4];
        text[2 * i + 1] = kDigits[bytes[i] & 15];
    }
    return text;
}

// The trace writes lower-case digits only.
inline void put_hex(std::vector<uint8_t> &record, size_t at, const std::string &text) {
    const auto digit = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
    for (size_t i = 0; i + 1 < text.size(); i += 2) {
        record[at + i / 2] = static_cast<uint8_t>(digit(text[i]) << 4 | digit(text[i + 1]));
    }
}

}  // namespace zv_model

#endif
