#include "tests/fire/story/step.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <stdexcept>

#include "zv_acl_rm/zv_acl_rm_records.h"

namespace zv_fire {

using nlohmann::json;

namespace {

// Where the parts of a record lie. `words` are the 32-bit words a step names, in order.
struct Layout {
    const char *name;
    uint32_t length;
    std::vector<uint32_t> words;
    uint32_t items_at = 0;  // 0: none
    uint32_t item_bytes = 0;
    uint32_t items_num = 0;
    uint32_t rules_at = 0;  // 0: none
};

// The records are laid out by hand and not through their structs: a layout that changes there must
// show here.
const std::map<uint32_t, Layout> &layouts() {
    static const std::map<uint32_t, Layout> &table = *new std::map<uint32_t, Layout>{
        {2, {"OPEN", 16, {8, 12}}},
        {3, {"INIT", 16, {8, 12}}},
        {4, {"ACL_SET", 48, {8, 12, 16, 20, 24, 28, 32, 36, 40, 44}}},
        {5, {"ACL_RESIZE", 16, {8, 12}}},
        {6, {"ACL_RULE_SET", 7224, {8, 12, 7216, 7220}, 0, 0, 0, 16}},
        {7, {"ACL_RULE_GET", 7224, {8, 7216, 12, 7220}, 0, 0, 0, 16}},
        {8, {"ACL_RULE_MOVE_BLOCK", 24, {8, 12, 16, 20}}},
        {9, {"ACL_BIND_PORT_SET", 424, {8, 12, 416, 420}, 16, 4, 100, 0}},
        {10, {"ACL_BIND_RIF_SET", 224, {8, 12, 216, 220}, 16, 2, 100, 0}},
        {11, {"COUNTER_SET", 24, {8, 12, 16, 20}}},
        {12, {"COUNTER_GET", 40, {8, 12, 16, 20}}},
        {13, {"MC_GRP_SET", 424, {8, 12, 416, 420}, 16, 4, 100, 0}},
        {14, {"MC_GRP_GET", 416, {8, 412}, 12, 4, 100, 0}},
        {15, {"ACL_BIND_SYSTEM_SET", 16, {8, 12}}},
        {16, {"PORT_SET", 416, {8, 412}, 12, 4, 100, 0}},
        {17, {"DUMP", 16, {8, 12}}},
    };
    return table;
}

constexpr uint32_t kRuleBytes = 360;
constexpr uint32_t kRulesNum = 20;
constexpr uint32_t kKeyAt = 12;
constexpr uint32_t kMaskAt = 144;
constexpr uint32_t kActionAt = 280;
constexpr uint32_t kActionBytes = 56;
constexpr uint32_t kTailAt = 336;

const Layout *layout_of(uint32_t command) {
    const auto found = layouts().find(command);
    return found == layouts().end() ? nullptr : &found->second;
}

// Writes what fits: a shortened record may end inside a word.
void put(Bytes &body, size_t at, uint64_t value, size_t bytes) {
    for (size_t i = 0; i < bytes && at + i < body.size(); ++i) {
        body[at + i] = static_cast<uint8_t>(value >> (8 * i));
    }
}

void put_rule(Bytes &body, size_t at, const RuleSpec &rule) {
    const size_t end = std::min(body.size(), at + kRuleBytes);
    for (size_t i = at + kKeyAt; i < end; ++i) {
        body[i] = 0;
    }
    put(body, at, rule.priority, 4);
    put(body, at + 4, rule.offset, 4);
    put(body, at + 8, rule.valid, 1);
    put(body, at + kKeyAt, rule.key_type, 4);
    put(body, at + kKeyAt + 4, rule.match, 1);
    put(body, at + kMaskAt, rule.key_type, 4);
    put(body, at + kMaskAt + 4, rule.match != 0 ? 0xff : 0, 1);
    // The daemon owns the words at 0, 4 and 8; the verdict and what follows is the client's.
    put(body, at + kActionAt + 12, rule.match % 3, 4);
    for (size_t i = 16; i < kActionBytes; ++i) {
        put(body, at + kActionAt + i, i + rule.priority, 1);
    }
    for (size_t i = 0; i < rule.tail.size(); ++i) {
        put(body, at + kTailAt + 4 * i, rule.tail[i], 4);
    }
}

json rule_json(const RuleSpec &rule) {
    json list = {rule.priority, rule.offset, rule.valid, rule.key_type, rule.match};
    for (const uint32_t word : rule.tail) {
        list.push_back(word);
    }
    return list;
}

RuleSpec rule_from_json(const json &list) {
    if (!list.is_array() || list.size() != 11) {
        throw std::runtime_error("a rule is a list of eleven numbers");
    }
    RuleSpec rule{list[0], list[1], list[2], list[3], list[4], {}};
    for (size_t i = 0; i < rule.tail.size(); ++i) {
        rule.tail[i] = list[5 + i];
    }
    return rule;
}

json step_json(const Step &step) {
    json value = {{"do", command_name(step.command)},
                  {"command", step.command},
                  {"handle", step.handle},
                  {"words", step.words}};
    if (!step.items.empty()) {
        value["items"] = step.items;
    }
    for (const RuleSpec &rule : step.rules) {
        value["rules"].push_back(rule_json(rule));
    }
    if (step.length) {
        value["length"] = *step.length;
    }
    if (step.path) {
        value["path"] = *step.path;
    }
    if (step.connection != 0) {
        value["connection"] = step.connection;
    }
    if (!step.faults.is_null()) {
        value["faults"] = step.faults;
    }
    if (!step.ports.is_null()) {
        value["ports"] = step.ports;
    }
    if (step.quiet) {
        value["quiet"] = true;
    }
    return value;
}

Step step_from_json(const json &value) {
    Step step;
    step.command = value.at("command");
    step.handle = value.at("handle");
    step.words = value.at("words").get<std::vector<uint32_t>>();
    step.items = value.value("items", std::vector<uint32_t>{});
    if (value.contains("rules")) {
        for (const json &rule : value.at("rules")) {
            step.rules.push_back(rule_from_json(rule));
        }
    }
    if (value.contains("length")) {
        step.length = value.at("length").get<uint32_t>();
    }
    if (value.contains("path")) {
        step.path = value.at("path").get<std::string>();
    }
    step.connection = value.value("connection", 0u);
    step.faults = value.value("faults", json());
    step.ports = value.value("ports", json());
    step.quiet = value.value("quiet", false);
    return step;
}

}  // namespace

Bytes body_of(const Step &step) {
    const Layout *layout = layout_of(step.command);
    Bytes body(step.length.value_or(layout != nullptr ? layout->length : 16));
    for (size_t i = 0; i < body.size(); ++i) {
        body[i] = static_cast<uint8_t>(i * 37 + i / 251 + 11);
    }
    put(body, 0, step.handle, 8);
    if (layout == nullptr) {
        return body;
    }
    for (size_t i = 0; i < step.words.size() && i < layout->words.size(); ++i) {
        put(body, layout->words[i], step.words[i], 4);
    }
    if (layout->items_at != 0) {
        for (size_t i = 0; i < step.items.size() && i < layout->items_num; ++i) {
            put(body, layout->items_at + i * layout->item_bytes, step.items[i], layout->item_bytes);
        }
    }
    if (layout->rules_at != 0) {
        for (size_t i = 0; i < step.rules.size() && i < kRulesNum; ++i) {
            put_rule(body, layout->rules_at + i * kRuleBytes, step.rules[i]);
        }
    }
    return body;
}

std::string command_name(uint32_t command) {
    const Layout *layout = layout_of(command);
    return layout != nullptr ? layout->name : std::to_string(command);
}

std::string describe(const Step &step) {
    return step_json(step).dump();
}

json to_json(const Story &story) {
    json steps = json::array();
    for (const Step &step : story.steps) {
        steps.push_back(step_json(step));
    }
    return {{"config", story.config}, {"steps", steps}};
}

Story story_from_json(const json &value) {
    Story story;
    story.config = value.value("config", json());
    for (const json &step : value.at("steps")) {
        story.steps.push_back(step_from_json(step));
    }
    return story;
}

}  // namespace zv_fire
