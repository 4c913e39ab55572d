/* What 'rule check' counts and where it points, file by file; no daemon is needed for it. */
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/tools/json_answer.h"
#include "tests/tools/run_tool.h"

namespace {

using nlohmann::json;
using zv_test::ToolRun;
using Words = std::vector<std::string>;

class RuleCheck : public testing::Test {
  protected:
    void SetUp() override {
        char name[] = "/tmp/zv-check-XXXXXX";
        directory_ = mkdtemp(name);
        file_ = directory_ + "/f.rules";
    }
    void TearDown() override { std::filesystem::remove_all(directory_); }

    ToolRun check(const std::string &text, const Words &more = {}) const {
        std::ofstream(file_, std::ios::binary) << text;
        Words words{"rule", "check", file_};
        words.insert(words.end(), more.begin(), more.end());
        return zv_test::run_tool("/nonexistent", words);
    }
    const std::string &file() const { return file_; }

  private:
    std::string directory_;
    std::string file_;
};

TEST_F(RuleCheck, CountsVerdictsWithoutANameBesideTheOthers) {
    const std::string text =
        "verdict 9 ip4 from any to any\ndrop ip4 from any to any\nverdict 2 ip6 from any to any\n";
    const ToolRun run = check(text);
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_NE(run.out.find("  verdicts: 0 permit, 1 drop, 1 trap, 1 other, 0 left to --verdict\n"),
              std::string::npos)
        << run.out;
    const json answer = zv_test::own_members(check(text, {"-j"}).out);
    EXPECT_EQ(answer.at("other_verdicts"), 1);
    EXPECT_EQ(answer.at("permit"), 0);
    EXPECT_EQ(answer.at("drop"), 1);
    EXPECT_EQ(answer.at("trap"), 1);
    EXPECT_EQ(answer.at("no_verdict"), 0);
}

TEST_F(RuleCheck, SpeaksOfOtherVerdictsOnlyWhereThereAreSome) {
    EXPECT_EQ(check("drop ip4 from any to any\n").out.find("other"), std::string::npos);
    const json answer = zv_test::own_members(check("drop ip4 from any to any\n", {"-j"}).out);
    EXPECT_EQ(answer.at("other_verdicts"), 0);
}

TEST_F(RuleCheck, CountsTheWholeRangeOfPriorities) {
    const std::string text =
        "priority 0 drop ip4 from any to any\npriority 4294967295 drop ip6 from any to any\n";
    const ToolRun run = check(text);
    EXPECT_NE(run.out.find("  needs an ACL with room for 4294967296 rules: priority "
                           "0-4294967295\n"),
              std::string::npos)
        << run.out;
    EXPECT_EQ(zv_test::own_members(check(text, {"-j"}).out).at("room"), 4294967296);
}

TEST_F(RuleCheck, NamesOnePriorityAlone) {
    const ToolRun run = check("priority 7 drop ip4 from any to any\n");
    EXPECT_NE(run.out.find(" room for 8 rules: priority 7\n"), std::string::npos) << run.out;
}

TEST_F(RuleCheck, SaysWhereFirstPriorityLeavesNoRoom) {
    const std::string two = "drop ip4 from any to any\ndrop ip6 from any to any\n";
    EXPECT_EQ(check(two, {"--first-priority", "4294967294"}).exit_code, 0);
    const ToolRun run = check(two, {"--first-priority", "4294967295"});
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.err, "aclrmctl: --first-priority leaves no room for the rules\n");
}

/* A number of ranges that no prefix holds: 30 by 30 rules of the switch each. */
std::string widest_lines(size_t count) {
    std::string text;
    for (size_t i = 0; i < count; i++) {
        text += "  drop tcp from 10.0.0.1 port 1-65534 to any port 1-65534\n";
    }
    return text;
}

TEST_F(RuleCheck, PointsAtTheRuleThatMakesTooMany) {
    constexpr size_t kFit = 1048576 / 900;
    EXPECT_EQ(zv_test::own_members(check(widest_lines(kFit), {"-j"}).out).at("expanded"),
              900 * kFit);
    const json answer = zv_test::own_members(check(widest_lines(kFit + 2), {"-j"}).out, 2);
    EXPECT_EQ(answer.at("input"),
              (json{{"file", file()},
                    {"line", kFit + 1},
                    {"column", 3},
                    {"path", ""},
                    {"message", "the file makes more than 1048576 rules of the switch"},
                    {"text", "  drop tcp from 10.0.0.1 port 1-65534 to any port 1-65534"}}));
}

/* A terminal obeys escapes, wherever in a file they stand. */
TEST_F(RuleCheck, SendsNoEscapesOfAFileToTheTerminal) {
    const std::string text = "{\"rules\":[{\"\\u001b[2J\\u009b\\n\\tx\":1}]}";
    const ToolRun run = check(text);
    EXPECT_EQ(run.exit_code, 2);
    EXPECT_EQ(run.err.find_first_of("\x1b\x9b\t"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("/rules/0/?[2J???x: "), std::string::npos) << run.err;
    const std::string object = check(text, {"-j"}).out;
    EXPECT_EQ(object.find_first_of("\x1b\x9b\t"), std::string::npos) << object;
    EXPECT_EQ(json::parse(object).at("input").at("path"), "/rules/0/\x1b[2J\u009b\n\tx")
        << "a program gets what stands there";
}

TEST_F(RuleCheck, SendsNoEscapesOfAFilesNameToTheTerminal) {
    const std::string name = file() + "\x1b[2J";
    const ToolRun missing = zv_test::run_tool("", {"rule", "check", name});
    EXPECT_EQ(missing.err, "aclrmctl: " + file() + "?[2J: No such file or directory\n");
    std::ofstream(name) << "drop ip4 from any to any\n";
    const ToolRun good = zv_test::run_tool("", {"rule", "check", name});
    EXPECT_EQ(good.exit_code, 0);
    EXPECT_EQ(good.out.rfind(file() + "?[2J: 1 line", 0), 0u) << good.out;
}

}  // namespace
