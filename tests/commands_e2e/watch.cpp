#include "tests/commands_e2e/watch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace zv_test {

using nlohmann::json;

namespace {

bool is_full(uint32_t status) {
    return status == 6 || status == 7;
}

Lines handed_up(uint32_t status, int callers) {
    const LogLine line =
        is_full(status) ? notification_line(status, status_name(status)) : passed_up_line(status);
    return Lines(static_cast<size_t>(callers), line);
}

// What a creating call is given as id says nothing: only what it hands back does.
json without_id_given(json call) {
    call.erase("seq");
    json &args = call["args"];
    const uint32_t cmd = args.value("cmd", 0u);
    if (cmd == 12 || (cmd == 1 && args.contains("pbs_id"))) {
        for (const char *name : {"region_id", "acl_id", "group_id", "pbs_id"}) {
            args.erase(name);
        }
    }
    return call;
}

template <typename List>
std::string shown(const List &list) {
    std::ostringstream text;
    for (const auto &item : list) {
        text << "  " << item << '\n';
    }
    return text.str();
}

}  // namespace

Lines failed(uint32_t status, const std::string &text, int callers) {
    return Lines{error_line(status, text)} + handed_up(status, callers);
}

Lines failed_by_name(uint32_t status, int callers) {
    return handed_up(status, callers + 1);
}

Lines notified(uint32_t status, const std::string &text, int callers) {
    return Lines{notification_line(status, text)} + handed_up(status, callers);
}

Lines rules_gone(uint32_t region_id, const std::vector<uint32_t> &offsets) {
    const std::string region = "from region[" + std::to_string(region_id) + "].";
    Lines lines;
    for (const uint32_t offset : offsets) {
        lines.push_back(
            {"ZV_ACL_RM", "NOTICE", "delete rule[" + std::to_string(offset) + "] " + region});
    }
    const std::string num = std::to_string(offsets.size());
    lines.push_back({"ZV_ACL_RM", "NOTICE", "delete [" + num + "] #rules " + region});
    return lines;
}

LogLine already_unbound(uint32_t acl_id, const std::string &point) {
    return {"ZV_ACL_RM", "NOTICE",
            "ACL [" + std::to_string(acl_id) + "] already Unbound from port_id [" + point + "]."};
}

Lines operator+(Lines first, const Lines &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Watch::Watch(DaemonProcess &daemon)
    : daemon_(daemon), lines_num_(daemon.log().size()), trace_mark_(daemon.trace_mark()) {}

void Watch::expect_lines(const Lines &expected, Here here) const {
    Lines lines = daemon_.log();
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(lines_num_));
    if (lines != expected) {
        ADD_FAILURE_AT(here.file, here.line) << "the daemon wrote\n"
                                             << shown(lines) << "expected was\n"
                                             << shown(expected);
    }
    for (const LogLine &line : expected) {
        daemon_.expect_log(line, here);
    }
}

void Watch::expect_calls(const Calls &expected, Here here) const {
    Calls calls = daemon_.trace_since(trace_mark_);
    std::transform(calls.begin(), calls.end(), calls.begin(), without_id_given);
    Calls wanted;
    std::transform(expected.begin(), expected.end(), std::back_inserter(wanted), without_id_given);
    if (calls != wanted) {
        ADD_FAILURE_AT(here.file, here.line) << "the daemon called\n"
                                             << shown(calls) << "expected was\n"
                                             << shown(wanted);
    }
}

void Watch::expect_nothing(Here here) const {
    expect_lines({}, here);
    expect_calls({}, here);
}

}  // namespace zv_test
