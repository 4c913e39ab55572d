/* The tool's process against a stub of the switch's control socket. */
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "rule_encode.h"
#include "tests/tools/full_listener.h"
#include "tests/tools/json_answer.h"
#include "tests/tools/run_tool.h"
#include "tests/tools/stub_switch.h"
#include "tests/tools/stub_words.h"

namespace {

using nlohmann::json;
using zv_test::expect_part;
using zv_test::run_tool;
using zv_test::StubSwitch;
using zv_test::ToolRun;

json switch_rule(uint32_t offset, int activity, const aclrmctl::KeyBytes &key,
                 const aclrmctl::KeyBytes &mask, int verdict) {
    std::string action(112, '0');
    action[25] = static_cast<char>('0' + verdict);
    return {{"offset", offset},   {"valid", 1},
            {"key_type", 0},      {"key", aclrmctl::key_to_hex(key)},
            {"mask_key_type", 0}, {"mask", aclrmctl::key_to_hex(mask)},
            {"action", action},   {"activity", activity}};
}

json sample_state() {
    aclrmctl::KeyBytes key = aclrmctl::encode_packet({0x0A000000, 0, 17, 0, 53, 0});
    aclrmctl::KeyBytes mask = aclrmctl::encode_packet({0xFF000000, 0, 255, 0, 65535, 0});
    return {
        {"ok", true},
        {"regions",
         {{{"region_id", 4},
           {"region_size", 512},
           {"key_type", 0},
           {"action_type", 1},
           {"rules", {switch_rule(3, 1, key, mask, 1), switch_rule(12, 0, {}, {}, 0)}}}}},
        {"acls", {{{"acl_id", 7}, {"acl_type", 2}, {"direction", 0}, {"region_id", 4}}}},
        {"groups", {{{"group_id", 9}, {"direction", 0}, {"acl_ids", {7, 8}}}}},
        {"bindings", {{{"log_port", 65537}, {"group_id", 9}}, {{"rif_id", 5}, {"group_id", 9}}}},
        {"pbs", {{{"pbs_id", 1}, {"switch_id", 0}, {"entry_type", 2}, {"ports", {65540, 65541}}}}},
        {"counters", {{{"counter_id", 3}, {"counter_type", 1}, {"values", {11, 2200}}}}},
        {"ports", json::array()}};
}

std::string answer_packet(const json &question) {
    if (question.at("cmd") == "state") {
        return sample_state().dump() + "\n";
    }
    return json{{"ok", true},
                {"matched", true},
                {"acl_id", 7},
                {"offset", 3},
                {"verdict", 1},
                {"counter_id", 3},
                {"ports", {65540, 65541}}}
               .dump() +
           "\n";
}

TEST(SwitchPacket, AsksWithTheWholeKey) {
    const StubSwitch sim(answer_packet);
    sim.run({"switch", "packet", "--port", "65537", "--src", "10.0.0.1", "--dst", "192.0.2.53",
             "--proto", "udp", "--sport", "1024", "--dport", "53", "--length", "99"});
    const json asked = sim.questions().at(0);
    EXPECT_EQ(asked, (json{{"cmd", "packet"},
                           {"log_port", 65537},
                           {"direction", 0},
                           {"key_type", 0},
                           {"key", "0a000001c000023511000400003500" + std::string(226, '0')},
                           {"length", 99}}));
}

TEST(SwitchPacket, ShowsTheRuleThatWasHit) {
    const StubSwitch sim(answer_packet);
    const ToolRun result = sim.run({"switch", "packet", "--port", "65537", "--src", "10.0.0.1",
                                    "--dst", "192.0.2.53", "--proto", "udp", "--dport", "53"});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.out,
              "packet  udp 10.0.0.1:0 > 192.0.2.53:53\n"
              "at      port 65537, ingress, 64 bytes\n"
              "hit     ACL 7, rule at offset 3: udp 10.0.0.0/8 > any port 53\n"
              "verdict drop, counted by 3, forwarded to ports 65540-65541\n");
}

