/* What is told of a load's rules: the words of each state, and the lines that they stand in. */
#include "rule_outcome.h"

#include <gtest/gtest.h>

namespace {

using namespace aclrmctl;

struct StateWords {
    RuleState state;
    const char *name;
    const char *words;
    bool in_switch;
    bool unknown;
};

const StateWords kStateWords[] = {
    {RuleState::kInSwitch, "in_switch", "in the switch", true, false},
    {RuleState::kUnrecorded, "in_switch_unrecorded",
     "in the switch, without a record in the daemon", true, false},
    {RuleState::kNotInSwitch, "not_in_switch", "not in the switch", false, false},
    {RuleState::kNotSent, "not_sent", "not sent", false, false},
    {RuleState::kTakenBack, "taken_back", "taken back", false, false},
    {RuleState::kOtherRule, "other_rule", "not in the switch, another rule lies there", false,
     false},
    {RuleState::kRecordOnly, "record_only", "not in the switch, but the daemon has a record", false,
     false},
    {RuleState::kNoRecord, "unknown_no_record",
     "unknown, the daemon has no record and hides what the switch holds", false, true},
    {RuleState::kUnread, "unknown_unread", "unknown, the switch did not answer", false, true},
    {RuleState::kGone, "unknown_gone", "unknown, the daemon did not answer", false, true}};

TEST(RuleStates, HaveTheirNamesAndWords) {
    for (const StateWords &row : kStateWords) {
        EXPECT_STREQ(state_name(row.state), row.name);
        EXPECT_STREQ(state_words(row.state), row.words);
        EXPECT_EQ(is_in_switch(row.state), row.in_switch) << row.name;
        EXPECT_EQ(is_unknown(row.state), row.unknown) << row.name;
    }
}

TEST(RuleStates, AreToldARunALine) {
    for (const StateWords &row : kStateWords) {
        const LoadOutcome outcome{.cause = 4,
                                  .total = 9,
                                  .runs = {{row.state, 4, 4, 7, 7, 1}, {row.state, 6, 8, 9, 9, 3}}};
        const std::string words = row.words;
        EXPECT_EQ(outcome_lines(outcome),
                  (std::vector<std::string>{std::string(row.in_switch ? "4" : "0") +
                                                " of 9 rules are in the switch" +
                                                (row.unknown ? ", of 4 it is unknown" : ""),
                                            words + ": 1 rule, priority 4 (line 7)",
                                            words + ": 3 rules, priority 6-8 (line 9)"}));
    }
}

TEST(RuleStates, TellTheFilesLinesOfARun) {
    const LoadOutcome outcome{.total = 30, .runs = {{RuleState::kNotSent, 0, 29, 2, 31, 30}}};
    EXPECT_EQ(outcome_lines(outcome),
              (std::vector<std::string>{"0 of 30 rules are in the switch",
                                        "not sent: 30 rules, priority 0-29 (lines 2-31)"}));
}

}  // namespace
