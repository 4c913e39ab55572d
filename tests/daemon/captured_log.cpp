#include "tests/daemon/captured_log.h"

#include <algorithm>
#include <mutex>
#include <sstream>
#include <utility>

#include "platform/log/trace_ring.h"
#include "zv_log.h"

namespace zv_unit {
namespace {

struct Captured {
    std::mutex mutex;
    Lines lines;
};

Captured &captured() {
    static Captured &kept = *new Captured;
    return kept;
}

void keep_line(uint32_t mask, const char *module, const char *message, ...) {
    const std::lock_guard lock(captured().mutex);
    captured().lines.push_back({mask, module, message});
}

// Written out here and not taken from the daemon's list, which is what the tests check.
const char *status_name(uint32_t status) {
    static constexpr const char *names[] = {"ZV_ACL_RM_STATUS_SUCCESS",
                                            "ZV_ACL_RM_STATUS_ERROR",
                                            "ZV_ACL_RM_STATUS_CMD_UNSUPPORTED",
                                            "ZV_ACL_RM_STATUS_PARAM_NULL",
                                            "ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE",
                                            "ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND",
                                            "ZV_ACL_RM_STATUS_NO_RESOURCES",
                                            "ZV_ACL_RM_STATUS_NO_HW_RESOURCES",
                                            "ZV_ACL_RM_STATUS_NO_BUFFER_SPACE",
                                            "ZV_ACL_RM_STATUS_LAST"};
    return status < std::size(names) ? names[status] : "UNKNOWN";
}

constexpr uint32_t NO_RESOURCES = 6;
constexpr uint32_t NO_HW_RESOURCES = 7;

}  // namespace

std::ostream &operator<<(std::ostream &out, const Line &line) {
    constexpr size_t shown = 300;
    return out << "{" << line.mask << ", " << line.module << ", "
               << testing::PrintToString(line.text.substr(0, shown)) << "}";
}

void capture_log() {
    ASSERT_EQ(zv_log_init(1, 0, keep_line), 0u);
}

Lines take_lines() {
    const std::lock_guard lock(captured().mutex);
    return std::exchange(captured().lines, {});
}

std::vector<std::string> trace_lines(uint32_t max_lines) {
    std::string buffer(1 << 20, '\0');
    buffer.resize(
        zv_trace_cbuff_read(buffer.data(), static_cast<uint32_t>(buffer.size()), max_lines));
    std::vector<std::string> lines;
    std::istringstream stream(buffer);
    for (std::string text; std::getline(stream, text);)
        lines.push_back(text);
    return lines;
}

std::string newest_trace_line() {
    const std::vector<std::string> lines = trace_lines(1);
    return lines.empty() ? "" : lines.back();
}

Line line(uint32_t mask, const std::string &text, const std::string &module) {
    return {mask, module, text};
}

Line failure(uint32_t status, const std::string &text, const std::string &module) {
    return {ERROR_MASK, module,
            "ZV_ACL_RM ERROR error;=" + std::to_string(status) + ", error message:=" + text + "\n"};
}

Line notification(uint32_t status, const std::string &text, const std::string &module) {
    return {NOTICE_MASK, module,
            "ZV_ACL_RM Notification, error: " + std::to_string(status) + ", " + text + "\n"};
}

Line passed_up(uint32_t status, const std::string &module) {
    if (status == NO_RESOURCES || status == NO_HW_RESOURCES)
        return notification(status, status_name(status), module);
    return {
        ERROR_MASK, module,
        "ZV_ACL_RM_ERROR, error: " + std::to_string(status) + ", " + status_name(status) + "\n"};
}

testing::AssertionResult reports(const Lines &lines, const Lines &first, uint32_t status,
                                 size_t levels) {
    Lines wanted = first;
    wanted.insert(wanted.end(), levels, passed_up(status));
    if (lines == wanted)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "logged " << testing::PrintToString(lines)
                                       << "\ninstead of " << testing::PrintToString(wanted);
}

bool is_debug_line(const Line &line, const std::string &file, const std::string &function,
                   const std::string &text) {
    const std::string head = file + "[";
    const std::string tail = "]- " + function + ": " + text;
    if (line.mask != DEBUG_MASK || !line.text.starts_with(head) || !line.text.ends_with(tail))
        return false;
    const std::string number =
        line.text.substr(head.size(), line.text.size() - head.size() - tail.size());
    return !number.empty() && number.find_first_not_of("0123456789") == std::string::npos;
}

bool has_debug_line(const Lines &lines, const std::string &function, const std::string &text) {
    return std::any_of(lines.begin(), lines.end(), [&](const Line &one) {
        return one.module == "ZV_ACL_RM" && is_debug_line(one, "acl_rm.c", function, text);
    });
}

bool has_line(const Lines &lines, const Line &wanted) {
    return std::find(lines.begin(), lines.end(), wanted) != lines.end();
}

}  // namespace zv_unit
