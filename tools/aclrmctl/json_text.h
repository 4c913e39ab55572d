/* JSON with the place of every value, for errors that point at the input.
 *
 * Strict: no comments, no trailing commas, no member twice, at most kJsonDepth values inside each
 * other. Numbers are kept as they are written; what they mean is the reader's business.
 */
#ifndef ACLRMCTL_JSON_TEXT_H
#define ACLRMCTL_JSON_TEXT_H

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "rule_file.h"

namespace aclrmctl {

inline constexpr int kJsonDepth = 16;
inline constexpr size_t kJsonMembers = 64;             /* of one object */
inline constexpr size_t kJsonValues = size_t{8} << 20; /* of a text; bounds its memory */

enum class JsonKind { kNull, kBoolean, kNumber, kString, kArray, kObject };

struct JsonMember;

struct JsonValue {
    JsonKind kind = JsonKind::kNull;
    size_t at = 0;        /* in the text, of its first character */
    bool escaped = false; /* a string whose characters do not lie where its bytes do */
    std::string text;     /* of a string without quotes and escapes; of a number as written */
    std::vector<JsonValue> items;
    std::vector<JsonMember> members; /* in the order written */
};

struct JsonMember {
    std::string name;
    size_t at = 0; /* of the name */
    JsonValue value;
};

/* What is wrong with a text, where and in which value. */
struct JsonError {
    size_t at = 0;
    std::string message;
    std::string path; /* JSON pointer */
};

std::optional<JsonError> parse_json_text(std::string_view text, JsonValue *value);

/* `path` with another step: its '~' and '/' are escaped. */
std::string json_path(const std::string &path, const std::string &step);

/* The line and column of a place in a text. */
FilePlace place_of(std::string_view text, size_t at);

/* "a number", "an object": a kind in errors. */
const char *json_kind_name(JsonKind kind);

}  // namespace aclrmctl

#endif
