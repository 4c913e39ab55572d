#include "text_table.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <ostream>

#include "terminal_text.h"

namespace aclrmctl {

namespace {

constexpr size_t kNarrowestColumn = 20; /* a last column is not broken into less */
constexpr size_t kIndentation = 4;      /* of a line that goes on from another */

}  // namespace

TextTable::TextTable(const std::vector<std::string> &headings) {
    std::vector<std::string> cells;
    for (const std::string &heading : headings) {
        right_.push_back(heading.front() == '>');
        cells.push_back(right_.back() ? heading.substr(1) : heading);
    }
    rows_.push_back(std::move(cells));
}

void TextTable::add(std::vector<std::string> cells) {
    rows_.push_back(std::move(cells));
}

/* The pieces of a cell, each at most `width` long unless a word is longer. */
std::vector<std::string> TextTable::pieces(const std::string &cell, size_t width) {
    std::vector<std::string> lines(1);
    for (size_t at = 0; at < cell.size();) {
        const size_t end = std::min(cell.find(' ', at), cell.size());
        const std::string word = cell.substr(at, end - at);
        if (!lines.back().empty() && lines.back().size() + 1 + word.size() > width) {
            lines.emplace_back();
        }
        lines.back() += (lines.back().empty() ? "" : " ") + word;
        at = end + 1;
    }
    return lines;
}

void TextTable::print(std::ostream &out, size_t columns) const {
    std::vector<size_t> widths(right_.size(), 0);
    for (const auto &row : rows_) {
        for (size_t i = 0; i < row.size(); i++) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    size_t lead = 2; /* where the last column begins */
    for (size_t i = 0; i + 1 < widths.size(); i++) {
        lead += widths[i] + 2;
    }
    const bool breaks =
        columns > lead + kNarrowestColumn && lead + widths.back() > columns && !right_.back();
    for (const auto &row : rows_) {
        std::string line;
        for (size_t i = 0; i + 1 < row.size(); i++) {
            const std::string padding(widths[i] - row[i].size(), ' ');
            line += "  " + (right_[i] ? padding + row[i] : row[i] + padding);
        }
        line += "  ";
        if (right_.back()) {
            line += std::string(widths.back() - row.back().size(), ' ');
        }
        const auto last =
            breaks ? pieces(row.back(), columns - lead) : std::vector<std::string>{row.back()};
        for (size_t i = 0; i < last.size(); i++) {
            line += last[i];
            line.erase(line.find_last_not_of(' ') + 1);
            out << line << "\n";
            line = std::string(lead, ' ');
        }
    }
}

size_t output_columns() {
    const char *exported = std::getenv("COLUMNS");
    const long columns = exported == nullptr ? 0 : std::strtol(exported, nullptr, 10);
    if (columns > 0) {
        return static_cast<size_t>(columns);
    }
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

std::string number_runs(const std::vector<uint32_t> &numbers) {
    std::string text;
    for (size_t first = 0, end = 0; first < numbers.size(); first = end) {
        end = first + 1;
        while (end < numbers.size() && numbers[end] == numbers[end - 1] + 1) {
            end++;
        }
        text += (text.empty() ? "" : ", ") + std::to_string(numbers[first]);
        if (end - first > 1) {
            text += "-" + std::to_string(numbers[end - 1]);
        }
    }
    return text;
}

std::string wrapped(const std::string &text, size_t columns, const std::string &lead) {
    const size_t room = columns == 0 ? kTerminalColumns : columns;
    std::string lines;
    std::string line = lead;
    bool has_word = false;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find(' ', at), text.size());
        const std::string word = text.substr(at, end - at);
        if (has_word && columns_of(line) + columns_of(word) > room) {
            lines += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
            line = std::string(kIndentation, ' ');
            has_word = false;
        }
        line += word + (end < text.size() ? " " : "");
        has_word = has_word || !word.empty();
        at = end + 1;
    }
    return lines + line + "\n";
}

std::string fitted(const std::string &lines, size_t columns) {
    std::string text;
    for (size_t at = 0; at < lines.size();) {
        const size_t end = std::min(lines.find('\n', at), lines.size());
        const std::string line = lines.substr(at, end - at);
        text +=
            columns == 0 || columns_of(line) <= columns ? line + "\n" : wrapped(line, columns, "");
        at = end + 1;
    }
    return text;
}

std::string counted(uint64_t count, const std::string &noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace aclrmctl
