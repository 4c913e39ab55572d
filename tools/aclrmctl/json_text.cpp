#include "json_text.h"

#include <algorithm>

#include "text_cursor.h"

namespace aclrmctl {

namespace {

/* Descends into the values; `path_` is the pointer to the one being read. */
class JsonReader {
  public:
    explicit JsonReader(std::string_view text) : text_(text) {}

    bool take_whole(JsonValue *value);
    JsonError error{};

  private:
    bool fail(size_t at, std::string message);
    void skip_space();
    bool skip(char wanted);
    char next() const { return at_ < text_.size() ? text_[at_] : '\0'; }
    bool at_end() const { return at_ == text_.size(); }

    bool take_value(JsonValue *value);
    bool take_nested(JsonValue *value);
    bool take_word(JsonValue *value);
    bool take_number(JsonValue *value);
    bool take_digits();
    bool take_string(std::string *text, bool *escaped);
    bool take_escape(std::string *text);
    bool take_code_unit(uint32_t *unit);
    bool take_unicode(std::string *text);
    bool take_array(JsonValue *value);
    bool take_object(JsonValue *value);
    bool take_member(JsonValue *object);
    bool take_inside(const std::string &step, JsonValue *value);

    std::string_view text_;
    size_t at_ = 0;
    int depth_ = 0;
    size_t values_num_ = 0;
    std::string path_;
};

bool JsonReader::fail(size_t at, std::string message) {
    error = {at, std::move(message), path_};
    return false;
}

void JsonReader::skip_space() {
    while (!at_end() && std::string_view(" \t\r\n").find(text_[at_]) != std::string_view::npos) {
        at_++;
    }
}

bool JsonReader::skip(char wanted) {
    if (at_end() || text_[at_] != wanted) {
        return false;
    }
    at_++;
    return true;
}

bool JsonReader::take_whole(JsonValue *value) {
    skip_space();
    if (!take_value(value)) {
        return false;
    }
    skip_space();
    return at_end() || fail(at_, "unexpected text behind the JSON value");
}

bool JsonReader::take_value(JsonValue *value) {
    value->at = at_;
    if (values_num_++ == kJsonValues) {
        return fail(at_, "more than " + std::to_string(kJsonValues) + " values");
    }
    switch (next()) {
        case '{':
        case '[':
            return take_nested(value);
        case '"':
            value->kind = JsonKind::kString;
            return take_string(&value->text, &value->escaped);
        case 't':
        case 'f':
        case 'n':
            return take_word(value);
        default:
            return take_number(value);
    }
}

bool JsonReader::take_nested(JsonValue *value) {
    if (depth_ == kJsonDepth) {
        return fail(at_, "more than " + std::to_string(kJsonDepth) + " values inside each other");
    }
    depth_++;
    const bool taken = next() == '{' ? take_object(value) : take_array(value);
    depth_--;
    return taken;
}

bool JsonReader::take_word(JsonValue *value) {
    for (const std::string_view word : {"true", "false", "null"}) {
        if (text_.substr(at_, word.size()) == word) {
            value->kind = word == "null" ? JsonKind::kNull : JsonKind::kBoolean;
            value->text = word;
            at_ += word.size();
            return true;
        }
    }
    return fail(at_, "expected a JSON value");
}

bool JsonReader::take_digits() {
    const size_t start = at_;
    while (digit_value(next(), 10) >= 0) {
        at_++;
    }
    return at_ > start || fail(at_, "expected a digit");
}

bool JsonReader::take_number(JsonValue *value) {
    const size_t start = at_;
    const bool negative = skip('-');
    if (!negative && digit_value(next(), 10) < 0) {
        return fail(at_, at_end() ? "the text ends before a JSON value" : "expected a JSON value");
    }
    if (next() == '0' && digit_value(at_ + 1 < text_.size() ? text_[at_ + 1] : '\0', 10) >= 0) {
        return fail(at_, "a number has no zeros in front");
    }
    if (!take_digits() || (skip('.') && !take_digits())) {
        return false;
    }
    if (skip('e') || skip('E')) {
        if (!skip('+')) {
            skip('-');
        }
        if (!take_digits()) {
            return false;
        }
    }
    value->kind = JsonKind::kNumber;
    value->text = text_.substr(start, at_ - start);
    return true;
}

bool JsonReader::take_string(std::string *text, bool *escaped) {
    const size_t start = at_++;
    while (!at_end() && text_[at_] != '"') {
        if (static_cast<unsigned char>(text_[at_]) < ' ') {
            return fail(at_, "a control character in a string");
        }
        if (text_[at_] != '\\') {
            *text += text_[at_++];
            continue;
        }
        *escaped = true;
        if (!take_escape(text)) {
            return false;
        }
    }
    return skip('"') || fail(start, "the string has no end");
}

bool JsonReader::take_escape(std::string *text) {
    static constexpr std::string_view kLetters = "\"\\/bfnrt";
    static constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
    const size_t start = at_++;
    if (skip('u')) {
        return take_unicode(text);
    }
    const size_t which = at_end() ? std::string_view::npos : kLetters.find(next());
    if (which == std::string_view::npos) {
        return fail(start, "unknown escape in a string");
    }
    at_++;
    *text += kMeanings[which];
    return true;
}

bool JsonReader::take_code_unit(uint32_t *unit) {
    *unit = 0;
    for (int i = 0; i < 4; i++, at_++) {
        const int digit = at_end() ? -1 : digit_value(next(), 16);
        if (digit < 0) {
            return fail(at_, "expected four hexadecimal digits after \\u");
        }
        *unit = *unit << 4 | static_cast<uint32_t>(digit);
    }
    return true;
}

/* Two code units make a character beyond the first 65536; one of such a pair alone is none. */
bool JsonReader::take_unicode(std::string *text) {
    const size_t start = at_ - 2;
    uint32_t code = 0;
    uint32_t low = 0;
    if (!take_code_unit(&code)) {
        return false;
    }
    if (code >= 0xD800 && code < 0xE000) {
        if (code >= 0xDC00 || !skip('\\') || !skip('u')) {
            return fail(start, "half of a character");
        }
        if (!take_code_unit(&low)) {
            return false;
        }
        if (low < 0xDC00 || low >= 0xE000) {
            return fail(start, "half of a character");
        }
        code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
    }
    const auto append = [text](uint32_t byte) { *text += static_cast<char>(byte); };
    if (code < 0x80) {
        append(code);
    } else if (code < 0x800) {
        append(0xC0 | code >> 6);
    } else if (code < 0x10000) {
        append(0xE0 | code >> 12);
        append(0x80 | (code >> 6 & 0x3F));
    } else {
        append(0xF0 | code >> 18);
        append(0x80 | (code >> 12 & 0x3F));
        append(0x80 | (code >> 6 & 0x3F));
    }
    if (code >= 0x80) {
        append(0x80 | (code & 0x3F));
    }
    return true;
}

/* A value one step further down. */
bool JsonReader::take_inside(const std::string &step, JsonValue *value) {
    const size_t length = path_.size();
    path_ = json_path(path_, step);
    skip_space();
    if (!take_value(value)) {
        return false;
    }
    path_.resize(length);
    skip_space();
    return true;
}

bool JsonReader::take_array(JsonValue *value) {
    value->kind = JsonKind::kArray;
    const size_t start = at_++;
    skip_space();
    if (skip(']')) {
        return true;
    }
    do {
        value->items.emplace_back();
        if (!take_inside(std::to_string(value->items.size() - 1), &value->items.back())) {
            return false;
        }
    } while (skip(','));
    if (at_end()) {
        return fail(start, "the array has no end");
    }
    return skip(']') || fail(at_, "expected ',' or ']'");
}

bool JsonReader::take_member(JsonValue *object) {
    JsonMember member;
    bool escaped = false;
    skip_space();
    member.at = at_;
    if (next() != '"') {
        return fail(at_, "expected the name of a member, in quotes");
    }
    if (!take_string(&member.name, &escaped)) {
        return false;
    }
    if (object->members.size() == kJsonMembers) {
        return fail(member.at, "more than " + std::to_string(kJsonMembers) + " members");
    }
    const auto is_same = [&](const JsonMember &other) { return other.name == member.name; };
    if (std::any_of(object->members.begin(), object->members.end(), is_same)) {
        return fail(member.at, "the object has this member twice");
    }
    skip_space();
    if (!skip(':')) {
        return fail(at_, "expected ':' behind a member's name");
    }
    object->members.push_back(std::move(member));
    return take_inside(object->members.back().name, &object->members.back().value);
}

bool JsonReader::take_object(JsonValue *value) {
    value->kind = JsonKind::kObject;
    const size_t start = at_++;
    skip_space();
    if (skip('}')) {
        return true;
    }
    do {
        if (!take_member(value)) {
            return false;
        }
    } while (skip(','));
    if (at_end()) {
        return fail(start, "the object has no end");
    }
    return skip('}') || fail(at_, "expected ',' or '}'");
}

}  // namespace

std::optional<JsonError> parse_json_text(std::string_view text, JsonValue *value) {
    JsonReader reader(text);
    return reader.take_whole(value) ? std::nullopt : std::optional(reader.error);
}

std::string json_path(const std::string &path, const std::string &step) {
    std::string longer = path + "/";
    for (const char c : step) {
        longer += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
    }
    return longer;
}

FilePlace place_of(std::string_view text, size_t at) {
    const std::string_view before = text.substr(0, at);
    const size_t line_start = before.rfind('\n') + 1; /* npos + 1 is 0 */
    return {static_cast<uint32_t>(std::count(before.begin(), before.end(), '\n') + 1),
            static_cast<uint32_t>(at - line_start + 1)};
}

const char *json_kind_name(JsonKind kind) {
    switch (kind) {
        case JsonKind::kNull:
            return "null";
        case JsonKind::kBoolean:
            return "a boolean";
        case JsonKind::kNumber:
            return "a number";
        case JsonKind::kString:
            return "a string";
        case JsonKind::kArray:
            return "an array";
        case JsonKind::kObject:
            return "an object";
    }
    return "a value";
}

}  // namespace aclrmctl
