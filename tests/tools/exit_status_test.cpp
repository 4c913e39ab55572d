/* Each exit status by the plainest way to it, in text and in JSON alike. */
#include <csignal>

#include "tests/tools/tool_session.h"

namespace {

using nlohmann::json;
using zv_test::ToolRun;
using Words = std::vector<std::string>;

class ExitStatus : public testing::Test {
  protected:
    void SetUp() override {
        session_.text({"open", "--owner", "open-flow"});
        session_.text({"init"});
        session_.text({"acl", "create", "--size", "64"});
    }
    /* The same status in both; text goes to standard error, the object to standard output. */
    json expect(int status, Words words) {
        const ToolRun plain = session_.run(words);
        EXPECT_EQ(plain.exit_code, status) << plain.err;
        EXPECT_EQ(plain.out, "");
        EXPECT_EQ(plain.err.rfind("aclrmctl: ", 0), 0u) << plain.err;
        words.emplace_back("-j");
        const ToolRun run = session_.run(words);
        EXPECT_EQ(run.exit_code, status);
        EXPECT_EQ(run.err, "");
        session_.daemon().allow_error_lines();
        return zv_test::own_members(run.out, status);
    }
    zv_test::ToolSession session_;
};

TEST_F(ExitStatus, IsOneForWrongWordsAndTheObjectPointsAtTheWord) {
    const json answer = expect(1, {"acl", "create", "--size", "many"});
    EXPECT_EQ(answer.at("argument"), (json{{"index", 4}, {"word", "many"}}));
    EXPECT_EQ(answer.at("error"), "--size: 'many' is no number, decimal or hexadecimal behind 0x");
}

TEST_F(ExitStatus, IsTwoForABadFile) {
    expect(2, {"rule", "check", "/nonexistent.rules"});
}

TEST_F(ExitStatus, IsThreeWithoutADaemonOrASwitch) {
    expect(3, {"--socket", "/none", "init"});
    expect(3, {"--switch-socket", "/none", "switch", "usage"});
}

TEST_F(ExitStatus, IsFourForARefusalAndSaysWhy) {
    const json answer = expect(4, {"acl", "resize", "--acl", "1", "--size", "8"});
    EXPECT_EQ(answer.at("status_name"), "ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE");
    EXPECT_EQ(answer.at("why_certain"), true);
    ASSERT_EQ(answer.at("why").size(), 1u);
    EXPECT_NE(answer.at("why").at(0).get<std::string>().find("created with a size"),
              std::string::npos)
        << answer;
}

TEST_F(ExitStatus, IsFiveForAnAnswerThatDoesNotComeInTime) {
    session_.daemon().signal(SIGSTOP);
    const json answer = expect(5, {"init", "--timeout", "30ms"});
    EXPECT_NE(answer.at("error").get<std::string>().find("no answer within 30 ms"),
              std::string::npos);
    session_.daemon().signal(SIGCONT);
}

TEST_F(ExitStatus, IsSixWhereTheSwitchRefuses) {
    expect(6, {"switch", "faults", "--set", "[{}]"});
}

TEST_F(ExitStatus, IsSevenForADumpThatIsNotThere) {
    expect(7, {"dump", "/nonexistent/dump.txt"});
}

TEST_F(ExitStatus, IsEightWhereAPartIsDoneAndTellsWhich) {
    for (uint32_t i = 0; i < 40; i++) {
        session_.text({"rule", "add", "--acl", "1", "--priority", std::to_string(i)});
    }
    const ToolRun run = session_.run({"rule", "del", "--acl", "1", "0-19,60,61-63"});
    EXPECT_EQ(run.exit_code, 8) << run.err;
    EXPECT_NE(run.err.find("deleted before that: 20 rules (0-19)"), std::string::npos) << run.err;
    session_.daemon().allow_error_lines();
    const json answer = zv_test::own_members(
        session_.run({"-j", "rule", "del", "--acl", "1", "20-39,60-81"}).out, 8);
    const json &partial = answer.at("partial");
    EXPECT_EQ(partial.at("cause"), 4);
    EXPECT_EQ(partial.at("what"), "deleted");
    EXPECT_EQ(partial.at("done").size(), 20u);
    EXPECT_EQ(partial.at("done").back(), 39);
    EXPECT_EQ(partial.at("uncertain").size(), 20u);
    EXPECT_EQ(partial.at("not_sent"), (json{80, 81}));
    EXPECT_FALSE(partial.contains("mc_group_id")) << "no group was created";
    EXPECT_EQ(session_.object({"show", "rules"}).at("rules").size(), 0u)
        << "what the report says is done is what the switch lost";
}

/* A dump holds 65535 characters. */
TEST_F(ExitStatus, IsEightWhereATableCannotBeShownWhole) {
    session_.text({"acl", "create", "--size", "3000"});
    std::string rules;
    for (int i = 0; i < 2000; i++) {
        rules += "@10.0." + std::to_string(i / 250) + "." + std::to_string(i % 250) +
                 "/32 0.0.0.0/0 0:65535 0:65535 0/0 0/0\n";
    }
    const std::string file = session_.daemon().root().file("many.rules");
    zv_test::write_file(file, rules);
    session_.text({"rule", "load", file, "--acl", "2"});
    session_.daemon().allow_error_lines(); /* of the read that finds out how much room there is */
    const ToolRun run = session_.run({"show", "acls"});
    EXPECT_EQ(run.exit_code, 8);
    EXPECT_NE(run.err.find("was cut in its table of rules"), std::string::npos) << run.err;
    const json answer = zv_test::own_members(session_.run({"show", "acls", "-j"}).out, 8);
    EXPECT_EQ(answer.at("whole"), false);
    EXPECT_EQ(answer.at("rules_num"), 2000);
    const json dump = session_.object({"dump"});
    EXPECT_EQ(dump.at("complete"), false);
    EXPECT_GT(dump.at("rules").size(), 1000u);
}

TEST(Timeout, IsReadInSecondsAndMilliseconds) {
    for (const char *time : {"1s", "1ms", "5", "3600s", "3600000ms", "3600000"}) {
        EXPECT_EQ(zv_test::run_tool("/none", {"init", "--timeout", time}).exit_code, 3) << time;
    }
    for (const char *time : {"", "0", "0s", "s", "3601s", "3600001", "-1", "5m", "5 s", "1.5s",
                             "99999999999999999999s", "99999999s"}) {
        const ToolRun run = zv_test::run_tool("/none", {"init", std::string("--timeout=") + time});
        EXPECT_EQ(run.exit_code, 1) << time;
    }
}

}  // namespace
