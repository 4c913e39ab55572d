/* The words of rule files against a stub of the daemon that holds one ACL: what is sent, printed
 * and exited with. */
#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/client/stub_daemon.h"
#include "tests/tools/acl_stub.h"
#include "tests/tools/stub_words.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

namespace {

using nlohmann::json;
using zv_test::AclStub;
using zv_test::echo_reply;
using zv_test::expect_part;
using zv_test::run_tool;
using zv_test::StubDaemon;
using zv_test::StubReply;
using zv_test::StubRequest;
using zv_test::ToolRun;
using zv_test::Words;

constexpr const char *kRule = "@10.0.0.0/8 192.0.2.0/24 0:65535 80:80 6/255 0/0\n";

std::string rules(int count) {
    std::string text;
    for (int i = 0; i < count; i++) {
        text += kRule;
    }
    return text;
}

/* The tool is the only process that a test of this file starts. */
void signal_child(int number) {
    for (const auto &entry : std::filesystem::directory_iterator("/proc")) {
        std::ifstream stream(entry.path() / "stat");
        std::string pid;
        std::string name;
        std::string state;
        pid_t parent = 0;
        if (stream >> pid >> name >> state >> parent && parent == getpid() && state != "Z") {
            kill(std::stoi(pid), number);
        }
    }
}

TEST(RuleCheckWord, CountsLinesRulesAndExpandedRulesWithoutADaemon) {
    AclStub stub;
    const std::string file =
        stub.file("# two\n@10.0.0.1/8 0.0.0.0/0 1:2 1:6 6/255 0/0 drop\n" + std::string(kRule));
    const ToolRun result = run_tool("/nonexistent", {"rule", "check", file});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.out, file +
                              ": 3 lines, 2 rules, 9 after port ranges became prefixes\n"
                              "  needs an ACL with room for 9 rules: priority 0-8\n"
                              "  classic format: 2 IPv4, 0 IPv6, 0 MAC, 0 raw; 0 forward, 0 "
                              "counters\n"
                              "  verdicts: 0 permit, 1 drop, 0 trap, 1 left to --verdict\n"
                              "  note: 1 rule had address bits beyond the prefix, which were "
                              "cleared (first: line 2)\n");
}

TEST(RuleCheckWord, CountsTheRoomThatPrioritiesNeed) {
    AclStub stub;
    const std::string file = stub.file(
        "priority 90 drop ip4 from any to any count 4\nforward mc 1 mac from any to any count 4\n");
    const ToolRun result = run_tool("", {"-j", "rule", "check", file, "--first-priority", "10"});
    const json answer = json::parse(result.out);
    EXPECT_EQ(answer.at("room"), 102);
    EXPECT_EQ(answer.at("first_offset"), 100);
    EXPECT_EQ(answer.at("last_offset"), 101);
    EXPECT_EQ(answer.at("format"), "policy");
    EXPECT_EQ(answer.at("ip4"), 1);
    EXPECT_EQ(answer.at("mac"), 1);
    EXPECT_EQ(answer.at("forwarding"), 1);
    EXPECT_EQ(answer.at("counters"), json::array({4}));
}

TEST(RuleCheckWord, FindsTheSamplesGood) {
    for (const auto &[name, least] : {std::pair{"campus-edge.rules", 300},
                                      {"branch-office.policy", 15},
                                      {"branch-office.json", 15}}) {
        const ToolRun result =
            run_tool("", {"--json", "rule", "check", std::string(ZV_TEST_SAMPLES_DIR "/") + name});
        EXPECT_EQ(result.exit_code, 0) << result.err;
        const json answer = json::parse(result.out);
        EXPECT_GE(answer.at("rules"), least);
        EXPECT_EQ(answer.at("no_verdict"), 0);
    }
}

