/* A rule file on its way into an ACL: what is to be sent, and what has become of it so far. */
#ifndef ACLRMCTL_RULE_PLAN_H
#define ACLRMCTL_RULE_PLAN_H

#include <optional>
#include <string>
#include <vector>

#include "answer.h"
#include "request.h"
#include "rule_encode.h"

namespace aclrmctl {

/* A file read, checked and expanded. */
struct LoadedFile {
    std::string name;
    std::string text;
    RuleFile file;
    std::vector<ExpandedRule> expanded;
    RuleCheckAnswer checked;
};

/* The expanded rules by index, as they are to be written. */
struct LoadPlan {
    const Settings &settings;
    const RuleLoadRequest &request;
    const LoadedFile &loaded;

    uint32_t total() const { return static_cast<uint32_t>(loaded.expanded.size()); }
    const FilterRule &source(uint32_t index) const {
        return loaded.file.rules[loaded.expanded[index].rule_index];
    }
    uint32_t line(uint32_t index) const { return source(index).at.line; }
    uint32_t offset(uint32_t index) const {
        return request.options.first_priority + loaded.expanded[index].priority;
    }
    WholeRule rule(uint32_t index) const {
        return whole_rule(source(index), loaded.expanded[index], request.options);
    }
};

enum class BatchFate { kNotSent, kUnderWay, kWritten, kRefused, kUnanswered };

/* The rules of one command: indexes first to first + count - 1. */
struct LoadBatch {
    uint32_t first = 0;
    uint32_t count = 0;
    BatchFate fate = BatchFate::kNotSent;
    uint32_t sequence = 0;
    zv_acl_rm_status_t status = 0; /* of a refused one */
};

/* A failure that points at a place of the file; `member` as in LayoutError. */
Failure place_failure(const LoadedFile &loaded, int exit_code, uint32_t rule_index,
                      const FilePlace &place, const std::string &member,
                      const std::string &message);

/* The failure of an input that is wrong where `error` says. */
Failure input_failure(const std::string &name, const RuleFileError &error);

}  // namespace aclrmctl

#endif