TEST(SwitchPacket, SaysThatNoRuleMatched) {
    const StubSwitch sim([](const json &) { return "{\"ok\":true,\"matched\":false}\n"; });
    const ToolRun result = sim.run({"switch", "packet", "--rif", "5", "--direction", "egress"});
    EXPECT_EQ(result.out,
              "packet  protocol 0 0.0.0.0 > 0.0.0.0\n"
              "at      router interface 5, egress, 64 bytes\n"
              "verdict permit (no rule matched)\n");
    EXPECT_EQ(sim.questions().size(), 1u);
    EXPECT_EQ(sim.questions()[0].at("rif_id"), 5);
}

TEST(SwitchPacket, IsTheSwitchesObjectAndTheRuleInJson) {
    const StubSwitch sim(answer_packet);
    const json answer = json::parse(sim.run({"switch", "packet", "--port", "1", "--json"}).out);
    EXPECT_EQ(answer.at("offset"), 3);
    EXPECT_EQ(answer.at("rule"), "udp 10.0.0.0/8 > any port 53");
    EXPECT_EQ(answer.at("verdict"), 1);
    EXPECT_EQ(answer.at("verdict_name"), "drop");
    EXPECT_EQ(answer.at("port"), 1);
    EXPECT_FALSE(answer.contains("rif"));
    EXPECT_EQ(answer.at("direction"), 0);
    EXPECT_EQ(answer.at("direction_name"), "ingress");
    EXPECT_EQ(answer.at("length"), 64);
}

TEST(SwitchPacket, HasAVerdictInJsonWhereNoRuleMatched) {
    const StubSwitch sim([](const json &) { return "{\"ok\":true,\"matched\":false}\n"; });
    const json answer =
        json::parse(sim.run({"switch", "packet", "--rif", "5", "--direction", "egress", "-j"}).out);
    EXPECT_EQ(answer.at("matched"), false);
    EXPECT_EQ(answer.at("verdict"), 0);
    EXPECT_EQ(answer.at("verdict_name"), "permit");
    EXPECT_EQ(answer.at("rif"), 5);
    EXPECT_EQ(answer.at("direction"), 1);
    EXPECT_EQ(answer.at("direction_name"), "egress");
}

TEST(SwitchPacket, HasAWordBesideEveryBareNumber) {
    const StubSwitch sim([](const json &) { return "{\"ok\":true,\"matched\":false}\n"; });
    EXPECT_EQ(sim.run({"-n", "switch", "packet", "--port", "65537"}).out,
              "packet  protocol 0 0.0.0.0 > 0.0.0.0\n"
              "at      port 65537, direction 0, 64 bytes\n"
              "verdict 0 (no rule matched)\n");
}

TEST(SwitchState, IsTablesWithEveryKindOfObject) {
    const StubSwitch sim([](const json &) { return sample_state().dump() + "\n"; });
    const ToolRun result = sim.run({"switch", "state"});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.out,
              "Regions\n"
              "  region  size  rules  hit  key type  action type\n"
              "       4   512      2    1         0            1\n"
              "ACLs\n"
              "  ACL  region  direction  type\n"
              "    7       4  ingress       2\n"
              "Groups\n"
              "  group  direction  ACLs in order\n"
              "      9  ingress    7-8\n"
              "Bindings\n"
              "  bound to          number  group\n"
              "  logical port       65537      9\n"
              "  router interface       5      9\n"
              "Forwarding entries\n"
              "  PBS  takes  ports\n"
              "    1  ports  65540-65541\n"
              "Flow counters\n"
              "  counter  type     packets  bytes\n"
              "        3  packets       11   2200\n");
}