TEST(RuleCheckWord, ReadsTheFormatItIsTold) {
    AclStub stub;
    const std::string file = stub.file(kRule);
    EXPECT_EQ(run_tool("", {"rule", "check", file, "--format", "classic"}).exit_code, 0);
    const ToolRun other = run_tool("", {"rule", "check", file, "--format", "policy"});
    EXPECT_EQ(other.exit_code, 2);
    expect_part(other.err, ":1:1: expected an action: permit, drop, trap or forward\n");
    const ToolRun unknown = run_tool("", {"rule", "check", file, "--format", "yaml"});
    EXPECT_EQ(unknown.exit_code, 1);
    expect_part(unknown.err, "'yaml' is no format: auto, classic, policy, json");
}

TEST(RuleLoadWord, SendsNothingOfABadFileAndShowsTheLine) {
    AclStub stub;
    const std::string file = stub.file(std::string(kRule) + "@10.0.0.0/8 oops\n");
    const ToolRun result = stub.run({"rule", "load", file, "--acl", "1"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_EQ(result.err, "aclrmctl: " + file +
                              ":2:13: expected an octet of an address\n"
                              "    @10.0.0.0/8 oops\n"
                              "                ^\n");
    const json answer = json::parse(stub.run({"-j", "rule", "load", file, "--acl", "1"}).out);
    EXPECT_EQ(answer.at("exit"), 2);
    EXPECT_EQ(answer.at("input"), (json{{"file", file},
                                        {"line", 2},
                                        {"column", 13},
                                        {"path", ""},
                                        {"message", "expected an octet of an address"},
                                        {"text", "@10.0.0.0/8 oops"}}));
    EXPECT_FALSE(stub.was_asked());
}

TEST(RuleLoadWord, PointsIntoJsonByPlaceAndPointer) {
    AclStub stub;
    const std::string file =
        stub.file("{\"rules\": [\n  {\"match\": {\"src\": \"10.0.0.0/33\"}}]}\n");
    const ToolRun result = stub.run({"rule", "load", file, "--acl", "1"});
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_EQ(result.err, "aclrmctl: " + file +
                              ":2:31: /rules/0/match/src: a prefix length is at most 32\n"
                              "      {\"match\": {\"src\": \"10.0.0.0/33\"}}]}\n" +
                              std::string(34, ' ') + "^\n");
    const json answer = json::parse(stub.run({"-j", "rule", "load", file, "--acl", "1"}).out);
    EXPECT_EQ(answer.at("input").at("path"), "/rules/0/match/src");
}

TEST(RuleLoadWord, SaysThatAFileIsMissingOrWithoutRules) {
    AclStub stub;
    const ToolRun missing = stub.run({"rule", "load", "/nonexistent", "--acl", "1"});
    EXPECT_EQ(missing.exit_code, 2);
    EXPECT_EQ(missing.err, "aclrmctl: /nonexistent: No such file or directory\n");
    const ToolRun without = stub.run({"rule", "load", stub.file("# nothing\n"), "--acl", "1"});
    EXPECT_EQ(without.exit_code, 2);
    expect_part(without.err, "there is no rule in the file");
    const json object = json::parse(run_tool("", {"-j", "rule", "check", "/nonexistent"}).out);
    EXPECT_EQ(object.at("input"), (json{{"file", "/nonexistent"},
                                        {"line", 0},
                                        {"column", 0},
                                        {"path", ""},
                                        {"message", "No such file or directory"},
                                        {"text", ""}}));
    EXPECT_EQ(json::parse(run_tool("", {"-j", "rule", "check", stub.file("")}).out)
                  .at("input")
                  .at("message"),
              "there is no rule in the file");
    EXPECT_FALSE(stub.was_asked());
}

TEST(RuleLoadWord, LeavesRoomForTheLastPriority) {
    AclStub stub;
    const std::string file = stub.file(rules(2));
    EXPECT_EQ(
        stub.run({"rule", "load", file, "--acl", "1", "--first-priority", "4294967294"}).exit_code,
        0);
    EXPECT_EQ(
        stub.run({"rule", "load", file, "--acl", "1", "--first-priority", "4294967295"}).exit_code,
        1);
}

TEST(RuleLoadWord, SendsTheRulesInBatchesInFileOrder) {
    AclStub stub;
    const std::string file = stub.file(rules(45));
    const ToolRun result = stub.run({"rule", "load", file, "--acl", "6", "--first-priority", "100",
                                     "--verdict", "drop", "--forward-port", "65540"});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.err, "") << "no progress where no terminal is";
    expect_part(result.out, "45 rules became 45 in ACL 6, priority 100-144\n  3 commands in ");
    expect_part(result.out, " rules/second\n");
    const auto writes = stub.writes();
    ASSERT_EQ(writes.size(), 3u);
    uint32_t next = 100;
    for (const auto &params : writes) {
        EXPECT_EQ(params.cmd, 6u);
        EXPECT_EQ(params.acl_id, 6u);
        EXPECT_EQ(params.rules_num, next == 140 ? 5u : 20u);
        for (uint32_t i = 0; i < params.rules_num; i++) {
            EXPECT_EQ(params.rules[i].priority, next++);
            EXPECT_EQ(params.rules[i].action[12], 1);
            EXPECT_EQ(params.rules[i].forwarding.log_port, 65540u);
        }
    }
    EXPECT_EQ(next, 145u);
}

TEST(RuleLoadWord, GivesRulesTheirOwnTargetsBeforeThoseOfTheCommandLine) {
    AclStub stub;
    const std::string file =
        stub.file("forward port 7 ip4 from any to any\ndrop ip4 from any to any count 3\n");
    const ToolRun result = stub.run({"rule", "load", file, "--acl", "1", "--counter", "9",
                                     "--forward-mc", "5", "--verdict", "trap"});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    const auto writes = stub.writes();
    ASSERT_EQ(writes.size(), 1u);
    const auto &sent = writes[0].rules;
    EXPECT_EQ(sent[0].forwarding.type, 1u);
    EXPECT_EQ(sent[0].forwarding.log_port, 7u);
    EXPECT_EQ(sent[0].forwarding.counter_id, 9u);
    EXPECT_EQ(sent[1].forwarding.type, 2u);
    EXPECT_EQ(sent[1].forwarding.mc_group_id, 5u);
    EXPECT_EQ(sent[1].forwarding.counter_id, 3u);
    EXPECT_EQ(sent[1].action[12], 1);
}

TEST(RuleLoadWord, TellsOfARefusedBatchWhatIsInTheSwitchAndWhatIsNot) {
    AclStub stub([](StubReply good, uint32_t priority) {
        good.status = priority == 20 ? uint32_t{ZV_ACL_RM_STATUS_NO_HW_RESOURCES} : 0;
        return good;
    });
    const std::string file = stub.file("# title\n" + rules(60));
    const ToolRun result =
        stub.run({"rule", "load", file, "--acl", "6", "--batch", "10", "--in-flight", "1"});
    EXPECT_EQ(result.exit_code, 8);
    expect_part(result.err,
                "aclrmctl: loading " + file + " lines 22-31 (priority 20-29 of ACL 6): refused\n");
    expect_part(result.err,
                "  20 of 60 rules are in the switch\n"
                "  in the switch: 20 rules, priority 0-19 (lines 2-21)\n"
                "  not in the switch: 10 rules, priority 20-29 (lines 22-31)\n"
                "  not sent: 30 rules, priority 30-59 (lines 32-61)\n");
    EXPECT_EQ(stub.writes().size(), 3u);
}

TEST(RuleLoadWord, ReadsBackWhatWasAcknowledged) {
    AclStub stub([](StubReply good, uint32_t priority) {
        good.status = priority == 0 ? uint32_t{ZV_ACL_RM_STATUS_NO_HW_RESOURCES} : 0;
        return good;
    });
    const std::string file = stub.file(rules(400));
    const ToolRun result = stub.run({"-j", "rule", "load", file, "--acl", "6", "--in-flight", "4"});
    EXPECT_EQ(result.exit_code, 8);
    const json runs = json::parse(result.out).at("load").at("runs");
    ASSERT_EQ(runs.size(), 3u);
    EXPECT_EQ(runs[0].at("state"), "not_in_switch");
    EXPECT_EQ(runs[1], (json{{"state", "in_switch"},
                             {"rules", 60},
                             {"first_priority", 20},
                             {"last_priority", 79},
                             {"first_line", 21},
                             {"last_line", 80}}));
    EXPECT_EQ(runs[2].at("state"), "not_sent");
    EXPECT_EQ(stub.writes().size(), 4u);
}

TEST(RuleLoadWord, SaysWhatIsUnknownAfterATimeout) {
    AclStub stub([](StubReply good, uint32_t priority) {
        good.silent = priority >= 40;
        return good;
    });
    const std::string file = stub.file(rules(400));
    const ToolRun result = stub.run(
        {"rule", "load", file, "--acl", "6", "--in-flight", "4", "--timeout", "300", "--undo"});
    EXPECT_EQ(result.exit_code, 8) << "what was acknowledged is in the switch";
    expect_part(result.err,
                "  40 of 400 rules are in the switch, of 80 it is unknown\n"
                "  in the switch: 40 rules, priority 0-39 (lines 1-40)\n"
                "  unknown, the daemon did not answer: 80 rules, priority 40-119 (lines "
                "41-120)\n"
                "  not sent: 280 rules, priority 120-399 (lines 121-400)\n");
    expect_part(result.err, "nothing was taken back: the daemon does not answer\n");
}

TEST(RuleLoadWord, FoldsTheCommandsThatAreRefusedBehindTheFirst) {
    AclStub stub([](StubReply good, uint32_t priority) {
        const bool is_refused = priority < 40 || priority >= 60;
        good.status = is_refused ? uint32_t{ZV_ACL_RM_STATUS_NO_HW_RESOURCES} : 0;
        return good;
    });
    const std::string file = stub.file(rules(400));
    const ToolRun result = stub.run({"rule", "load", file, "--acl", "6", "--in-flight", "5"});
    EXPECT_EQ(result.exit_code, 8);
    expect_part(result.err,
                "  not sent: 300 rules, priority 100-399 (lines 101-400)\n"
                "  also refused: 3 commands under way behind it, lines 21-40, 61-100\n"
                "  hint: ");
    EXPECT_EQ(result.err.find("also: "), std::string::npos) << result.err;
}

/* The place that the rules are at in a command says nothing to who has a file. */
TEST(RuleLoadWord, ExplainsARefusalByTheFilesLines) {
    AclStub stub([](StubReply good, uint32_t priority) {
        good.status = priority == 20 ? uint32_t{ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE} : 0;
        return good;
    });
    const std::string file = stub.file("# title\n" + rules(30));
    const ToolRun result = stub.run({"rule", "load", file, "--acl", "6", "--in-flight", "1"});
    EXPECT_EQ(result.exit_code, 8);
    EXPECT_EQ(result.err.find("of the request"), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find("belongs to"), std::string::npos) << result.err;
}

TEST(RuleLoadWord, StopsWhereItIsToldToAndReports) {
    for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
        AclStub stub([signal_number](StubReply good, uint32_t priority) {
            if (priority == 40) {
                signal_child(signal_number);
            }
            return good;
        });
        const std::string file = stub.file(rules(400));
        const ToolRun result = stub.run({"rule", "load", file, "--acl", "6", "--in-flight", "1"});
        EXPECT_EQ(result.exit_code, 8);
        expect_part(result.err, "aclrmctl: loading " + file + " was stopped by SIG");
        expect_part(result.err,
                    "\n  60 of 400 rules are in the switch\n"
                    "  in the switch: 60 rules, priority 0-59 (lines 1-60)\n"
                    "  not sent: 340 rules, priority 60-399 (lines 61-400)\n");
        EXPECT_EQ(stub.writes().size(), 3u);
    }
}

