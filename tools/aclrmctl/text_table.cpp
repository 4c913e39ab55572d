#include "text_table.h"

#include <algorithm>
#include <cstdint>
#include <ostream>

namespace aclrmctl {

namespace {

constexpr size_t kTerminalColumns = 80;
constexpr size_t kIndentation = 4; /* of a line that goes on from another */

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

void TextTable::print(std::ostream &out) const {
    std::vector<size_t> widths(right_.size(), 0);
    for (const auto &row : rows_) {
        for (size_t i = 0; i < row.size(); i++) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    for (const auto &row : rows_) {
        std::string line;
        for (size_t i = 0; i < row.size(); i++) {
            const std::string padding(widths[i] - row[i].size(), ' ');
            line += "  " + (right_[i] ? padding + row[i] : row[i] + padding);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << "\n";
    }
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

std::string wrapped(const std::string &text) {
    std::string lines;
    std::string line = " ";
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find(' ', at), text.size());
        const std::string word = text.substr(at, end - at);
        if (line.size() + 1 + word.size() > kTerminalColumns && line.size() > kIndentation) {
            lines += line + "\n";
            line = std::string(kIndentation - 1, ' ');
        }
        line += " " + word;
        at = end + 1;
    }
    return lines + line + "\n";
}

std::string counted(uint64_t count, const std::string &noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace aclrmctl
