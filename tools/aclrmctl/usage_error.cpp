/* The parser says what is wrong in a sentence, not where. The word is found again by what the
 * sentence quotes: an argument nobody expected, a text between quotes, or the value of the option
 * it speaks of. Where nothing of that is found, something is missing, and nothing is pointed at. */
#include "usage_error.h"

#include <algorithm>
#include <regex>

#include "exit_codes.h"
#include "terminal_text.h"

namespace aclrmctl {

namespace {

constexpr const char *kNoCommand = "A command is required";
constexpr size_t kNearEnough = 2;          /* slips of the pen between a word and what was meant */
constexpr size_t kPictureColumns = 76;     /* of a terminal of 80, behind the indentation */
constexpr size_t kPictureLeadColumns = 30; /* shown before the word where the line is too long */
constexpr size_t kCutColumns = 3;          /* of "..." */

const CLI::App &deepest(const CLI::App &app) {
    const CLI::App *at = &app;
    while (!at->get_subcommands().empty()) {
        at = at->get_subcommands().front();
    }
    return *at;
}

/* The option's value where it has one among the words, else the option itself. */
std::optional<size_t> value_of_option(const std::vector<std::string> &words,
                                      const std::string &message) {
    for (size_t i = words.size(); i-- > 0;) { /* of an option given twice the second is too much */
        const std::string name = words[i].substr(0, words[i].find('='));
        const size_t found =
            name.size() > 1 && name[0] == '-' ? message.find(name) : std::string::npos;
        if (found == std::string::npos || (found + name.size() < message.size() &&
                                           (std::isalnum(message[found + name.size()]) != 0 ||
                                            message[found + name.size()] == '-'))) {
            continue;
        }
        const bool takes_next = name.size() == words[i].size() && i + 1 < words.size() &&
                                words[i + 1].rfind("--", 0) != 0;
        return takes_next ? i + 1 : i;
    }
    return std::nullopt;
}

/* Where the first text between two quotes of `message` stands among the words: in the value of the
 * option that the sentence speaks of, else anywhere. */
std::optional<size_t> quoted_word(const std::vector<std::string> &words,
                                  const std::string &message) {
    const size_t start = message.find('\'');
    const size_t end = start == std::string::npos ? start : message.find('\'', start + 1);
    if (end == std::string::npos) {
        return std::nullopt;
    }
    const std::string text = message.substr(start + 1, end - start - 1);
    const auto value = value_of_option(words, message);
    if (!text.empty() && value && words[*value].find(text) != std::string::npos) {
        return value;
    }
    for (size_t i = words.size(); i-- > 0;) {
        if (!text.empty() && words[i].find(text) != std::string::npos) {
            return i;
        }
    }
    return std::nullopt;
}

/* A word that the sentence repeats, with no letter or digit on either side of it. */
std::optional<size_t> repeated_word(const std::vector<std::string> &words,
                                    const std::string &message) {
    for (size_t i = words.size(); i-- > 0;) {
        const size_t found = words[i].empty() ? std::string::npos : message.rfind(words[i]);
        if (found != std::string::npos && found + words[i].size() == message.size()) {
            return i;
        }
    }
    return std::nullopt;
}

std::optional<size_t> find_word(const std::vector<std::string> &words,
                                const CLI::ParseError &error) {
    const std::string message = error.what();
    const int code = error.get_exit_code();
    if (code == static_cast<int>(CLI::ExitCodes::RequiredError)) {
        return std::nullopt;
    }
    if (code == static_cast<int>(CLI::ExitCodes::ExtrasError)) {
        return repeated_word(words, message);
    }
    if (const auto quoted = quoted_word(words, message)) {
        return quoted;
    }
    if (const auto value = value_of_option(words, message)) {
        return value;
    }
    return repeated_word(words, message);
}

/* Counted in characters: a byte of one has no column of its own. */
std::vector<std::string> picture_of(const std::vector<std::string> &words, size_t wrong) {
    std::string line = "aclrmctl";
    size_t start = 0;
    for (size_t i = 0; i < words.size(); i++) {
        line += ' ';
        start = i == wrong ? columns_of(line) : start;
        line += masked_line(words[i]);
    }
    const size_t word_columns = columns_of(words[wrong]);
    std::vector<Glyph> glyphs = glyphs_of(line);
    /* A caret under a line that breaks would point at the wrong place. */
    if (start + word_columns > kPictureColumns && start > kPictureLeadColumns) {
        const size_t cut = start - kPictureLeadColumns;
        glyphs.erase(glyphs.begin(), glyphs.begin() + static_cast<ptrdiff_t>(cut));
        glyphs.insert(glyphs.begin(), kCutColumns, Glyph{".", 0});
        start -= cut - kCutColumns;
    }
    if (glyphs.size() > kPictureColumns) {
        glyphs.resize(kPictureColumns - kCutColumns);
        glyphs.insert(glyphs.end(), kCutColumns, Glyph{".", 0});
    }
    line.clear();
    for (const Glyph &glyph : glyphs) {
        line += glyph.shown;
    }
    const size_t room = glyphs.size() > start ? glyphs.size() - start : 1;
    const size_t length = std::clamp<size_t>(word_columns, 1, room);
    return {line, std::string(start, ' ') + std::string(length, '^')};
}

std::vector<std::string> command_names(const CLI::App &app) {
    std::vector<std::string> names;
    for (const CLI::App *command : app.get_subcommands([](const CLI::App *) { return true; })) {
        if (!command->get_group().empty()) {
            names.push_back(command->get_name());
        }
    }
    return names;
}

std::vector<std::string> option_names(const CLI::App &app) {
    std::vector<std::string> names;
    for (const CLI::App *at = &app; at != nullptr; at = at->get_parent()) {
        for (const CLI::Option *option : at->get_options()) {
            for (const std::string &name : option->get_lnames()) {
                names.push_back("--" + name);
            }
        }
    }
    return names;
}

/* The only entry that begins with the word. */
std::string begun_by(const std::string &word, const std::vector<std::string> &entries) {
    const auto begins = [&](const std::string &entry) {
        return !word.empty() && entry.rfind(word, 0) == 0;
    };
    const auto found = std::find_if(entries.begin(), entries.end(), begins);
    return std::count_if(entries.begin(), entries.end(), begins) == 1 ? *found : "";
}

/* An argument that nobody expected, in words that say what it would have to be. */
void explain_extra(const CLI::App &app, const std::string &word, Failure *failure) {
    const CLI::App &command = deepest(app);
    const std::string where = command_read(app);
    std::string meant;
    if (word.size() > 1 && word[0] == '-') {
        failure->what =
            "'aclrmctl" + (where.empty() ? "" : " " + where) + "' has no option '" + word + "'";
        meant = nearest(word.substr(0, word.find('=')), option_names(command));
    } else if (const auto names = command_names(command); !names.empty()) {
        failure->what = "'aclrmctl" + (where.empty() ? "" : " " + where) + "' has no " +
                        (where == "show" ? "table '" : "command '") + word + "'";
        meant = begun_by(word, names);
        meant = meant.empty() ? nearest(word, names) : meant;
    } else {
        failure->what = "'aclrmctl " + where + "' has no place for '" + word + "'";
    }
    if (!meant.empty()) {
        failure->hint = "did you mean '" + meant + "'? ";
    }
}

/* The first word that the parser had no use for. */
std::optional<size_t> first_left_over(const CLI::App &app, const std::vector<std::string> &words) {
    const std::vector<std::string> left = app.remaining(true);
    for (size_t i = 0; i < words.size(); i++) {
        if (std::find(left.begin(), left.end(), words[i]) != left.end()) {
            return i;
        }
    }
    return std::nullopt;
}

/* "Could not convert: --size = 4x", as the other errors put it. */
std::string conversion_text(const std::string &message) {
    const size_t colon = message.find(": ");
    const size_t equals = message.find(" = ");
    if (colon == std::string::npos || equals == std::string::npos || equals < colon) {
        return message;
    }
    const std::string value = message.substr(equals + 3);
    const bool is_number = value.find_first_not_of("0123456789") == std::string::npos;
    return message.substr(colon + 2, equals - colon - 2) + ": '" + value +
           (is_number ? "' is too large a number" : "' is no number, or too large a one");
}

/* The parser's own sentences, in ours. */
std::string plain_words(const std::string &message) {
    struct Sentence {
        const char *of_parser;
        const char *ours;
    };
    static const Sentence kSentences[] = {
        {"^(.*): At Most 1 required but received ([0-9]+)$",
         "$1: given $2 times, but takes one value"},
        {"^(.*): 1 required .*missing$", "$1: its value is missing"},
        {"^(.*): Value (.*) not in range (.*) to (.*)$", "$1: '$2' is not between $3 and $4"},
        {"^The following arguments? (?:was|were) not expected: (.*)$", "'$1' was not expected"},
    };
    for (const Sentence &sentence : kSentences) {
        const std::regex pattern(sentence.of_parser);
        if (std::regex_match(message, pattern)) {
            return std::regex_replace(message, pattern, sentence.ours);
        }
    }
    return message;
}

/* "acl, bind or show" */
std::string alternatives(const std::vector<std::string> &names) {
    std::string text;
    for (size_t i = 0; i < names.size(); i++) {
        text += (i == 0 ? "" : i + 1 == names.size() ? " or " : ", ") + names[i];
    }
    return text;
}

size_t distance(const std::string &a, const std::string &b) {
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); j++) {
        row[j] = j;
    }
    for (size_t i = 1; i <= a.size(); i++) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); j++) {
            const size_t above = row[j];
            row[j] =
                std::min({above + 1, row[j - 1] + 1, diagonal + (a[i - 1] == b[j - 1] ? 0 : 1)});
            diagonal = above;
        }
    }
    return row[b.size()];
}

}  // namespace

