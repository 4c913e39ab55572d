/* A line is read by one cursor that only moves forward. Every step returns false after it has noted
 * what was expected and where; the first note is the one that counts, so steps chain with &&. */
#include "rule_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>

namespace aclrmctl {

namespace {

constexpr size_t kLargestFileBytes = size_t{64} << 20;
constexpr size_t kShownBytes = 120; /* of a line in an error message: fits a wide terminal */

class LineCursor {
  public:
    explicit LineCursor(std::string_view text) : text_(text) {}

    const std::string &message() const { return message_; }
    uint32_t column() const { return static_cast<uint32_t>(error_at_ + 1); }
    size_t position() const { return at_; }

    bool fail(size_t at, std::string message) {
        error_at_ = at;
        message_ = std::move(message);
        return false;
    }

    bool at_end() const { return at_ == text_.size() || text_[at_] == '#'; }

    void skip_space() {
        while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\t')) {
            at_++;
        }
    }

    bool space_before(const char *field) {
        const size_t start = at_;
        skip_space();
        if (at_end()) {
            return fail(at_, std::string("the line ends before ") + field);
        }
        if (at_ == start) {
            return fail(at_, std::string("expected white space before ") + field);
        }
        return true;
    }

    bool character(char wanted, const char *message) {
        if (at_ == text_.size() || text_[at_] != wanted) {
            return fail(at_, message);
        }
        at_++;
        return true;
    }

    /* A decimal number up to `limit`. */
    bool decimal(uint32_t limit, const char *what, uint32_t *value) {
        const size_t start = at_;
        uint64_t number = 0;
        while (at_ < text_.size() && digit(text_[at_], 10) >= 0) {
            /* Held just above the limit, so that no length of digits overflows. */
            number = appended(number, 10, limit);
            at_++;
        }
        return finish_number(start, number, limit, what, value);
    }

    /* The same, or hexadecimal after 0x. */
    bool number(uint32_t limit, const char *what, uint32_t *value) {
        if (text_.substr(at_, 2) != "0x" && text_.substr(at_, 2) != "0X") {
            return decimal(limit, what, value);
        }
        const size_t token = at_;
        at_ += 2;
        const size_t start = at_;
        uint64_t number = 0;
        while (at_ < text_.size() && digit(text_[at_], 16) >= 0) {
            number = appended(number, 16, limit);
            at_++;
        }
        if (at_ == start) {
            return fail(at_, "expected hexadecimal digits after 0x");
        }
        return finish_number(token, number, limit, what, value);
    }

    std::string_view word() {
        const size_t start = at_;
        while (at_ < text_.size() && text_[at_] >= 'a' && text_[at_] <= 'z') {
            at_++;
        }
        return text_.substr(start, at_ - start);
    }

