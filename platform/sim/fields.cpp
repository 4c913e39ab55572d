#include "platform/sim/fields.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace zv_sim {

Fields::Fields(const Json &object, std::string path) : object_(object), path_(std::move(path)) {
    if (!object_.is_object()) {
        error_ = (path_.empty() ? std::string("input") : path_) + ": must be an object";
    }
}

bool Fields::has(const char *name) const {
    return object_.is_object() && object_.contains(name);
}

std::string Fields::name_of(const char *name) const {
    return path_.empty() ? std::string(name) : path_ + "." + name;
}

void Fields::complain(const char *name, const std::string &what) {
    if (error_.empty()) {
        error_ = name_of(name) + ": " + what;
    }
}

const Json *Fields::find(const char *name, bool required) {
    if (!error_.empty()) {
        return nullptr;
    }
    asked_.emplace_back(name);
    const auto field = object_.find(name);
    if (field != object_.end()) {
        return &*field;
    }
    if (required) {
        complain(name, "missing");
    }
    return nullptr;
}

int64_t Fields::integer(const char *name, int64_t min, int64_t max,
                        std::optional<int64_t> fallback) {
    const Json *field = find(name, !fallback.has_value());
    if (field == nullptr) {
        return fallback.value_or(0);
    }
    // Numbers beyond int64 are kept unsigned by the parser; none of our fields reaches so far.
    const bool fits =
        field->is_number_integer() &&
        !(field->is_number_unsigned() &&
          field->get<uint64_t>() > static_cast<uint64_t>(std::numeric_limits<int64_t>::max()));
    const int64_t value = fits ? field->get<int64_t>() : 0;
    if (!fits || value < min || value > max) {
        complain(name,
                 "must be an integer from " + std::to_string(min) + " to " + std::to_string(max));
        return 0;
    }
    return value;
}

uint32_t Fields::u32(const char *name, std::optional<uint32_t> fallback) {
    std::optional<int64_t> wide;
    if (fallback.has_value()) {
        wide = *fallback;
    }
    return static_cast<uint32_t>(integer(name, 0, std::numeric_limits<uint32_t>::max(), wide));
}

bool Fields::flag(const char *name, bool fallback) {
    const Json *field = find(name, false);
    if (field == nullptr) {
        return fallback;
    }
    if (!field->is_boolean()) {
        complain(name, "must be true or false");
        return fallback;
    }
    return field->get<bool>();
}

std::string Fields::text(const char *name, const std::optional<std::string> &fallback) {
    const Json *field = find(name, !fallback.has_value());
    if (field == nullptr) {
        return fallback.value_or("");
    }
    if (!field->is_string()) {
        complain(name, "must be a text");
        return "";
    }
    return field->get<std::string>();
}

const Json &Fields::list(const char *name) {
    static const Json &empty = *new Json(Json::array());
    const Json *field = find(name, true);
    if (field == nullptr) {
        return empty;
    }
    if (!field->is_array()) {
        complain(name, "must be a list");
        return empty;
    }
    return *field;
}

const std::string &Fields::finish() {
    if (!error_.empty()) {
        return error_;
    }
    for (const auto &[name, value] : object_.items()) {
        if (std::find(asked_.begin(), asked_.end(), name) == asked_.end()) {
            complain(name.c_str(), "unknown field");
        }
    }
    return error_;
}

}  // namespace zv_sim
