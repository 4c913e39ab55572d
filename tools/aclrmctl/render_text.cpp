#include "render_text.h"

#include <algorithm>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <sstream>

#include "exit_codes.h"
#include "terminal_text.h"
#include "text_table.h"
#include "zv_acl_rm/zv_acl_rm_client.h"

namespace aclrmctl {

namespace {

void print_masked(std::ostream &out, const RuleCheckAnswer &answer) {
    if (answer.masked_num > 0) {
        out << "  note: " << counted(answer.masked_num, "rule")
            << " had address bits beyond the prefix, which were cleared (first: line "
            << answer.first_masked_line << ")\n";
    }
}

/* Answers without tables, and without a text of somebody else's, whose lines are left alone. What a
 * failure has on standard output is such a table. */
template <typename... Others>
bool is_none_of(const Answer &answer) {
    return !(std::holds_alternative<Others>(answer) || ...);
}

bool is_sentences(const Answer &answer) {
    return is_none_of<Failure, RuleGetAnswer, DumpAnswer, ShowAnswer, PcapAnswer, PortsAnswer,
                      StateAnswer, UsageAnswer, DemoAnswer>(answer);
}

/* "4-7", "4": a block of offsets; 64 bits, for one that would end past the largest. */
std::string block_text(uint32_t first, uint32_t count) {
    const std::string start = std::to_string(first);
    return count <= 1 ? start : start + "-" + std::to_string(uint64_t{first} + count - 1);
}

std::string priorities_text(const RuleCheckAnswer &file) {
    return "priority " + std::to_string(file.first_offset) +
           (file.last_offset == file.first_offset ? "" : "-" + std::to_string(file.last_offset));
}

/* "port 65540", "MC 3", "" where the rule forwards nowhere. */
std::string forward_text(const RuleTargets &targets) {
    if (targets.forward_port) {
        return "port " + std::to_string(*targets.forward_port);
    }
    return targets.forward_mc ? "MC " + std::to_string(*targets.forward_mc) : "";
}

std::string ports_text(const std::vector<uint32_t> &ports) {
    return counted(ports.size(), "port") + ": " + number_runs(ports);
}

/* Columns behind the indentation of a picture. */
size_t picture_columns(size_t columns) {
    return columns == 0 ? kPictureColumns : columns - std::min<size_t>(columns, 4);
}

/* Where a terminal would break it, an error of a file goes on in a line of its own behind the
 * place, and any other between words. Elsewhere it is whole, as editors expect it. */
std::string first_line(const Failure &failure, size_t columns) {
    const std::string whole = "aclrmctl: " + masked_line(failure.what);
    if (columns == 0 || columns_of(whole) <= columns || !failure.input) {
        return fitted(whole + "\n", columns);
    }
    const RuleFileError &error = failure.input->error;
    const std::string place =
        masked_line(describe_place(failure.input->file, {error.line, error.column, "", ""}));
    const size_t end = std::string("aclrmctl: ").size() + place.size();
    return whole.substr(0, end - 1) + "\n" + wrapped(whole.substr(end), columns);
}

/* "FILE:" before what is said of it, in a line of its own where both together are too long. */
std::string file_line(const std::string &file, const std::string &said, size_t columns) {
    const bool fits = columns == 0 || file.size() + 2 + said.size() <= columns;
    return fits ? file + ": " + said + "\n" : file + ":\n" + wrapped(said, columns);
}

/* Columns that no rule has anything to say in are left out, and the rule's words come last: they
 * are long, and a line should fit a terminal. */
void print_rule_table(std::ostream &out, const Names &names, size_t columns,
                      const RuleGetAnswer &answer) {
    bool forwards = false;
    bool counts = false;
    for (const RuleView &rule : answer.rules) {
        forwards = forwards || !forward_text(rule.targets).empty();
        counts = counts || rule.targets.counter_id != 0;
    }
    const bool activity = answer.asked.activity != Activity::kNone;
    const auto row = [&](std::vector<std::string> cells) {
        /* From the back, so that the places in front stay what they are. */
        cells.erase(cells.begin() + 5, cells.begin() + (activity ? 5 : 6));
        cells.erase(cells.begin() + 4, cells.begin() + (counts ? 4 : 5));
        cells.erase(cells.begin() + 3, cells.begin() + (forwards ? 3 : 4));
        return cells;
    };
    TextTable table(row({">offset", "valid", "verdict", "forward", ">counter", "hit", "rule"}));
    for (const RuleView &rule : answer.rules) {
        const std::string forward = forward_text(rule.targets);
        const uint32_t counter = rule.targets.counter_id;
        table.add(row({std::to_string(rule.offset), rule.valid ? "yes" : "no",
                       names.verdict(rule.verdict), forward.empty() ? "-" : forward,
                       counter == 0 ? "-" : std::to_string(counter),
                       rule.active.value_or(false) ? "yes" : "no",
                       describe_key(rule.key_type, rule.key, rule.mask)}));
    }
    table.print(out, columns);
}

bool has_loadable_rule(const RuleGetAnswer &answer) {
    return std::any_of(answer.rules.begin(), answer.rules.end(),
                       [](const RuleView &rule) { return rule.valid; });
}

}  // namespace

void TextRenderer::operator()(const Failure &answer) const {
    if (answer.finished) {
        std::visit([this](const auto &rows) { (*this)(rows); }, answer.finished->rows);
    }
    err_ << first_line(answer, columns_);
    if (answer.input && answer.input->error.line != 0) {
        for (const std::string &line : picture_of(answer.input->error, picture_columns(columns_))) {
            err_ << "    " << line << "\n";
        }
    }
    if (answer.wrong_word) {
        for (const std::string &line : answer.wrong_word->picture) {
            err_ << "    " << line << "\n";
        }
    }
    if (answer.status) {
        const std::string number = "status " + std::to_string(*answer.status);
        /* What a status can mean is of no use to who knows more of this one. */
        const bool known = !answer.why.empty();
        err_ << wrapped(
            (names_.numeric() ? number : number + ", " + zv_acl_rm_status_name(*answer.status)) +
                (known ? "" : std::string(": ") + zv_acl_rm_status_meaning(*answer.status)),
            columns_);
    }
    for (const std::string &reason : answer.why) {
        err_ << wrapped((answer.why_certain ? "why: " : "perhaps: ") + masked_line(reason),
                        columns_);
    }
    for (const std::string &detail : answer.details) {
        /* Whole where no terminal is: they name what scripts may look for. */
        err_ << fitted("  " + masked_line(detail) + "\n", columns_);
    }
    if (!answer.hint.empty()) {
        err_ << wrapped("hint: " + masked_line(answer.hint), columns_);
    }
}

void TextRenderer::operator()(const OpenAnswer &answer) const {
    out_ << formatted("Opened as %s%s with handle 0x%" PRIx64 ".\n",
                      names_.numeric() ? "owner " : "", names_.owner(answer.owner).c_str(),
                      answer.handle);
}

void TextRenderer::operator()(const InitAnswer &answer) const {
    out_ << "Limits of chip type " << answer.chip << " loaded.\n";
}

void TextRenderer::operator()(const AclCreateAnswer &answer) const {
    out_ << "ACL " << answer.acl_id
         << " created: " << direction_text(names_, answer.asked.direction) << ", room for "
         << counted(answer.asked.size, "rule") << " of key type " << answer.asked.key_type
         << ", region " << answer.region_id << ".\n";
}

void TextRenderer::operator()(const AclDestroyAnswer &answer) const {
    out_ << "ACL " << answer.asked.acl_id << " destroyed, with its rules and bindings.\n";
}

void TextRenderer::operator()(const AclEditAnswer &answer) const {
    out_ << "ACL " << answer.asked.acl_id << " is now ACL " << answer.acl_id << ", "
         << direction_text(names_, answer.asked.direction) << ".\n";
}

void TextRenderer::operator()(const AclResizeAnswer &answer) const {
    out_ << "ACL " << answer.asked.acl_id << " has room for " << counted(answer.asked.size, "rule")
         << ".\n";
}

void TextRenderer::operator()(const RuleCheckAnswer &answer) const {
    out_ << file_line(answer.file,
                      counted(answer.lines_num, "line") + ", " + counted(answer.rules_num, "rule") +
                          ", " + std::to_string(answer.expanded_num) +
                          " after port ranges became prefixes",
                      columns_)
         << "  needs an ACL with room for " << counted(uint64_t{answer.last_offset} + 1, "rule")
         << ": " << priorities_text(answer) << "\n"
         << "  " << format_name(answer.format) << " format: " << answer.kinds_num[0] << " IPv4, "
         << answer.kinds_num[1] << " IPv6, " << answer.kinds_num[2] << " MAC, "
         << answer.kinds_num[3] << " raw; " << answer.forwards_num << " forward, "
         << counted(answer.counters.size(), "counter")
         << (answer.counters.empty() ? "" : ": " + number_runs(answer.counters)) << "\n";
    out_ << "  verdicts: " << answer.verdicts_num[0] << " permit, " << answer.verdicts_num[1]
         << " drop, " << answer.verdicts_num[2] << " trap, "
         << (answer.other_verdicts_num == 0
                 ? ""
                 : std::to_string(answer.other_verdicts_num) + " other, ")
         << answer.no_verdict_num << " left to --verdict\n";
    print_masked(out_, answer);
}

void TextRenderer::operator()(const RuleLoadAnswer &answer) const {
    const RuleCheckAnswer &file = answer.checked;
    out_ << file_line(file.file,
                      counted(file.rules_num, "rule") + " became " +
                          std::to_string(file.expanded_num) + " in ACL " +
                          std::to_string(answer.acl_id) + ", " + priorities_text(file),
                      columns_);
    out_ << formatted("  %u commands in %.1f ms, %.0f rules/second\n", answer.commands_num,
                      answer.seconds * 1e3, file.expanded_num / answer.seconds);
    print_masked(out_, file);
}

void TextRenderer::operator()(const RuleAddAnswer &answer) const {
    const RuleView &rule = answer.rule;
    const std::string forward = forward_text(rule.targets);
    out_ << "ACL " << answer.acl_id << ", offset " << rule.offset << ": "
         << describe_key(rule.key_type, rule.key, rule.mask) << "\n  "
         << (names_.numeric() ? "verdict " : "") << names_.verdict(rule.verdict);
    if (rule.targets.counter_id != 0) {
        out_ << ", counted by " << rule.targets.counter_id;
    }
    out_ << (forward.empty() ? "" : ", forwarded to " + forward) << "\n";
    for (const std::string &option : answer.masked) {
        out_ << "  note: " << option << " had address bits beyond the prefix, which were cleared\n";
    }
}

void TextRenderer::operator()(const RuleDeleteAnswer &answer) const {
    out_ << counted(answer.asked.offsets.size(), "rule") << " of ACL " << answer.asked.acl_id
         << (answer.asked.offsets.size() == 1 ? " deleted: offset " : " deleted: offsets ")
         << number_runs(answer.asked.offsets) << ".\n";
}

void TextRenderer::operator()(const RuleGetAnswer &answer) const {
    if (answer.asked.format != RuleFormat::kAuto) {
        out_ << rule_file_text(answer);
        if (!has_loadable_rule(answer)) {
            err_ << "aclrmctl: ACL " << answer.asked.acl_id
                 << (answer.rules.empty() ? " holds no rule" : " holds no valid rule")
                 << ": 'rule load' refuses a file without one\n";
        }
        return;
    }
    if (answer.rules.empty()) {
        out_ << "Rules: none\n";
        return;
    }
    print_rule_table(out_, names_, columns_, answer);
}

void TextRenderer::operator()(const RuleMoveAnswer &answer) const {
    const RuleMoveRequest &asked = answer.asked;
    out_ << counted(asked.count, "rule") << " of ACL " << asked.acl_id << " moved from offset "
         << block_text(asked.from, asked.count) << " to " << block_text(asked.to, asked.count)
         << ".\n";
}

void TextRenderer::operator()(const BindAnswer &answer) const {
    const BindRequest &asked = answer.asked;
    out_ << "ACL " << asked.acl_id << (asked.bind ? " bound to " : " unbound from ");
    if (asked.point == BindPoint::kSystem) {
        out_ << (asked.bind ? "every front-panel port, now and to come.\n" : "every port.\n");
        return;
    }
    out_ << counted(asked.numbers.size(),
                    asked.point == BindPoint::kPort ? "port" : "router interface")
         << ": " << number_runs(asked.numbers) << ".\n";
}

void TextRenderer::operator()(const PortSetAnswer &answer) const {
    const std::vector<uint32_t> &ports = answer.asked.ports;
    out_ << counted(ports.size(), "port") << (answer.asked.add ? " added: " : " deleted: ")
         << number_runs(ports) << ".\n  ACLs bound to the system are bound there"
         << (answer.asked.add ? ", too.\n" : " no more.\n");
}

void TextRenderer::operator()(const CounterCreateAnswer &answer) const {
    out_ << "Counter " << answer.counter_id << " created, of type "
         << names_.counter_type(static_cast<uint32_t>(answer.type)) << ".\n";
}

void TextRenderer::operator()(const CounterDestroyAnswer &answer) const {
    out_ << "Counter " << answer.counter_id
         << " destroyed; where rules use it, it goes with the last of them.\n";
}

void TextRenderer::operator()(const CounterReadAnswer &answer) const {
    out_ << "Counter " << answer.counter_id << ": "
         << counted(answer.value, answer.type == CounterType::kBytes ? "byte" : "packet") << ".\n";
}

void TextRenderer::operator()(const CounterClearAnswer &answer) const {
    out_ << "Counter " << answer.counter_id << " set to 0.\n";
}

void TextRenderer::operator()(const McCreateAnswer &answer) const {
    out_ << "MC group " << answer.group_id << " created "
         << (answer.ports.empty() ? "without ports" : "with " + ports_text(answer.ports)) << ".\n";
}

void TextRenderer::operator()(const McPortsAnswer &answer) const {
    const McPortsRequest &asked = answer.asked;
    out_ << counted(asked.ports.size(), "port") << (asked.add ? " added to" : " removed from")
         << " MC group " << asked.group_id << ": " << number_runs(asked.ports) << ".\n";
}

void TextRenderer::operator()(const McDeleteAnswer &answer) const {
    out_ << "MC group " << answer.group_id << " deleted.\n";
}

void TextRenderer::operator()(const McGetAnswer &answer) const {
    out_ << "MC group " << answer.group_id << ": "
         << (answer.ports.empty() ? "no ports" : ports_text(answer.ports)) << ".\n";
    if (may_have_more(answer)) {
        out_ << "  There may be more: a read holds " << answer.ports.size() << " ports.\n";
    }
}

void TextRenderer::operator()(const DumpAnswer &answer) const {
    if (answer.text) {
        out_ << *answer.text;
        return;
    }
    out_ << answer.file << ": " << counted(answer.bytes, "byte") << " written by the daemon.\n";
}

/* The story was told while it happened. */
void TextRenderer::operator()(const DemoAnswer &answer) const {
    out_ << "\nAll done" << (answer.attached ? "" : "; switch and daemon are gone again")
         << ".\n'aclrmctl --help' lists the commands.\n";
}

std::string direction_text(const Names &names, uint32_t direction) {
    return (names.numeric() ? "direction " : "") + names.direction(direction);
}

std::string formatted(const char *format, ...) {
    char text[256];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    return text;
}

int exit_status(const Answer &answer) {
    if (const auto *failure = std::get_if<Failure>(&answer)) {
        return failure->exit_code;
    }
    const auto *shown = std::get_if<ShowAnswer>(&answer);
    return shown != nullptr && !shown->whole ? kExitPartial : kExitOk;
}

void render_text(const Answer &answer, const TextStyle &style, std::ostream &out,
                 std::ostream &err) {
    std::ostringstream said;
    std::ostringstream complained;
    const TextRenderer text(style, said, complained);
    const Renderer &renderer = text;
    std::visit(renderer, answer);
    const std::string shown = masked_text(said.str());
    out << (is_sentences(answer) ? fitted(shown, style.columns) : shown);
    err << masked_text(complained.str());
}

}  // namespace aclrmctl
