#include "tests/fire/model/calls.h"

#include <algorithm>
#include <cstring>

namespace zv_model {

using nlohmann::json;

namespace {

std::string shown(const Call &call) {
    return call.name + " " + call.args.dump();
}

std::string differing_args(const json &expected, const json &made,
                           std::initializer_list<const char *> unset) {
    const auto is_unset = [&](const std::string &name) {
        return std::any_of(unset.begin(), unset.end(),
                           [&](const char *one) { return name == one; });
    };
    std::string text;
    for (const auto &[name, value] : expected.items()) {
        const auto found = made.find(name);
        if (found == made.end()) {
            text += " " + name + " is missing;";
        } else if (*found != value) {
            text += " " + name + " is " + found->dump() + ", expected " + value.dump() + ";";
        }
    }
    for (const auto &[name, value] : made.items()) {
        if (!expected.contains(name) && !is_unset(name)) {
            text += " " + name + " is " + value.dump() + ", which was not expected;";
        }
    }
    return text;
}

}  // namespace

const Call &Calls::take(const char *name, const json &args,
                        std::initializer_list<const char *> unset) {
    const std::string where = "platform call " + std::to_string(next_ + 1) + " of the request";
    if (next_ == made_.size()) {
        throw Stray{where + " is missing: expected " + shown({name, args, 0, {}})};
    }
    const Call &call = made_[next_++];
    if (call.name != name) {
        throw Stray{where + " is " + shown(call) + ", expected " + shown({name, args, 0, {}})};
    }
    const std::string differing = differing_args(args, call.args, unset);
    if (!differing.empty()) {
        throw Stray{where + ", " + name + ":" + differing};
    }
    return call;
}

std::string Calls::left_over() const {
    std::string text;
    for (size_t i = next_; i < made_.size(); ++i) {
        text += (text.empty() ? "too many platform calls: " : ", ") + shown(made_[i]);
    }
    return text;
}

}  // namespace zv_model
