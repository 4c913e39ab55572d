#include "rule_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace aclrmctl {

namespace {

constexpr size_t kLargestFileBytes = size_t{64} << 20;
constexpr size_t kShownBytes = 120; /* of a line in an error message: fits a wide terminal */

struct FormatWord {
    RuleFormat format;
    const char *name;
};

constexpr FormatWord kFormats[] = {{RuleFormat::kAuto, "auto"},
                                   {RuleFormat::kClassic, "classic"},
                                   {RuleFormat::kPolicy, "policy"},
                                   {RuleFormat::kJson, "json"}};

struct VerdictWord {
    Verdict verdict;
    const char *name;
};

constexpr VerdictWord kVerdicts[] = {
    {Verdict::kPermit, "permit"}, {Verdict::kDrop, "drop"}, {Verdict::kTrap, "trap"}};

/* The next line without its end, which is taken off the text. */
std::string_view next_line(std::string_view *text) {
    const size_t end = text->find('\n');
    std::string_view line = text->substr(0, end);
    text->remove_prefix(end == std::string_view::npos ? text->size() : end + 1);
    if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
    }
    return line;
}

std::optional<RuleFileError> parse_lines(std::string_view text, RuleFile *file) {
    const auto parse_line =
        file->format == RuleFormat::kClassic ? parse_classic_line : parse_policy_line;
    while (!text.empty()) {
        const std::string_view line = next_line(&text);
        file->lines_num++;
        if (auto error = parse_line(line, file)) {
            return error;
        }
    }
    return std::nullopt;
}

}  // namespace

RuleFormat detect_format(std::string_view text) {
    while (!text.empty()) {
        const std::string_view line = next_line(&text);
        const size_t first = line.find_first_not_of(" \t");
        if (first == std::string_view::npos || line[first] == '#') {
            continue;
        }
        if (line[first] == '@') {
            return RuleFormat::kClassic;
        }
        return line[first] == '{' || line[first] == '[' ? RuleFormat::kJson : RuleFormat::kPolicy;
    }
    return RuleFormat::kPolicy;
}

std::optional<RuleFileError> parse_rule_text(std::string_view text, RuleFormat format,
                                             RuleFile *file) {
    file->format = format == RuleFormat::kAuto ? detect_format(text) : format;
    return file->format == RuleFormat::kJson ? parse_json_rules(text, file)
                                             : parse_lines(text, file);
}

RuleFileError error_at(std::string_view text, const FilePlace &place, std::string message) {
    std::string_view line;
    for (uint32_t i = 0; i < place.line; i++) {
        line = next_line(&text);
    }
    return {place.line, place.column, std::move(message), std::string(line)};
}

void add_rule(FilterRule rule, bool masked, RuleFile *file) {
    if (masked && file->masked_num++ == 0) {
        file->first_masked_line = rule.at.line;
    }
    file->rules.push_back(std::move(rule));
}

std::string describe_place(const std::string &file_name, const RuleFileError &error) {
    return file_name + ":" + std::to_string(error.line) + ":" + std::to_string(error.column) +
           ": " + (error.path.empty() ? "" : error.path + ": ") + error.message;
}

std::array<std::string, 2> picture_of(const RuleFileError &error) {
    const size_t column = error.column - 1;
    const size_t start =
        error.text.size() <= kShownBytes || column < kShownBytes / 2 ? 0 : column - kShownBytes / 2;
    std::string shown = error.text.substr(start, kShownBytes);
    std::string caret(column - start, ' ');
    for (size_t i = 0; i < shown.size(); i++) {
        /* A tab above the caret's line needs a tab below it, or the caret points elsewhere. */
        if (i < caret.size() && shown[i] == '\t') {
            caret[i] = '\t';
        } else if (shown[i] != '\t' && (shown[i] < ' ' || shown[i] > '~')) {
            shown[i] = '?';
        }
    }
    return {shown, caret + "^"};
}

int read_text_file(const std::string &file_name, std::string *text) {
    const auto close = [](FILE *file) { return file == stdin ? 0 : std::fclose(file); };
    std::unique_ptr<FILE, int (*)(FILE *)> file(
        file_name == "-" ? stdin : std::fopen(file_name.c_str(), "re"), close);
    if (!file) {
        return errno;
    }
    text->clear();
    char buffer[65536];
    size_t got = 0;
    while ((got = std::fread(buffer, 1, sizeof(buffer), file.get())) > 0) {
        text->append(buffer, got);
        if (text->size() > kLargestFileBytes) {
            return EFBIG;
        }
    }
    /* A directory opens and only fails to be read. */
    return std::ferror(file.get()) != 0 ? errno : 0;
}

const char *format_name(RuleFormat format) {
    for (const FormatWord &each : kFormats) {
        if (each.format == format) {
            return each.name;
        }
    }
    return "auto";
}

std::optional<RuleFormat> format_from_name(std::string_view name) {
    for (const FormatWord &each : kFormats) {
        if (name == each.name) {
            return each.format;
        }
    }
    return std::nullopt;
}

const char *verdict_name(Verdict verdict) {
    for (const VerdictWord &each : kVerdicts) {
        if (each.verdict == verdict) {
            return each.name;
        }
    }
    return nullptr;
}

std::optional<Verdict> verdict_from_name(std::string_view name) {
    for (const VerdictWord &each : kVerdicts) {
        if (name == each.name) {
            return each.verdict;
        }
    }
    return std::nullopt;
}

}  // namespace aclrmctl