/* One answer that does not come is enough to be told so, whichever it is. */
TEST(RuleWords, EndWithTheExitCodeOfATimeoutWhereTheDumpDoesNotCome) {
    StubDaemon daemon([](const StubRequest &request) {
        StubReply reply = echo_reply(request);
        reply.silent = request.command == ZV_ACL_RM_API_INT_CMD_DUMP;
        return reply;
    });
    const std::string file = daemon.directory() + "/test.rules";
    std::ofstream(file) << kRule;
    for (const Words &words :
         {Words{"rule", "get", "--acl", "6", "--all"}, Words{"rule", "load", file, "--acl", "6"}}) {
        Words all{"--socket", daemon.socket_path(), "--timeout", "100"};
        all.insert(all.end(), words.begin(), words.end());
        const ToolRun result = run_tool("", all);
        EXPECT_EQ(result.exit_code, 5) << result.err;
        EXPECT_EQ(result.out, "");
    }
}

TEST(RuleCheckWord, SkipsAByteOrderMark) {
    AclStub stub;
    for (const std::string &text :
         {std::string(kRule), std::string("drop ip4 from any to any\n"),
          std::string("{\"rules\": [{\"match\": {\"family\": \"ip4\"}}]}")}) {
        const ToolRun good = run_tool("", {"rule", "check", stub.file("\xEF\xBB\xBF" + text)});
        EXPECT_EQ(good.exit_code, 0) << good.err;
    }
    const ToolRun bad = run_tool("", {"rule", "check", stub.file("\xEF\xBB\xBFpremit\n")});
    expect_part(bad.err,
                ":1:1: expected an action: permit, drop, trap or forward\n"
                "    premit\n"
                "    ^\n");
}

