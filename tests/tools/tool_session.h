/* A daemon on the simulated switch, and the tool run against it word by word. */
#ifndef ZV_TESTS_TOOLS_TOOL_SESSION_H
#define ZV_TESTS_TOOLS_TOOL_SESSION_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/daemon_process.h"
#include "tests/tools/json_answer.h"
#include "tests/tools/run_tool.h"

namespace zv_test {

inline constexpr const char *kSample = ZV_TEST_SAMPLES_DIR "/campus-edge.rules";

/* A tool that has no directory to have the daemon dump into, and so has to do without a dump. */
class WithoutDump {
  public:
    WithoutDump() { setenv("TMPDIR", "/nonexistent", 1); }
    ~WithoutDump() { unsetenv("TMPDIR"); }
    WithoutDump(const WithoutDump &) = delete;
    WithoutDump &operator=(const WithoutDump &) = delete;
};

class ToolSession {
  public:
    ToolRun run(const std::vector<std::string> &words) {
        return run_tool(daemon_.root().path().string(), words);
    }
    std::string text(const std::vector<std::string> &words) {
        const ToolRun result = run(words);
        EXPECT_EQ(result.exit_code, 0) << result.err;
        return result.out;
    }
    /* The command's own members, behind those that every object has. */
    nlohmann::json object(std::vector<std::string> words) {
        words.insert(words.begin(), "--json");
        return own_members(text(words));
    }
    /* An ACL of the sample's rules, bound to ports 65537 to 65540. */
    void load_sample() {
        text({"open", "--owner", "open-flow"});
        text({"init", "--chip", "1"});
        const nlohmann::json checked = object({"rule", "check", kSample});
        rules_num_ = checked.at("expanded");
        EXPECT_EQ(object({"acl", "create", "--size", std::to_string(rules_num_)}).at("acl_id"), 1);
        EXPECT_EQ(object({"rule", "load", kSample, "--acl", "1"}).at("expanded"), rules_num_);
        text({"bind", "port", "--acl", "1", "65537-65540"});
        daemon_.allow_error_lines(); /* of the read that finds out how much room an ACL has */
    }
    uint32_t rules_num() const { return rules_num_; }
    DaemonProcess &daemon() { return daemon_; }

  private:
    DaemonProcess daemon_;
    uint32_t rules_num_ = 0;
};

}  // namespace zv_test

#endif