std::string nearest(const std::string &word, const std::vector<std::string> &entries) {
    std::string best;
    size_t best_distance = std::min(kNearEnough + 1, word.size());
    for (const std::string &entry : entries) {
        const size_t found = distance(word, entry);
        if (found < best_distance) {
            best = entry;
            best_distance = found;
        }
    }
    return best;
}

std::string command_read(const CLI::App &app) {
    std::string name;
    const CLI::App *at = &app;
    while (!at->get_subcommands().empty()) {
        at = at->get_subcommands().front();
        name += (name.empty() ? "" : " ") + at->get_name();
    }
    return name;
}

Failure usage_failure(const CLI::App &app, const std::vector<std::string> &words,
                      const CLI::ParseError &error) {
    Failure failure;
    failure.exit_code = kExitUsage;
    failure.what = error.what();
    const bool missing = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError);
    /* What is missing is often there, but misspelt. */
    const auto extra = missing ? first_left_over(app, words) : std::nullopt;
    const auto wrong = extra ? extra : find_word(words, error);
    if (wrong) {
        failure.wrong_word = WrongWord{*wrong + 1, words[*wrong], picture_of(words, *wrong)};
        if (extra || error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExtrasError)) {
            explain_extra(app, words[*wrong], &failure);
        }
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ConversionError)) {
            failure.what = conversion_text(failure.what);
        }
    }
    failure.what = plain_words(failure.what);
    const std::string where = command_read(app);
    if (missing && !wrong && failure.what == kNoCommand) {
        failure.what = "'aclrmctl" + (where.empty() ? "" : " " + where) + "' needs a command";
        failure.hint = alternatives(command_names(deepest(app))) + "; ";
    }
    failure.hint += "'aclrmctl " + (where.empty() ? "" : where + " ") + "--help' tells more";
    return failure;
}

}  // namespace aclrmctl
