/* The tool's words against a stub of the daemon. */
#ifndef ZV_TESTS_TOOLS_STUB_WORDS_H
#define ZV_TESTS_TOOLS_STUB_WORDS_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/client/stub_daemon.h"
#include "tests/tools/run_tool.h"

namespace zv_test {

using Words = std::vector<std::string>;

inline ToolRun run(const StubDaemon &daemon, Words words) {
    words.insert(words.begin(), {"--socket", daemon.socket_path()});
    return run_tool("", words);
}

inline StubDaemon::Handler refuse(uint32_t status) {
    return [status](const StubRequest &) { return StubReply{.status = status}; };
}

inline void expect_part(const std::string &text, const std::string &part) {
    EXPECT_NE(text.find(part), std::string::npos) << "no '" << part << "' in:\n" << text;
}

}  // namespace zv_test

#endif
