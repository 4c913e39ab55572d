// Calls that fail in the log, and in the plug-ins that come with the daemon: it serves whatever
// becomes of their lines, and what can be written is written whole.
#include <errno.h>

#include <sstream>

#include "tests/fire/exhaustion/syscalls.h"

namespace zv_fire {

namespace {

constexpr char kLogger[] = "acl_rm_file_logger";
constexpr char kConnector[] = "acl_rm_connector";
constexpr char kFirstLine[] =
    "[ZV_ACL_RM           ][NOTICE ] : Creating Terminator thread done.\n";
constexpr char kLineOfTheEnd[] = "starting zv_acl_rm termination...\n";
// So much of the first line, and the next one.
constexpr char kTorn[] = "[ZV_ACL_RM\n[";
constexpr uint64_t kTornBytes = 10;

std::string unless(bool is_so, const std::string &text) {
    return is_so ? "" : "its file has\n" + text;
}

bool lines_are_whole(const std::string &text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind('[', 0) != 0 || line.find('[', 1) != line.find("][") + 1) {
            return false;
        }
    }
    return text.ends_with('\n') && text.find(kLineOfTheEnd) != std::string::npos;
}

std::string is_empty(const std::string &text) {
    return unless(text.empty(), text);
}

std::string has_all_lines(const std::string &text) {
    return unless(text.starts_with(kFirstLine) && lines_are_whole(text), text);
}

std::string lacks_the_first_line(const std::string &text) {
    return unless(text.find("Creating Terminator") == std::string::npos && lines_are_whole(text),
                  text);
}

std::string goes_on_after_a_torn_line(const std::string &text) {
    return unless(text.starts_with(kTorn) && lines_are_whole(text.substr(kTornBytes + 1)), text);
}

std::string has_a_torn_record_and_the_second_call(const std::string &text) {
    return unless(text == "aclr\naclrmd_deinit\n", text);
}

std::string has_both_calls(const std::string &text) {
    return unless(text == "aclrmd_init\naclrmd_deinit\n", text);
}

std::string has_the_first_call(const std::string &text) {
    return unless(text == "aclrmd_init\n", text);
}

std::string has_the_second_call(const std::string &text) {
    return unless(text == "aclrmd_deinit\n", text);
}

}  // namespace

std::vector<PluginRow> log_rows() {
    return {
        {"log: write ENOSPC", {{FIRE_write, ENOSPC, kLog}}, lacks_the_first_line},
        {"log: write EPIPE", {{FIRE_write, EPIPE, kLog}}, lacks_the_first_line},
        {"log: write EAGAIN", {{FIRE_write, EAGAIN, kLog}}, lacks_the_first_line},
        {"log: write ENOSPC for ever", {{FIRE_write, ENOSPC, kLog, 1, kFromThenOn}}, is_empty},
        {"log: write EINTR", {{FIRE_write, EINTR, kLog, 1, 5}}, has_all_lines},
        {"log: write short", {{FIRE_write, 0, kLog, 1, 1, kTornBytes}}, has_all_lines},
        {"log: write of a byte at a time", {{FIRE_write, 0, kLog, 1, 100, 1}}, has_all_lines},
        {"log: write short, then ENOSPC",
         {{FIRE_write, 0, kLog, 1, 1, kTornBytes}, {FIRE_write, ENOSPC, kLog}},
         goes_on_after_a_torn_line},
        {"log: write short, then ENOSPC, then the newline alone",
         {{FIRE_write, 0, kLog, 1, 1, kTornBytes},
          {FIRE_write, ENOSPC, kLog, 1, 2},
          {FIRE_writev, 0, kLog, 1, 1, 1}},
         goes_on_after_a_torn_line},
    };
}

std::vector<PluginRow> logger_rows() {
    return {
        // Asked for once.
        {"logger: open EMFILE", {{FIRE_open, EMFILE, kLogger}}, is_empty},
        {"logger: open EACCES", {{FIRE_open, EACCES, kLogger}}, is_empty},
        {"logger: open ENOSPC", {{FIRE_open, ENOSPC, kLogger}}, is_empty},
        {"logger: open EINTR", {{FIRE_open, EINTR, kLogger, 1, 5}}, has_all_lines},
        {"logger: writev ENOSPC", {{FIRE_writev, ENOSPC, kLogger}}, lacks_the_first_line},
        {"logger: writev EPIPE", {{FIRE_writev, EPIPE, kLogger}}, lacks_the_first_line},
        {"logger: writev EAGAIN", {{FIRE_writev, EAGAIN, kLogger}}, lacks_the_first_line},
        {"logger: writev ENOSPC for ever",
         {{FIRE_writev, ENOSPC, kLogger, 1, kFromThenOn}},
         is_empty},
        {"logger: writev EINTR", {{FIRE_writev, EINTR, kLogger, 1, 5}}, has_all_lines},
        {"logger: writev short", {{FIRE_writev, 0, kLogger, 1, 1, kTornBytes}}, has_all_lines},
        {"logger: writev of a byte at a time",
         {{FIRE_writev, 0, kLogger, 1, 100, 1}},
         has_all_lines},
        {"logger: writev short, then ENOSPC",
         {{FIRE_writev, 0, kLogger, 1, 1, kTornBytes}, {FIRE_writev, ENOSPC, kLogger}},
         goes_on_after_a_torn_line},
        // A fault counts the calls that those before it let through.
        {"logger: writev short, then ENOSPC, then the newline alone",
         {{FIRE_writev, 0, kLogger, 1, 1, kTornBytes},
          {FIRE_writev, 0, kLogger, 2, 1, 1},
          {FIRE_writev, ENOSPC, kLogger, 1, 2}},
         goes_on_after_a_torn_line},
    };
}

std::vector<PluginRow> connector_rows() {
    return {
        {"connector: open EMFILE", {{FIRE_open, EMFILE, kConnector}}, has_the_second_call},
        {"connector: open EACCES", {{FIRE_open, EACCES, kConnector}}, has_the_second_call},
        {"connector: open ENOSPC", {{FIRE_open, ENOSPC, kConnector}}, has_the_second_call},
        {"connector: open EINTR", {{FIRE_open, EINTR, kConnector, 1, 5}}, has_both_calls},
        {"connector: open EMFILE at the end",
         {{FIRE_open, EMFILE, kConnector, 2}},
         has_the_first_call},
        {"connector: write EPIPE", {{FIRE_write, EPIPE, kConnector}}, has_the_second_call},
        {"connector: write ENOSPC", {{FIRE_write, ENOSPC, kConnector}}, has_the_second_call},
        {"connector: write EAGAIN", {{FIRE_write, EAGAIN, kConnector}}, has_the_second_call},
        {"connector: write ENOSPC at the end",
         {{FIRE_write, ENOSPC, kConnector, 2}},
         has_the_first_call},
        {"connector: write EINTR", {{FIRE_write, EINTR, kConnector, 1, 5}}, has_both_calls},
        {"connector: write short", {{FIRE_write, 0, kConnector, 1, 1, 4}}, has_both_calls},
        {"connector: write short, then ENOSPC",
         {{FIRE_write, 0, kConnector, 1, 1, 4}, {FIRE_write, ENOSPC, kConnector}},
         has_a_torn_record_and_the_second_call},
    };
}

}  // namespace zv_fire
