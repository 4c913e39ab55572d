#include "text_cursor.h"

#include <algorithm>

namespace aclrmctl {

namespace {

bool is_space(char c) {
    return c == ' ' || c == '\t';
}

bool is_word(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

}  // namespace

int digit_value(char c, int base) {
    int value = -1;
    if (c >= '0' && c <= '9') {
        value = c - '0';
    } else if (c >= 'a' && c <= 'f') {
        value = c - 'a' + 10;
    } else if (c >= 'A' && c <= 'F') {
        value = c - 'A' + 10;
    }
    return value < base ? value : -1;
}

TextCursor::TextCursor(std::string_view text, bool comments)
    : text_(comments ? text.substr(0, text.find('#')) : text) {}

bool TextCursor::fail(size_t at, std::string message) {
    error_at_ = at;
    message_ = std::move(message);
    return false;
}

void TextCursor::skip_space() {
    while (at_ < text_.size() && is_space(text_[at_])) {
        at_++;
    }
}

bool TextCursor::space_before(const char *field) {
    const size_t start = at_;
    skip_space();
    if (at_end()) {
        return fail_here(std::string("the line ends before ") + field);
    }
    return at_ > start || fail_here(std::string("expected white space before ") + field);
}

bool TextCursor::character(char wanted, const char *message) {
    return skip(wanted) || fail_here(message);
}

bool TextCursor::skip(char wanted) {
    if (at_ == text_.size() || text_[at_] != wanted) {
        return false;
    }
    at_++;
    return true;
}

bool TextCursor::decimal(uint32_t limit, const char *what, uint32_t *value) {
    const size_t start = at_;
    const uint64_t number = digits(10, limit);
    if (at_ == start) {
        return fail_here(std::string("expected ") + what);
    }
    if (!leading_zeros_ && at_ - start > 1 && text_[start] == '0') {
        return fail(start, std::string(what) + " has no leading zero");
    }
    return finish_number(start, number, limit, what, value);
}

bool TextCursor::number(uint32_t limit, const char *what, uint32_t *value) {
    if (text_.substr(at_, 2) != "0x" && text_.substr(at_, 2) != "0X") {
        return decimal(limit, what, value);
    }
    const size_t start = at_;
    at_ += 2;
    const uint64_t number = digits(16, limit);
    if (at_ == start + 2) {
        return fail_here("expected hexadecimal digits after 0x");
    }
    return finish_number(start, number, limit, what, value);
}

std::string_view TextCursor::peek_word() const {
    size_t end = at_;
    while (end < text_.size() && is_word(text_[end])) {
        end++;
    }
    return text_.substr(at_, end - at_);
}

std::string_view TextCursor::word() {
    const std::string_view found = peek_word();
    at_ += found.size();
    return found;
}

std::string_view TextCursor::peek_token() const {
    size_t end = at_;
    while (end < text_.size() && !is_space(text_[end])) {
        end++;
    }
    return text_.substr(at_, end - at_);
}

std::string_view TextCursor::token() {
    const std::string_view found = peek_token();
    at_ += found.size();
    return found;
}

/* Held just above the limit, so that no length of digits overflows. */
uint64_t TextCursor::digits(int base, uint32_t limit) {
    uint64_t number = 0;
    for (; at_ < text_.size() && digit_value(text_[at_], base) >= 0; at_++) {
        const auto digit = static_cast<uint64_t>(digit_value(text_[at_], base));
        number = std::min(number * static_cast<uint64_t>(base) + digit, uint64_t{limit} + 1);
    }
    return number;
}

bool TextCursor::finish_number(size_t start, uint64_t number, uint32_t limit, const char *what,
                               uint32_t *value) {
    if (number > limit) {
        return fail(start, std::string(what) + " is at most " + std::to_string(limit));
    }
    *value = static_cast<uint32_t>(number);
    return true;
}

}  // namespace aclrmctl
