#include "terminal_text.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace aclrmctl {

namespace {

/* The bytes of the UTF-8 character that the text begins with, 0 for none; *code is its number. */
size_t decode_utf8(std::string_view text, uint32_t *code) {
    const auto byte = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
    const size_t length = byte(0) < 0x80             ? 1
                          : (byte(0) & 0xE0) == 0xC0 ? 2
                          : (byte(0) & 0xF0) == 0xE0 ? 3
                          : (byte(0) & 0xF8) == 0xF0 ? 4
                                                     : 0;
    if (length == 0 || length > text.size()) {
        return 0;
    }
    *code = length == 1 ? byte(0) : byte(0) & (0x7Fu >> length);
    for (size_t i = 1; i < length; i++) {
        if ((byte(i) & 0xC0) != 0x80) {
            return 0;
        }
        *code = *code << 6 | (byte(i) & 0x3Fu);
    }
    constexpr uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool is_surrogate = *code >= 0xD800 && *code <= 0xDFFF;
    return *code < kSmallest[length] || is_surrogate || *code > 0x10FFFF ? 0 : length;
}

constexpr uint32_t kDelete = 0x7F;
constexpr uint32_t kLastControl = 0x9F;

bool is_control(uint32_t code) {
    return code < ' ' || (code >= kDelete && code <= kLastControl);
}

/* The character that the text begins with, '?' for one that must not be shown; *length is that of
 * its bytes. */
std::string_view take_character(std::string_view text, std::string_view kept, size_t *length) {
    uint32_t code = 0;
    const size_t bytes = decode_utf8(text, &code);
    *length = std::max<size_t>(bytes, 1);
    const bool prints =
        bytes > 0 && (!is_control(code) || kept.find(text[0]) != std::string_view::npos);
    return prints ? text.substr(0, bytes) : "?";
}

std::string masked(std::string_view text, std::string_view kept) {
    std::string shown;
    shown.reserve(text.size());
    for (size_t at = 0, length = 0; at < text.size(); at += length) {
        shown += take_character(text.substr(at), kept, &length);
    }
    return shown;
}

}  // namespace

std::vector<Glyph> glyphs_of(std::string_view line) {
    std::vector<Glyph> glyphs;
    for (size_t at = 0, length = 0; at < line.size(); at += length) {
        const std::string_view shown = take_character(line.substr(at), "\t", &length);
        glyphs.push_back({std::string(shown), at + length});
    }
    return glyphs;
}

std::string masked_text(std::string_view text) {
    return masked(text, "\t\n");
}

std::string masked_line(std::string_view text) {
    return masked(text, "");
}

std::string escaped_controls(std::string_view json) {
    std::string text;
    text.reserve(json.size());
    for (size_t at = 0, length = 0; at < json.size(); at += length) {
        uint32_t code = 0;
        const size_t bytes = decode_utf8(json.substr(at), &code);
        length = std::max<size_t>(bytes, 1);
        if (bytes > 0 && code >= kDelete && is_control(code)) {
            char escape[8];
            std::snprintf(escape, sizeof(escape), "\\u%04x", code);
            text += escape;
        } else {
            text += json.substr(at, length);
        }
    }
    return text;
}

size_t columns_of(std::string_view line) {
    size_t columns = 0;
    for (size_t at = 0, length = 0; at < line.size(); at += length) {
        take_character(line.substr(at), "", &length);
        columns++;
    }
    return columns;
}

}  // namespace aclrmctl