TEST(RuleCheckWord, BreaksALongErrorOnATerminalBehindItsPlace) {
    AclStub stub;
    const std::string file = stub.file("{\"rules\": [{\"match\": {\"src\": \"10.0.0.0/33\"}}]}");
    const std::string picture = "    {\"rules\": [{\"match\": {\"src\": \"10.0.0.0/33\"}}]}\n" +
                                std::string(43, ' ') + "^\n";
    const std::string message = "/rules/0/match/src: a prefix length is at most 32\n";
    EXPECT_EQ(run_tool("", {"rule", "check", file}).err,
              "aclrmctl: " + file + ":1:40: " + message + picture);
    setenv("COLUMNS", "80", 1);
    const ToolRun narrow = run_tool("", {"rule", "check", file});
    unsetenv("COLUMNS");
    EXPECT_EQ(narrow.err, "aclrmctl: " + file + ":1:40:\n  " + message + picture);
}

TEST(RuleLoadWord, GetsThroughWithAnyWindow) {
    for (const char *in_flight : {"1", "2", "31", "32"}) {
        AclStub stub;
        const std::string file = stub.file(rules(1000));
        const ToolRun result =
            stub.run({"rule", "load", file, "--acl", "6", "--in-flight", in_flight});
        EXPECT_EQ(result.exit_code, 0) << result.err;
        EXPECT_EQ(stub.writes().size(), 50u);
    }
}

