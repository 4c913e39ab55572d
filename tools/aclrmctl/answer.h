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

#include "client/cache_text.h"
#include "frame.h"
#include "request.h"
#include "rule_outcome.h"
#include "zv_acl_rm/zv_acl_rm_records.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

namespace aclrmctl {

using namespace zv_cache_text;

/* What is done of a list, all of it in the order given: one that travelled in several requests, or
 * in one that was refused on the way. */
struct PartialWork {
    int cause = 4;                   /* the exit status that the failing request alone would have */
    std::string done_word;           /* "bound" */
    std::vector<uint32_t> done;      /* none, where the exit status is still `cause` */
    std::vector<uint32_t> uncertain; /* the numbers of the failing request */
    std::vector<uint32_t> not_sent;
    std::optional<uint32_t> mc_group_id; /* of a group that was created for them */
};

/* A word of the command line that is wrong. */
struct WrongWord {
    size_t index = 0; /* 1 for the word behind the tool's name */
    std::string word;
    std::vector<std::string> picture; /* the command line, and a caret under the word */
};

/* A place in an input file that is wrong. */
struct InputError {
    std::string file;
    RuleFileError error;
};

struct FinishedPart;

struct Failure {
    int exit_code = 7;
    std::string what;                         /* one sentence, naming the input */
    std::optional<zv_acl_rm_status_t> status; /* where the daemon answered */
    std::vector<std::string> details;         /* further lines: what was done before, file lines */
    std::string hint;                         /* what to do about it, may be empty */
    bool why_certain = false;                 /* `why` is the cause, not one of several */
    std::vector<std::string> why{};           /* why the daemon refused, as far as can be known */
    std::optional<PartialWork> partial{};     /* where a part is done, or may be */
    std::shared_ptr<const FinishedPart>
        finished{};                        /* what came of that part, if it is to be seen */
    std::optional<WrongWord> wrong_word{}; /* where the command line is wrong */
    std::optional<InputError> input{};     /* where a file is */
    std::optional<LoadOutcome> load{};     /* what became of the rules of a file */
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
    RuleFormat format;
    uint32_t lines_num;
    uint32_t rules_num;    /* rules in the file */
    uint32_t expanded_num; /* rules of the switch */
    uint32_t verdicts_num[3];
    uint32_t other_verdicts_num;
    uint32_t no_verdict_num; /* rules that leave the verdict to the command line */
    uint32_t kinds_num[4];   /* by RuleKind */
    uint32_t forwards_num;
    std::vector<uint32_t> counters; /* that rules name, ascending */
    uint32_t first_offset;          /* the lowest that is needed, and the highest */
    uint32_t last_offset;
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
    std::vector<std::string> masked; /* options with address bits beyond the prefix */
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

/* Where a record is full nobody can tell whether the group goes on. */
inline bool may_have_more(const McGetAnswer &answer) {
    return answer.ports.size() >= ZV_ACL_RM_PORTS_PER_RECORD;
}

struct DumpAnswer {
    std::string file;
    uint64_t bytes;
    std::optional<std::string> text; /* where the request named no file */
};

/* A rule of the cache, and what the switch holds for it; nothing where it could not be read. */
struct ShownRule {
    CachedRule cached;
    std::optional<RuleView> view;
};

struct ShownCounter {
    uint32_t counter_id;
    CounterType type;
    uint64_t value;     /* bytes or packets, as the type says */
    uint32_t rules_num; /* cached rules that count into it */
};

struct ShowAnswer {
    ShowRequest asked;
    CacheText cache;
    bool whole = true;     /* nothing of what was asked is missing */
    bool all_rules = true; /* each rule was told, and read; else counts are not known */
    bool all_counters = true;
    bool counters_read = true;          /* none of those that are known was refused */
    std::vector<ShownRule> rules;       /* where they were asked for */
    std::vector<ShownCounter> counters; /* likewise, by id */
    std::vector<std::string> notes;     /* what is missing, and why */
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

/* One packet of a capture, and what the switch did with it. */
struct CaptureRow {
    uint32_t number = 0; /* in the file, from 1 */
    uint32_t length = 0; /* bytes */
    bool sent = false;   /* false: it has no key of the type asked for */
    PacketKey packet;
    bool matched = false;
    uint32_t acl_id = 0;
    uint32_t offset = 0;
    uint32_t verdict = 0; /* permit where nothing matched */
    std::string rule;     /* in words, where it is known */
};

struct PcapAnswer {
    PcapRequest asked;
    std::vector<CaptureRow> rows;
    bool more = false; /* the file goes on behind them */
};

/* Rows that cannot be had a second time, of a command that failed behind them. */
struct FinishedPart {
    std::variant<RuleGetAnswer, PcapAnswer> rows;
};

struct PortsAnswer : SwitchAnswer {
    bool set; /* they were replaced */
};

struct StateAnswer : SwitchAnswer {
    StateRequest asked;
};

struct UsageAnswer : SwitchAnswer {};

struct FaultsAnswer : SwitchAnswer {};

/* A command of the story and what it printed. */
struct DemoStep {
    std::string title; /* empty where the step before goes on */
    std::string command;
    std::string output;
    int exit_code = 0;
};

struct DemoAnswer {
    bool attached = false;
    std::vector<DemoStep> steps{};
};

using Answer =
    std::variant<Failure, OpenAnswer, InitAnswer, AclCreateAnswer, AclDestroyAnswer, AclEditAnswer,
                 AclResizeAnswer, RuleCheckAnswer, RuleLoadAnswer, RuleAddAnswer, RuleDeleteAnswer,
                 RuleGetAnswer, RuleMoveAnswer, BindAnswer, PortSetAnswer, CounterCreateAnswer,
                 CounterDestroyAnswer, CounterReadAnswer, CounterClearAnswer, McCreateAnswer,
                 McPortsAnswer, McDeleteAnswer, McGetAnswer, DumpAnswer, ShowAnswer, PacketAnswer,
                 PcapAnswer, PortsAnswer, StateAnswer, UsageAnswer, FaultsAnswer, DemoAnswer>;

}  // namespace aclrmctl

#endif
