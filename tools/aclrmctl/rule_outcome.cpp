#include "rule_outcome.h"

namespace aclrmctl {

namespace {

struct StateRow {
    const char *name;
    const char *words;
    bool in_switch;
    bool unknown;
};

/* By the states' numbers. */
constexpr StateRow kStates[] = {
    {"in_switch", "in the switch", true, false},
    {"in_switch_unrecorded", "in the switch, without a record in the daemon", true, false},
    {"not_in_switch", "not in the switch", false, false},
    {"not_sent", "not sent", false, false},
    {"taken_back", "taken back", false, false},
    {"other_rule", "not in the switch, another rule lies there", false, false},
    {"record_only", "not in the switch, but the daemon has a record", false, false},
    {"unknown_no_record", "unknown, the daemon has no record and hides what the switch holds",
     false, true},
    {"unknown_unread", "unknown, the switch did not answer", false, true},
    {"unknown_gone", "unknown, the daemon did not answer", false, true}};

std::string range_words(const char *noun, uint32_t first, uint32_t last) {
    return std::string(noun) + (first == last ? " " : "s ") + std::to_string(first) +
           (first == last ? "" : "-" + std::to_string(last));
}

std::string run_line(const RuleRun &run) {
    const std::string priorities =
        "priority " + std::to_string(run.first_priority) +
        (run.first_priority == run.last_priority ? "" : "-" + std::to_string(run.last_priority));
    return std::string(state_words(run.state)) + ": " + std::to_string(run.rules_num) +
           (run.rules_num == 1 ? " rule, " : " rules, ") + priorities + " (" +
           range_words("line", run.first_line, run.last_line) + ")";
}

}  // namespace

const char *state_name(RuleState state) {
    return kStates[static_cast<size_t>(state)].name;
}

const char *state_words(RuleState state) {
    return kStates[static_cast<size_t>(state)].words;
}

bool is_in_switch(RuleState state) {
    return kStates[static_cast<size_t>(state)].in_switch;
}

bool is_unknown(RuleState state) {
    return kStates[static_cast<size_t>(state)].unknown;
}

uint32_t count_rules(const LoadOutcome &outcome, bool (*is)(RuleState)) {
    uint32_t sum = 0;
    for (const RuleRun &run : outcome.runs) {
        sum += is(run.state) ? run.rules_num : 0;
    }
    return sum;
}

std::vector<std::string> outcome_lines(const LoadOutcome &outcome) {
    const uint32_t in_num = count_rules(outcome, is_in_switch);
    const uint32_t unknown_num = count_rules(outcome, is_unknown);
    std::string sentence = std::to_string(in_num) + " of " + std::to_string(outcome.total) +
                           " rules are in the switch";
    if (unknown_num > 0) {
        sentence += ", of " + std::to_string(unknown_num) + " it is unknown";
    }
    std::vector<std::string> lines{sentence};
    for (const RuleRun &run : outcome.runs) {
        lines.push_back(run_line(run));
    }
    return lines;
}

}  // namespace aclrmctl
