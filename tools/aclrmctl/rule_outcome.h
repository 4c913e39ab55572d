/* What became of each rule of a load that did not get through. */
#ifndef ACLRMCTL_RULE_OUTCOME_H
#define ACLRMCTL_RULE_OUTCOME_H

#include <cstdint>
#include <string>
#include <vector>

namespace aclrmctl {

enum class RuleState {
    kInSwitch,    /* read back as it was written, or its command acknowledged */
    kUnrecorded,  /* in the switch, and the daemon has no record of it */
    kNotInSwitch, /* sent, and not there */
    kNotSent,
    kTakenBack,  /* was or may have been there, and is not any more */
    kOtherRule,  /* the offset holds another rule than the file's */
    kRecordOnly, /* not in the switch, but the daemon has a record of it */
    kNoRecord,   /* unknown: the daemon has no record, and hides what the switch holds then */
    kUnread,     /* unknown: the switch did not answer */
    kGone        /* unknown: the daemon did not answer, or has gone */
};

/* Rules that follow each other and share a state. */
struct RuleRun {
    RuleState state;
    uint32_t first_priority;
    uint32_t last_priority;
    uint32_t first_line; /* of the file */
    uint32_t last_line;
    uint32_t rules_num;
};

struct LoadOutcome {
    int cause = 4;               /* the exit status that the failing command alone would have */
    uint32_t total = 0;          /* rules of the switch */
    bool undo = false;           /* taking back was asked for */
    std::vector<RuleRun> runs{}; /* in the file's order, every rule in one of them */
};

/* "in_switch", for programs, and the words for people. */
const char *state_name(RuleState state);
const char *state_words(RuleState state);

/* Whether the switch holds a rule of the file in that state, and whether that is known. */
bool is_in_switch(RuleState state);
bool is_unknown(RuleState state);

/* Rules in all whose state the function says yes to. */
uint32_t count_rules(const LoadOutcome &outcome, bool (*is)(RuleState));

/* The lines that tell it: a sentence, and a line for each run. */
std::vector<std::string> outcome_lines(const LoadOutcome &outcome);

}  // namespace aclrmctl

#endif