TEST(SwitchState, ShowsTheRulesThatWereHitOrAll) {
    const StubSwitch sim([](const json &) { return sample_state().dump() + "\n"; });
    const std::string active = sim.run({"switch", "state", "--active"}).out;
    expect_part(active,
                "Rules that were hit\n"
                "  region  offset  hit  verdict  rule\n"
                "       4       3  yes  drop     udp 10.0.0.0/8 > any port 53\n");
    EXPECT_EQ(active.find("ip any"), std::string::npos);
    expect_part(sim.run({"switch", "state", "--rules"}).out,
                "       4      12  no   permit   ip4 any > any\n");
}

/* Any client may have written any number as a verdict. */
TEST(SwitchState, ShowsAVerdictWithoutANameByItsNumber) {
    json state = sample_state();
    state["regions"][0]["rules"][0]["action"].get_ref<std::string &>().replace(24, 8, "11000000");
    state["regions"][0]["rules"][1]["action"] = "00";
    const StubSwitch sim([&state](const json &) { return state.dump() + "\n"; });
    expect_part(sim.run({"switch", "state", "--rules"}).out,
                "  region  offset  hit  verdict     rule\n"
                "       4       3  yes  verdict 17  udp 10.0.0.0/8 > any port 53\n"
                "       4      12  no   -           ip4 any > any\n");
}

TEST(SwitchState, TakesAnAnswerOfMegabytes) {
    json state = sample_state();
    const json rule = state["regions"][0]["rules"][0];
    for (int i = 0; i < 6400; i++) {
        state["regions"][0]["rules"].push_back(rule);
    }
    const StubSwitch sim([&state](const json &) { return state.dump() + "\n"; });
    const ToolRun result = sim.run({"switch", "state"});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    expect_part(result.out, "       4   512   6402  6401 ");
}

TEST(SwitchUsage, IsATableWithShares) {
    const StubSwitch sim([](const json &) {
        return "{\"ok\":true,\"usage\":{\"acls\":{\"used\":2,\"capacity\":512},"
               "\"tcam_entries\":{\"used\":512,\"capacity\":65536}}}\n";
    });
    EXPECT_EQ(sim.run({"switch", "usage"}).out,
              "  table         used  capacity   full\n"
              "  acls             2       512  0.4 %\n"
              "  tcam_entries   512     65536  0.8 %\n");
    EXPECT_EQ(sim.questions().at(0), (json{{"cmd", "usage"}}));
}

TEST(SwitchFaults, SetsAndClears) {
    const StubSwitch sim([](const json &question) {
        return json{{"ok", true}, {"armed", question.at("set").size()}}.dump() + "\n";
    });
    EXPECT_EQ(sim.run({"switch", "faults", "--set", "[{\"call\":\"*\",\"status\":5}]"}).out,
              "1 fault armed.\n");
    EXPECT_EQ(sim.run({"switch", "faults", "--clear"}).out, "0 faults armed.\n");
    EXPECT_EQ(sim.questions().at(0).at("set"), (json::parse("[{\"call\":\"*\",\"status\":5}]")));
    EXPECT_EQ(sim.questions().at(1).at("set"), json::array());
}

/* As every other wrong value: pointed at, and nothing is sent. */
TEST(SwitchLists, ThatAreNoneArePointedAt) {
    const StubSwitch sim([](const json &) { return "{\"ok\":true}\n"; });
    struct {
        const char *command;
        std::string value;
        std::string members;
    } const rows[] = {{"faults", "foo", "{call, nth, status, times, late}"},
                      {"faults", "", "{call, nth, status, times, late}"},
                      {"faults", "[", "{call, nth, status, times, late}"},
                      {"ports", "{}", "{log_port, kind, name}"},
                      {"ports", "", "{log_port, kind, name}"}};
    for (const auto &row : rows) {
        const std::string error = "--set: '" + row.value + "' is no JSON list of " + row.members;
        const ToolRun text = sim.run({"switch", row.command, "--set", row.value});
        EXPECT_EQ(text.exit_code, 1);
        EXPECT_EQ(text.out, "");
        const std::string line =
            "aclrmctl --switch-socket " + sim.path() + " switch " + row.command + " --set ";
        EXPECT_EQ(text.err, "aclrmctl: " + error + "\n    " + line + row.value + "\n    " +
                                std::string(line.size(), ' ') +
                                std::string(std::max<size_t>(row.value.size(), 1), '^') +
                                "\n  hint: 'aclrmctl switch " + row.command +
                                " --help' tells more\n");
        const json answer =
            zv_test::own_members(sim.run({"-j", "switch", row.command, "--set", row.value}).out, 1);
        EXPECT_EQ(answer.at("error"), error);
        EXPECT_EQ(answer.at("argument"), (json{{"index", 7}, {"word", row.value}}));
    }
    EXPECT_EQ(sim.questions().size(), 0u);
}

