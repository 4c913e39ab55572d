// captured_log.h - the daemon's log as records, seen by a sink inside the test process.
//
// Texts are complete: what the daemon's format made, with its newline where it has one.
#ifndef ZV_TESTS_DAEMON_CAPTURED_LOG_H
#define ZV_TESTS_DAEMON_CAPTURED_LOG_H

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace zv_unit {

// Severity masks of the levels.
inline constexpr uint32_t ERROR_MASK = 1;
inline constexpr uint32_t WARNING_MASK = 3;
inline constexpr uint32_t NOTICE_MASK = 7;
inline constexpr uint32_t INFO_MASK = 15;
inline constexpr uint32_t DEBUG_MASK = 31;

struct Line {
    uint32_t mask;
    std::string module;
    std::string text;
    bool operator==(const Line &) const = default;
};
using Lines = std::vector<Line>;
std::ostream &operator<<(std::ostream &out, const Line &line);

// Opens the log with a sink that keeps every line.
void capture_log();

// The lines since the last call.
Lines take_lines();

// The newest line of the trace ring.
std::string newest_trace_line();
// As many of the ring's newest lines as asked for, oldest first.
std::vector<std::string> trace_lines(uint32_t max_lines);

Line line(uint32_t mask, const std::string &text, const std::string &module = "ZV_ACL_RM");
// A failure with a text: error line, or the notification that some sites choose.
Line failure(uint32_t status, const std::string &text, const std::string &module = "ZV_ACL_RM");
Line notification(uint32_t status, const std::string &text,
                  const std::string &module = "ZV_ACL_RM");
// A callee's failure on its way up, in the form that the status calls for.
Line passed_up(uint32_t status, const std::string &module = "ZV_ACL_RM");

// Whether the lines begin with `first` and everything after is the status on its way up, on
// `levels` levels.
testing::AssertionResult reports(const Lines &lines, const Lines &first, uint32_t status,
                                 size_t levels);

// Whether a line is the debug line of that function with that text: "file[line]- function: text".
bool is_debug_line(const Line &line, const std::string &file, const std::string &function,
                   const std::string &text);
// Whether any of the lines is.
bool has_debug_line(const Lines &lines, const std::string &function, const std::string &text);
bool has_line(const Lines &lines, const Line &wanted);

}  // namespace zv_unit

#endif
