#include "rule_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "terminal_text.h"

namespace aclrmctl {

namespace {

constexpr size_t kLargestFileBytes = size_t{64} << 20;
constexpr size_t kPictureLead = 30; /* columns shown before the caret where a line is cut */
constexpr size_t kNarrowestPicture = 12;
constexpr size_t kTabColumns = 8; /* at most */
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr const char *kCut = "...";
constexpr size_t kCutColumns = 3;

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
    if (error.line == 0) {
        return file_name + ": " + error.message;
    }
    return file_name + ":" + std::to_string(error.line) + ":" + std::to_string(error.column) +
           ": " + (error.path.empty() ? "" : error.path + ": ") + error.message;
}

std::array<std::string, 2> picture_of(const RuleFileError &error, size_t columns) {
    const size_t room = std::max(columns == 0 ? kPictureColumns : columns, kNarrowestPicture);
    std::vector<Glyph> glyphs = glyphs_of(error.text);
    const size_t byte = error.column - 1;
    size_t caret = 0;
    while (caret < glyphs.size() && glyphs[caret].end <= byte) {
        caret++;
    }
    const size_t past = byte - std::min(byte, error.text.size()); /* of the line's end */
    size_t width = glyphs.size();
    for (const Glyph &glyph : glyphs) {
        width += glyph.shown == "\t" ? kTabColumns - 1 : 0;
    }
    const bool is_cut = std::max(width, caret + past + 1) > room;
    /* A tab above the caret's line needs a tab below it, or the caret points elsewhere. Where a
     * line is cut to a width, a tab has to have one. */
    for (Glyph &glyph : glyphs) {
        glyph.shown = is_cut && glyph.shown == "\t" ? " " : glyph.shown;
    }
    size_t start = 0;
    if (is_cut && caret + past + kCutColumns >= room) {
        start = caret - std::min({caret, kPictureLead, room / 2 - kCutColumns});
    }
    std::string shown = start > 0 ? kCut : "";
    std::string under(shown.size(), ' ');
    size_t left = room - shown.size();
    const bool ends_cut = is_cut && glyphs.size() - start > left;
    left -= ends_cut ? kCutColumns : 0;
    for (size_t i = start; i < glyphs.size() && (!is_cut || i - start < left); i++) {
        shown += glyphs[i].shown;
        under += i >= caret ? "" : glyphs[i].shown == "\t" ? "\t" : " ";
    }
    return {shown + (ends_cut ? kCut : ""), under + std::string(past, ' ') + "^"};
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
    if (std::ferror(file.get()) != 0) {
        return errno;
    }
    if (text->compare(0, kByteOrderMark.size(), kByteOrderMark) == 0) {
        text->erase(0, kByteOrderMark.size());
    }
    return 0;
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
