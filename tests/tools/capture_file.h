/* A capture file, packet by packet; little-endian, microseconds. */
#ifndef ZV_TESTS_TOOLS_CAPTURE_FILE_H
#define ZV_TESTS_TOOLS_CAPTURE_FILE_H

#include <cstdint>
#include <string>

namespace zv_test {

class Capture {
  public:
    explicit Capture(uint32_t link_type) {
        put32(0xa1b2c3d4);
        put32(2 | 4 << 16);
        put32(0);
        put32(0);
        put32(65535);
        put32(link_type);
    }
    void add(const std::string &hex, uint32_t length = 0) {
        const auto bytes = static_cast<uint32_t>(hex.size() / 2);
        put32(1);
        put32(0);
        put32(bytes);
        put32(length == 0 ? bytes : length);
        for (size_t i = 0; i < hex.size(); i += 2) {
            text_ += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
        }
    }
    const std::string &text() const { return text_; }

  private:
    void put32(uint32_t value) {
        for (int i = 0; i < 4; i++) {
            text_ += static_cast<char>(value >> (8 * i));
        }
    }
    std::string text_;
};

}  // namespace zv_test

#endif
