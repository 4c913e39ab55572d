/* Runs aclrmctl as a user does: a process of its own, its two outputs kept apart. */
#ifndef ZV_TESTS_TOOLS_RUN_TOOL_H
#define ZV_TESTS_TOOLS_RUN_TOOL_H

#include <string>
#include <vector>

namespace zv_test {

struct ToolRun {
    int exit_code = -1; /* -1: killed by a signal, or never started */
    std::string out;
    std::string err;
};

/* The tool under test: that of this build, or the one that ZV_TEST_ACLRMCTL names. */
std::string tool_path();

/* `root` becomes ZV_PLATFORM_ROOT; with "" the variable is not set. */
ToolRun run_tool(const std::string &root, const std::vector<std::string> &words);

/* The same with standard error on a terminal of that width, which ends lines with CR LF. */
ToolRun run_tool_on_terminal(unsigned short columns, const std::string &root,
                             const std::vector<std::string> &words);

}  // namespace zv_test

#endif