TEST(SwitchFaults, TakeNoNameThatJsonDoesNotTake) {
    const StubSwitch sim([](const json &) { return "{\"ok\":true,\"armed\":1}\n"; });
    const ToolRun wrong = sim.run({"switch", "faults", "--call", "a\nb"});
    EXPECT_EQ(wrong.exit_code, 1);
    expect_part(wrong.err, "is no name of a call");
    EXPECT_EQ(sim.run({"switch", "faults", "--call", "a\"b\\"}).exit_code, 0);
    ASSERT_EQ(sim.questions().size(), 1u);
    EXPECT_EQ(sim.questions()[0].at("set").at(0).at("call"), "a\"b\\");
}

/* It is there, which a switch that is missing is not. */
TEST(BusySwitch, IsNotSaidToBeMissing) {
    const zv_test::FullListener full(SOCK_STREAM);
    const json answer = zv_test::own_members(
        run_tool("", {"--switch-socket", full.path(), "-j", "switch", "usage"}).out, 3);
    EXPECT_EQ(answer.at("error"),
              "the simulated switch at " + full.path() + " takes no connections now");
    EXPECT_EQ(answer.at("hint"), "it is very busy, or stopped: try again");
}

TEST(SwitchSocket, HandsARefusalOnWithStatusSix) {
    const StubSwitch sim([](const json &) { return "{\"ok\":false,\"error\":\"set[0].nth\"}\n"; });
    const ToolRun result = sim.run({"switch", "faults", "--clear"});
    EXPECT_EQ(result.exit_code, 6);
    EXPECT_EQ(result.err, "aclrmctl: switch command 'faults': the switch refused: set[0].nth\n");
}

/* Nothing is waited for: a time limit of an hour would outlast the test's own. */
TEST(SwitchSocket, IsNotWaitedForWhenItIsMissing) {
    const ToolRun result = run_tool("/nonexistent", {"--timeout", "3600000", "switch", "usage"});
    EXPECT_EQ(result.exit_code, 3);
    expect_part(result.err, "no simulated switch at /nonexistent/var/run/zv_switch.sock");
}

TEST(SwitchSocket, EndsAsAFailureWhenTheAnswerIsNone) {
    for (const char *answer : {"\n", "[]\n", "{\"ok\":1}\n", "{\n", "{}\n", "null\n", "\xff\n"}) {
        const StubSwitch sim([answer](const json &) { return answer; });
        const ToolRun result = sim.run({"switch", "usage"});
        EXPECT_EQ(result.exit_code, 7) << answer;
        expect_part(result.err, "the answer is not the switch's");
    }
}

TEST(SwitchSocket, EndsAsAFailureWhenTheAnswerHasAnotherShape) {
    for (const char *answer : {"{\"ok\":true}\n", "{\"ok\":true,\"usage\":{\"a\":1}}\n"}) {
        const StubSwitch sim([answer](const json &) { return answer; });
        EXPECT_EQ(sim.run({"switch", "usage"}).exit_code, 7) << answer;
        EXPECT_EQ(sim.run({"switch", "state"}).exit_code, 7) << answer;
    }
}

TEST(SwitchSocket, EndsWithStatusThreeWhenTheSwitchHangsUp) {
    const StubSwitch sim([](const json &) { return ""; });
    EXPECT_EQ(sim.run({"switch", "usage"}).exit_code, 3);
}

}  // namespace