TEST(RuleLoadWord, ShowsHowFarItIsOnATerminalAndCleansUp) {
    AclStub stub;
    const std::string file = stub.file(rules(400));
    const Words load{"rule", "load", file, "--acl", "6", "--in-flight", "1"};
    const ToolRun run = stub.run_on_terminal(60, load);
    EXPECT_EQ(run.exit_code, 0) << run.err;
    const std::string bar = "\r200 of 400 rules  50% [" + std::string(17, '#');
    expect_part(run.err, "\r20 of 400 rules  5% [#");
    expect_part(run.err, bar + std::string(18, ' ') + "]\033[K");
    EXPECT_EQ(run.err.substr(run.err.size() - 4), "\r\033[K") << "the line is taken away";
    for (const char *quiet : {"-q", "-j"}) {
        AclStub other;
        Words words = load;
        words[2] = other.file(rules(400));
        words.emplace_back(quiet);
        EXPECT_EQ(other.run_on_terminal(60, words).err, "") << quiet;
    }
}

TEST(RuleLoadWord, TakesTheBarAwayBeforeItReports) {
    AclStub stub([](StubReply good, uint32_t priority) {
        return priority == 40 ? StubReply{.status = ZV_ACL_RM_STATUS_ERROR} : good;
    });
    const std::string file = stub.file(rules(400));
    const ToolRun run =
        stub.run_on_terminal(60, {"rule", "load", file, "--acl", "6", "--in-flight", "1"});
    EXPECT_EQ(run.exit_code, 8);
    expect_part(run.err, "[K\r\033[Kaclrmctl: loading ");
}

}  // namespace
