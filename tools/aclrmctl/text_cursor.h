/* A line, or the text of one value, read from the front.
 *
 * The cursor only moves forward. Every step returns false after it has noted what was expected and
 * where; the first note is the one that counts, so steps chain with &&.
 */
#ifndef ACLRMCTL_TEXT_CURSOR_H
#define ACLRMCTL_TEXT_CURSOR_H

#include <cstdint>
#include <string>
#include <string_view>

namespace aclrmctl {

class TextCursor {
  public:
    /* With `comments` a '#' is where the text ends. */
    explicit TextCursor(std::string_view text, bool comments = true);

    const std::string &message() const { return message_; }
    size_t error_position() const { return error_at_; }
    size_t position() const { return at_; }
    bool at_end() const { return at_ == text_.size(); }
    std::string_view rest() const { return text_.substr(at_); }

    bool fail(size_t at, std::string message);
    bool fail_here(std::string message) { return fail(at_, std::move(message)); }

    /* From here on a decimal number may begin with zeros, which change nothing. */
    void allow_leading_zeros() { leading_zeros_ = true; }

    void skip_space();

    /* White space, and something behind it; `field` names that in errors. */
    bool space_before(const char *field);

    bool character(char wanted, const char *message);

    /* Steps over `wanted` if it is next. */
    bool skip(char wanted);

    /* A decimal number up to `limit`, `what` in errors. A leading zero is refused: whoever writes
     * 0800 for an EtherType means hexadecimal digits, and whoever writes 010 perhaps octal ones. */
    bool decimal(uint32_t limit, const char *what, uint32_t *value);

    /* The same, or hexadecimal after 0x. */
    bool number(uint32_t limit, const char *what, uint32_t *value);

    /* The letters and digits that are next, possibly none. */
    std::string_view word();
    std::string_view peek_word() const;

    /* Everything up to white space or the end. */
    std::string_view token();
    std::string_view peek_token() const;

  private:
    bool finish_number(size_t start, uint64_t number, uint32_t limit, const char *what,
                       uint32_t *value);
    uint64_t digits(int base, uint32_t limit);

    std::string_view text_;
    size_t at_ = 0;
    size_t error_at_ = 0;
    bool leading_zeros_ = false;
    std::string message_;
};

/* The value of a digit of that base, -1 for none. */
int digit_value(char c, int base);

}  // namespace aclrmctl

#endif
