#include "tests/support/log_lines.h"

#include <gtest/gtest.h>

#include "zv_acl_rm/zv_acl_rm_status.h"

namespace zv_test {

namespace {

std::string without_trailing(std::string_view text, const char *what) {
    const size_t last = text.find_last_not_of(what);
    return last == std::string_view::npos ? "" : std::string(text.substr(0, last + 1));
}

// Whether `line` begins an entry; if so its three parts. A module longer than its 20 columns makes
// the first bracket wider, hence the search instead of a fixed column.
bool split_entry(std::string_view line, LogLine &entry) {
    constexpr size_t kModuleWidth = 20;
    constexpr size_t kLevelWidth = 7;
    constexpr std::string_view kSeparator = "] : ";
    if (line.empty() || line[0] != '[') {
        return false;
    }
    const size_t module_end = line.find("][", 1 + kModuleWidth);
    if (module_end == std::string_view::npos) {
        return false;
    }
    const size_t level = module_end + 2;
    if (line.substr(0, level + kLevelWidth).size() != level + kLevelWidth ||
        line.substr(level + kLevelWidth, kSeparator.size()) != kSeparator) {
        return false;
    }
    entry.module = without_trailing(line.substr(1, module_end - 1), " ");
    entry.level = without_trailing(line.substr(level, kLevelWidth), " ");
    entry.text = line.substr(level + kLevelWidth + kSeparator.size());
    return true;
}

std::string labelled(const char *label, uint32_t status, const char *middle,
                     const std::string &text) {
    return std::string(label) + std::to_string(status) + middle + without_trailing(text, "\n");
}

}  // namespace

std::ostream &operator<<(std::ostream &out, const LogLine &line) {
    return out << '[' << line.module << "][" << line.level << "] : " << line.text;
}

std::vector<LogLine> parse_log(std::string_view text) {
    std::vector<LogLine> entries;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        LogLine entry;
        if (split_entry(line, entry)) {
            entries.push_back(entry);
        } else if (!entries.empty()) {
            entries.back().text.append("\n").append(line);
        }
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    for (LogLine &entry : entries) {
        entry.text = without_trailing(entry.text, "\n");
    }
    return entries;
}

LogLine error_line(uint32_t status, const std::string &text, const std::string &module) {
    return {module, "ERROR",
            labelled("ZV_ACL_RM ERROR error;=", status, ", error message:=", text)};
}

LogLine passed_up_line(uint32_t status, const std::string &module) {
    return {module, "ERROR",
            labelled("ZV_ACL_RM_ERROR, error: ", status, ", ", status_name(status))};
}

LogLine notification_line(uint32_t status, const std::string &text, const std::string &module) {
    return {module, "NOTICE", labelled("ZV_ACL_RM Notification, error: ", status, ", ", text)};
}

std::string status_name(uint32_t status) {
    switch (status) {
#define ZV_TEST_CASE(value, name, meaning) \
    case value:                            \
        return #name;
        ZV_ACL_RM_STATUS_LIST(ZV_TEST_CASE)
#undef ZV_TEST_CASE
        default:
            return "";
    }
}

}  // namespace zv_test
