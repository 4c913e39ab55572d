// log_lines.h - the daemon's log as records, and the lines by which it reports a status.
#ifndef ZV_TESTS_SUPPORT_LOG_LINES_H
#define ZV_TESTS_SUPPORT_LOG_LINES_H

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace zv_test {

// One entry of the log: "[module padded to 20][LEVEL  ] : text". Module and level stand here
// without their padding, the text without the newlines at its end. A text of several lines (a dump
// that went to the log) is one entry.
struct LogLine {
    std::string module;
    std::string level;  // "ERROR", "WARN", "NOTICE", "INFO", "DEBUG"
    std::string text;

    bool operator==(const LogLine &) const = default;
};

std::ostream &operator<<(std::ostream &out, const LogLine &line);

// Splits a log into its entries. What stands before the first entry belongs to none.
std::vector<LogLine> parse_log(std::string_view text);

// The three ways in which the daemon reports a status, as entries of module "ZV_ACL_RM" unless
// another is named. `text` is the message at the site of the failure.
LogLine error_line(uint32_t status, const std::string &text,
                   const std::string &module = "ZV_ACL_RM");
LogLine passed_up_line(uint32_t status, const std::string &module = "ZV_ACL_RM");
LogLine notification_line(uint32_t status, const std::string &text,
                          const std::string &module = "ZV_ACL_RM");

// The name of a daemon status as logs print it.
std::string status_name(uint32_t status);

}  // namespace zv_test

#endif
