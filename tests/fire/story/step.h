// step.h - stories: rows of requests in numbers a person can read, as bytes and as JSON.
//
// A step is written in the words of its record, not in bytes, so that it can be read, shortened and
// kept in a file. What it does not name (padding, unused slots) gets a pattern: a byte that the
// daemon changes, loses or moves shows in the reply.
#ifndef ZV_TESTS_FIRE_STORY_STEP_H
#define ZV_TESTS_FIRE_STORY_STEP_H

#include <array>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace zv_fire {

using Bytes = std::vector<uint8_t>;

// One of the twenty rules of a record.
struct RuleSpec {
    uint32_t priority = 0;
    uint32_t offset = 0;
    uint32_t valid = 1;
    uint32_t key_type = 0;
    uint32_t match = 0;  // first byte of the key; the mask asks for it where it is not 0
    // The last 24 bytes. Written: forwarding type, port, multicast group, two reserved, counter.
    // Read: the activity request is the first.
    std::array<uint32_t, 6> tail = {};
};

struct Step {
    uint32_t command = 0;
    uint64_t handle = 0;
    std::vector<uint32_t> words;     // the record's own words, in the order of their offsets
    std::vector<uint32_t> items;     // ports or router interfaces
    std::vector<RuleSpec> rules;     // of ACL_RULE_SET and ACL_RULE_GET
    std::optional<uint32_t> length;  // of the body, where it is not the record's
    // The attachment; "@" stands for a file in the run's own directory.
    std::optional<std::string> path;
    unsigned connection = 0;
    nlohmann::json faults;  // armed before the request; null leaves what is armed
    nlohmann::json ports;   // the switch's ports from now on; null leaves them
    bool quiet = false;     // fills a table: only the reply is compared
};

struct Story {
    nlohmann::json config;  // of the simulated switch; null: its defaults
    std::vector<Step> steps;
};

// The body as it travels.
Bytes body_of(const Step &step);
// "ACL_SET", "DUMP"; a number where there is no such command.
std::string command_name(uint32_t command);
// One line.
std::string describe(const Step &step);

nlohmann::json to_json(const Story &story);
// Throws std::runtime_error or a JSON error on what is no story.
Story story_from_json(const nlohmann::json &value);

}  // namespace zv_fire

#endif
