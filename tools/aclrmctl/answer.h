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

struct BindPortAnswer {
    uint32_t acl_id;
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
    std::variant<Failure, OpenAnswer, InitAnswer, AclCreateAnswer, RuleCheckAnswer, RuleLoadAnswer,
                 BindPortAnswer, DumpAnswer, PacketAnswer, StateAnswer, UsageAnswer, FaultsAnswer>;

}  // namespace aclrmctl

#endif