  private:
    static int digit(char c, int base) {
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

    // The number with the digit here behind it, or one too large.
    uint64_t appended(uint64_t number, int base, uint32_t limit) const {
        const auto next = static_cast<uint64_t>(digit(text_[at_], base));
        return std::min(number * static_cast<uint64_t>(base) + next, uint64_t{limit} + 1);
    }

    bool finish_number(size_t start, uint64_t number, uint32_t limit, const char *what,
                       uint32_t *value) {
        if (at_ == start) {
            return fail(at_, std::string("expected ") + what);
        }
        if (number > limit) {
            return fail(start, std::string(what) + " is at most " + std::to_string(limit));
        }
        *value = static_cast<uint32_t>(number);
        return true;
    }

    std::string_view text_;
    size_t at_ = 0;
    size_t error_at_ = 0;
    std::string message_;
};

bool take_address(LineCursor &cursor, uint32_t *address) {
    *address = 0;
    for (int octet = 0; octet < 4; octet++) {
        uint32_t value = 0;
        if (octet > 0 && !cursor.character('.', "expected '.': an address has four octets")) {
            return false;
        }
        if (!cursor.decimal(255, "an octet of an address", &value)) {
            return false;
        }
        *address = *address << 8 | value;
    }
    return true;
}

/* *masked becomes true where the address had bits beyond its prefix. */
bool take_prefix(LineCursor &cursor, Prefix *prefix, bool *masked) {
    uint32_t address = 0;
    uint32_t length = 0;
    if (!take_address(cursor, &address) ||
        !cursor.character('/', "expected '/' and a prefix length") ||
        !cursor.decimal(32, "a prefix length", &length)) {
        return false;
    }
    /* A shift by 32 is undefined, hence the 64 bits. */
    const auto mask = static_cast<uint32_t>(~uint64_t{0} << (32 - length));
    *masked = *masked || (address & ~mask) != 0;
    *prefix = {address & mask, static_cast<uint8_t>(length)};
    return true;
}

bool take_port_range(LineCursor &cursor, PortRange *range) {
    const size_t start = cursor.position();
    uint32_t low = 0;
    uint32_t high = 0;
    if (!cursor.decimal(0xFFFF, "a port", &low)) {
        return false;
    }
    cursor.skip_space();
    if (!cursor.character(':', "expected ':' between the two ends of a port range")) {
        return false;
    }
    cursor.skip_space();
    if (!cursor.decimal(0xFFFF, "a port", &high)) {
        return false;
    }
    if (low > high) {
        return cursor.fail(start, "the port range begins at " + std::to_string(low) +
                                      ", above its end " + std::to_string(high));
    }
    *range = {static_cast<uint16_t>(low), static_cast<uint16_t>(high)};
    return true;
}

bool take_masked(LineCursor &cursor, uint32_t limit, const char *what, const char *mask_what,
                 uint32_t *value, uint32_t *mask) {
    if (!cursor.number(limit, what, value) || !cursor.character('/', "expected '/' and a mask") ||
        !cursor.number(limit, mask_what, mask)) {
        return false;
    }
    *value &= *mask;
    return true;
}

bool take_protocol_and_flags(LineCursor &cursor, FilterRule *rule) {
    uint32_t value = 0;
    uint32_t mask = 0;
    if (!cursor.space_before("the protocol") ||
        !take_masked(cursor, 0xFF, "a protocol", "a protocol mask", &value, &mask)) {
        return false;
    }
    rule->protocol = static_cast<uint8_t>(value);
    rule->protocol_mask = static_cast<uint8_t>(mask);
    if (!cursor.space_before("the flags") ||
        !take_masked(cursor, 0xFFFF, "a flags field", "a flags mask", &value, &mask)) {
        return false;
    }
    rule->flags = static_cast<uint16_t>(value);
    rule->flags_mask = static_cast<uint16_t>(mask);
    return true;
}

/* What may follow the six fields: nothing, a verdict, a comment. */
bool take_rest(LineCursor &cursor, FilterRule *rule) {
    const size_t after_flags = cursor.position();
    cursor.skip_space();
    if (cursor.at_end()) {
        return true;
    }
    const size_t start = cursor.position();
    if (start == after_flags) {
        return cursor.fail(start, "unexpected text in the flags mask");
    }
    rule->verdict = verdict_from_name(cursor.word());
    if (!rule->verdict) {
        return cursor.fail(start, "unknown verdict: expected permit, drop or trap");
    }
    cursor.skip_space();
    if (!cursor.at_end()) {
        return cursor.fail(cursor.position(), "unexpected text after the rule");
    }
    return true;
}

bool take_rule(LineCursor &cursor, FilterRule *rule, bool *masked) {
    if (!cursor.character('@', "a rule begins with '@'")) {
        return false;
    }
    cursor.skip_space();
    return take_prefix(cursor, &rule->source, masked) && cursor.space_before("the destination") &&
           take_prefix(cursor, &rule->destination, masked) &&
           cursor.space_before("the source ports") &&
           take_port_range(cursor, &rule->source_ports) &&
           cursor.space_before("the destination ports") &&
           take_port_range(cursor, &rule->destination_ports) &&
           take_protocol_and_flags(cursor, rule) && take_rest(cursor, rule);
}

std::optional<RuleFileError> parse_line(std::string_view line, RuleFile *file) {
    LineCursor cursor(line);
    cursor.skip_space();
    if (cursor.at_end()) {
        return std::nullopt;
    }
    FilterRule rule;
    rule.line = file->lines_num;
    bool masked = false;
    if (!take_rule(cursor, &rule, &masked)) {
        return RuleFileError{file->lines_num, cursor.column(), cursor.message(), std::string(line)};
    }
    if (masked && file->masked_num++ == 0) {
        file->first_masked_line = rule.line;
    }
    file->rules.push_back(rule);
    return std::nullopt;
}

}  // namespace

std::optional<RuleFileError> parse_rule_text(std::string_view text, RuleFile *file) {
    while (!text.empty()) {
        const size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        file->lines_num++;
        if (auto error = parse_line(line, file)) {
            return error;
        }
    }
    return std::nullopt;
}

std::string describe_rule_error(const std::string &file_name, const RuleFileError &error) {
    const size_t column = error.column - 1;
    const size_t start =
        error.text.size() <= kShownBytes || column < kShownBytes / 2 ? 0 : column - kShownBytes / 2;
    std::string shown = error.text.substr(start, kShownBytes);
    std::string caret(column - start, ' ');
    for (size_t i = 0; i < shown.size(); i++) {
        /* A tab above the caret's line needs a tab below it, or the caret points elsewhere. */
        if (i < caret.size() && shown[i] == '\t') {
            caret[i] = '\t';
        } else if (shown[i] != '\t' && (shown[i] < ' ' || shown[i] > '~')) {
            shown[i] = '?';
        }
    }
    return file_name + ":" + std::to_string(error.line) + ":" + std::to_string(error.column) +
           ": " + error.message + "\n    " + shown + "\n    " + caret + "^\n";
}

int read_text_file(const std::string &file_name, std::string *text) {
    std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen(file_name.c_str(), "re"), std::fclose);
    if (!file) {
        return errno;
    }
    text->clear();
    char buffer[65536];
    size_t got = 0;
    while ((got = std::fread(buffer, 1, sizeof(buffer), file.get())) > 0) {
        text->append(buffer, got);
        if (text->size() > kLargestFileBytes) {
            return EFBIG;
        }
    }
    /* A directory opens and only fails to be read. */
    return std::ferror(file.get()) != 0 ? errno : 0;
}

const char *verdict_name(Verdict verdict) {
    switch (verdict) {
        case Verdict::kPermit:
            return "permit";
        case Verdict::kDrop:
            return "drop";
        case Verdict::kTrap:
            return "trap";
    }
    return "unknown";
}

std::optional<Verdict> verdict_from_name(std::string_view name) {
    for (const Verdict verdict : {Verdict::kPermit, Verdict::kDrop, Verdict::kTrap}) {
        if (name == verdict_name(verdict)) {
            return verdict;
        }
    }
    return std::nullopt;
}

}  // namespace aclrmctl
