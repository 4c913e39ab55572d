#include "rule_load.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <set>

#include "exit_codes.h"
#include "rule_interrupt.h"
#include "rule_preflight.h"
#include "rule_report.h"

namespace aclrmctl {

namespace {

void count_targets(const RuleFile &file, RuleCheckAnswer *checked) {
    std::set<uint32_t> counters;
    for (const FilterRule &rule : file.rules) {
        checked->kinds_num[static_cast<uint32_t>(rule.kind)]++;
        checked->forwards_num += rule.targets.forward_port || rule.targets.forward_mc ? 1u : 0u;
        if (rule.targets.counter_id != 0) {
            counters.insert(rule.targets.counter_id);
        }
        const auto verdict = static_cast<uint32_t>(rule.verdict.value_or(Verdict::kPermit));
        if (!rule.verdict) {
            checked->no_verdict_num++;
        } else if (verdict <= static_cast<uint32_t>(Verdict::kTrap)) {
            checked->verdicts_num[verdict]++;
        } else {
            checked->other_verdicts_num++;
        }
    }
    checked->counters.assign(counters.begin(), counters.end());
}

void count_file(uint32_t first_priority, LoadedFile *loaded) {
    RuleCheckAnswer &checked = loaded->checked;
    checked = {};
    checked.file = loaded->name;
    checked.format = loaded->file.format;
    checked.lines_num = loaded->file.lines_num;
    checked.rules_num = static_cast<uint32_t>(loaded->file.rules.size());
    checked.expanded_num = static_cast<uint32_t>(loaded->expanded.size());
    checked.masked_num = loaded->file.masked_num;
    checked.first_masked_line = loaded->file.first_masked_line;
    checked.first_offset = UINT32_MAX;
    for (const ExpandedRule &rule : loaded->expanded) {
        checked.first_offset = std::min(checked.first_offset, first_priority + rule.priority);
        checked.last_offset = std::max(checked.last_offset, first_priority + rule.priority);
    }
    count_targets(loaded->file, &checked);
}

/* The last rule that a first priority pushes past the largest, if there is one. */
std::optional<Failure> check_first_priority(const LoadedFile &loaded, uint32_t first_priority) {
    for (const ExpandedRule &rule : loaded.expanded) {
        if (rule.priority > UINT32_MAX - first_priority) {
            return Failure{kExitUsage, "--first-priority leaves no room for the rules", {}, {}, ""};
        }
    }
    return std::nullopt;
}

}  // namespace

Failure input_failure(const std::string &name, const RuleFileError &error) {
    Failure failure{kExitInput, describe_place(name, error), {}, {}, ""};
    failure.input = InputError{name, error};
    return failure;
}

Failure place_failure(const LoadedFile &loaded, int exit_code, uint32_t rule_index,
                      const FilePlace &place, const std::string &member,
                      const std::string &message) {
    RuleFileError error = error_at(loaded.text, place, message);
    if (loaded.file.format == RuleFormat::kJson) {
        error.path = "/rules/" + std::to_string(rule_index) + (member.empty() ? "" : "/" + member);
    }
    Failure failure = input_failure(loaded.name, error);
    failure.exit_code = exit_code;
    return failure;
}

std::optional<Failure> read_rule_file(const std::string &name, RuleFormat format,
                                      uint32_t first_priority, LoadedFile *loaded) {
    loaded->name = name == "-" ? "<stdin>" : name;
    const auto whole_file = [&](const std::string &message) {
        return input_failure(loaded->name, RuleFileError{0, 0, message, ""});
    };
    if (const int error = read_text_file(name, &loaded->text); error != 0) {
        return whole_file(std::strerror(error));
    }
    if (const auto error = parse_rule_text(loaded->text, format, &loaded->file)) {
        return input_failure(loaded->name, *error);
    }
    if (loaded->file.rules.empty()) {
        return whole_file("there is no rule in the file");
    }
    if (const auto error = expand_rules(loaded->file, &loaded->expanded)) {
        return place_failure(*loaded, kExitInput, error->rule_index, error->at, error->member,
                             error->message);
    }
    if (auto failure = check_first_priority(*loaded, first_priority)) {
        return failure;
    }
    count_file(first_priority, loaded);
    return std::nullopt;
}

Answer perform_rule_check(const RuleCheckRequest &request) {
    LoadedFile loaded;
    if (auto failure =
            read_rule_file(request.file, request.format, request.first_priority, &loaded)) {
        return *failure;
    }
    return loaded.checked;
}

Answer load_rules(const Settings &settings, const RuleLoadRequest &request,
                  const Progress &progress) {
    LoadedFile loaded;
    if (auto failure =
            read_rule_file(request.file, request.format, request.options.first_priority, &loaded)) {
        return *failure;
    }
    Client client;
    if (auto failure = connect_daemon(settings, &client)) {
        return *failure;
    }
    const LoadPlan plan{settings, request, loaded};
    if (auto failure = check_before_load(plan, client.get())) {
        return *failure;
    }
    const InterruptWatch watch;
    const auto start = std::chrono::steady_clock::now();
    const SendResult sent =
        send_rules(plan, client.get(), request.quiet ? [](uint32_t, uint32_t) {} : progress);
    if (sent.failure) {
        return failed_load(plan, sent, std::move(client));
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    return RuleLoadAnswer{loaded.checked, request.acl_id, request.options.first_priority,
                          sent.commands_num, seconds.count()};
}

}  // namespace aclrmctl
