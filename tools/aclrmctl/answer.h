/* What came of a request: one record for each command, and one for every kind of failure.
 *
 * Plain data, made by perform.cpp and its helpers, read by the renderers; no text for people but in
 * Failure, whose sentences name the input and what went wrong.
 */
#ifndef ACLRMCTL_ANSWER_H
#define ACLRMCTL_ANSWER_H

#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "request.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

namespace aclrmctl {

struct Failure {
    int exit_code = 7;
    std::string what;                         /* one sentence, naming the input */
    std::optional<zv_acl_rm_status_t> status; /* where the daemon answered */
    std::vector<std::string> details;         /* further lines: what was done before, file lines */
    std::string hint;                         /* what to do about it, may be empty */
};

struct OpenAnswer {
    uint32_t owner;
    uint64_t handle;
};

struct InitAnswer {
    uint32_t chip;
};

struct AclCreateAnswer {
    AclCreateRequest asked;
    uint32_t acl_id;
    uint32_t region_id;
};

struct AclDestroyAnswer {
    AclDestroyRequest asked;
};

struct AclEditAnswer {
    AclEditRequest asked;
    uint32_t acl_id; /* the new one */
};

struct AclResizeAnswer {
    AclResizeRequest asked;
};

struct RuleCheckAnswer {
    std::string file;
    uint32_t lines_num;
    uint32_t rules_num;    /* rules in the file */
    uint32_t expanded_num; /* rules of the switch */
    uint32_t verdicts_num[3];
    uint32_t no_verdict_num; /* lines that leave the verdict to the command line */
    uint32_t masked_num;
    uint32_t first_masked_line;
};

struct RuleLoadAnswer {
    RuleCheckAnswer checked;
    uint32_t acl_id;
    uint32_t first_priority;
    uint32_t commands_num;
    double seconds;
};

/* A rule as the daemon knows it, written or read back. */
struct RuleView {
    uint32_t offset = 0;
    bool valid = false;
    uint32_t key_type = 0;
    KeyBytes key{};
    KeyBytes mask{};
    uint32_t verdict = 0; /* a number, since other clients may write others than this tool */
    RuleTargets targets;
    std::optional<bool> active; /* where it was asked for */
};

struct RuleAddAnswer {
    uint32_t acl_id;
    RuleView rule;
};

struct RuleDeleteAnswer {
    RuleDeleteRequest asked;
    uint32_t commands_num;
};

struct RuleGetAnswer {
    RuleGetRequest asked;
    std::vector<RuleView> rules;
};

struct RuleMoveAnswer {
    RuleMoveRequest asked;
};

struct BindAnswer {
    BindRequest asked;
};

struct PortSetAnswer {
    PortSetRequest asked;
};

struct CounterCreateAnswer {
    uint32_t counter_id;
    CounterType type;
};

struct CounterDestroyAnswer {
    uint32_t counter_id;
};

struct CounterReadAnswer {
    uint32_t counter_id;
    CounterType type;
    uint64_t value; /* bytes or packets, as the type says */
};

struct CounterClearAnswer {
    uint32_t counter_id;
};

struct McCreateAnswer {
    uint32_t group_id;
    std::vector<uint32_t> ports;
};

struct McPortsAnswer {
    McPortsRequest asked;
};

struct McDeleteAnswer {
    uint32_t group_id;
};

struct McGetAnswer {
    uint32_t group_id;
    std::vector<uint32_t> ports;
};

struct DumpAnswer {
    std::string file;
    uint64_t bytes;
    std::optional<std::string> text; /* where the request named no file */
};

/* Answers of the switch are kept as they came, in its own JSON. */
struct SwitchAnswer {
    std::shared_ptr<const nlohmann::json> json;
};

struct PacketAnswer : SwitchAnswer {
    PacketRequest asked;
    std::string
        rule; /* the rule that was hit, in words; empty where none was or it is unreadable */
};

struct StateAnswer : SwitchAnswer {
    StateRequest asked;
};

struct UsageAnswer : SwitchAnswer {};

struct FaultsAnswer : SwitchAnswer {};

using Answer =
    std::variant<Failure, OpenAnswer, InitAnswer, AclCreateAnswer, AclDestroyAnswer, AclEditAnswer,
                 AclResizeAnswer, RuleCheckAnswer, RuleLoadAnswer, RuleAddAnswer, RuleDeleteAnswer,
                 RuleGetAnswer, RuleMoveAnswer, BindAnswer, PortSetAnswer, CounterCreateAnswer,
                 CounterDestroyAnswer, CounterReadAnswer, CounterClearAnswer, McCreateAnswer,
                 McPortsAnswer, McDeleteAnswer, McGetAnswer, DumpAnswer, PacketAnswer, StateAnswer,
                 UsageAnswer, FaultsAnswer>;

}  // namespace aclrmctl

#endif
