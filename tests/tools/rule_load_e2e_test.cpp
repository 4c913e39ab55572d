/* Rule files on the real daemon: what a load checks first, and what is read back. */
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/test_client.h"
#include "tests/tools/tool_session.h"

namespace {

using nlohmann::json;
using zv_test::ToolRun;
using Session = zv_test::ToolSession;
using Words = std::vector<std::string>;

constexpr const char *kBranch = ZV_TEST_SAMPLES_DIR "/branch-office.policy";
constexpr const char *kBranchJson = ZV_TEST_SAMPLES_DIR "/branch-office.json";

void begin(Session &session, uint32_t size) {
    session.text({"open", "--owner", "open-flow"});
    session.text({"init"});
    session.text({"acl", "create", "--size", std::to_string(size)});
}

std::string file_of(Session &session, const std::string &name, const std::string &text) {
    const std::string path = session.daemon().root().file(name);
    zv_test::write_file(path, text);
    return path;
}

std::string read_back(Session &session, const std::string &acl, const std::string &format) {
    return session.text({"rule", "get", "--acl", acl, "--all", "--format", format});
}

std::string without_title(const std::string &text) {
    return text.substr(text.find('\n') + 1);
}

TEST(RuleFileRoundTrip, GivesTheSameRulesInEveryFormat) {
    Session session;
    begin(session, 64);
    session.text({"counter", "create", "--type", "packets"});
    session.text({"rule", "load", kBranch, "--acl", "1"});
    const std::string policy = read_back(session, "1", "policy");
    const std::string objects = read_back(session, "1", "json");
    int acl = 2;
    for (const std::string &file :
         {std::string(kBranchJson), file_of(session, "saved.policy", policy),
          file_of(session, "saved.json", objects)}) {
        session.text({"acl", "create", "--size", "64"});
        session.text({"rule", "load", file, "--acl", std::to_string(acl)});
        EXPECT_EQ(without_title(read_back(session, std::to_string(acl), "policy")),
                  without_title(policy))
            << file;
        acl++;
    }
    /* What is read back is also what the switch matches on, to the byte. */
    const json regions = session.daemon().control().state().at("regions");
    ASSERT_EQ(regions.size(), 4u);
    for (const json &region : regions) {
        ASSERT_EQ(region.at("rules").size(), 28u);
        for (size_t i = 0; i < 28; i++) {
            const json &rule = region.at("rules")[i];
            const json &first = regions[0].at("rules")[i];
            for (const char *member : {"offset", "valid", "key_type", "key", "mask"}) {
                EXPECT_EQ(rule.at(member), first.at(member));
            }
            /* Before the verdict stand ids of forwarding entries, of which each batch has its own.
             */
            EXPECT_EQ(rule.at("action").get<std::string>().substr(24),
                      first.at("action").get<std::string>().substr(24));
        }
    }
}

TEST(RuleFileRoundTrip, OfTheClassicSampleAsPolicyIsTheSame) {
    Session session;
    session.load_sample();
    const std::string size = std::to_string(session.rules_num());
    session.text({"acl", "create", "--size", size});
    const std::string saved = file_of(session, "saved.policy", read_back(session, "1", "policy"));
    session.text({"rule", "load", saved, "--acl", "2"});
    EXPECT_EQ(without_title(read_back(session, "2", "policy")),
              without_title(zv_test::read_file(saved)));
}

/* Far more than a dump holds; the offsets in between are free. */
TEST(RuleFileRoundTrip, OfAsManyRulesAsTheDaemonTakesIsTheSame) {
    Session session;
    begin(session, 6500);
    std::string many;
    for (int i = 0; i < 6400; i++) {
        many += (i == 3200 ? "priority 3290 drop" : "drop") + std::string(" ip from 10.0.") +
                std::to_string(i / 250) + "." + std::to_string(i % 250) + " to any\n";
    }
    session.text({"rule", "load", file_of(session, "big.policy", many), "--acl", "1"});
    const std::string saved = read_back(session, "1", "policy");
    EXPECT_EQ(std::count(saved.begin(), saved.end(), '\n'), 6401);
    session.text({"acl", "destroy", "--acl", "1"});
    const std::string acl = std::to_string(
        session.object({"acl", "create", "--size", "6500"}).at("acl_id").get<uint32_t>());
    session.text({"rule", "load", file_of(session, "saved.policy", saved), "--acl", acl});
    EXPECT_EQ(without_title(read_back(session, acl, "policy")), without_title(saved));
    session.daemon().allow_error_lines();
}

TEST(RuleLoadChecks, ThatTheDaemonHasRoomForTheRulesOfAllAcls) {
    Session session;
    begin(session, 6400);
    session.text({"acl", "create", "--size", "8"});
    std::string many;
    for (int i = 0; i < 6398; i++) {
        many += "drop ip4 from any to any\n";
    }
    session.text({"rule", "load", file_of(session, "big.policy", many), "--acl", "1"});
    const std::string file = file_of(session, "f.policy",
                                     "drop ip4 from any to any\ndrop ip6 from any to any\n"
                                     "drop icmp from any to any\n");
    const ToolRun run = session.run({"rule", "load", file, "--acl", "2"});
    EXPECT_EQ(run.exit_code, 4);
    EXPECT_EQ(run.err, "aclrmctl: " + file +
                           ":3:1: the daemon has room for 2 rules more, the file has 3\n"
                           "    drop icmp from any to any\n"
                           "    ^\n"
                           "  it holds 6398 rules of at most 6400, those of all ACLs together\n"
                           "  nothing was sent\n"
                           "  hint: 'aclrmctl show rules' lists them, 'aclrmctl rule del' makes "
                           "room\n");
    EXPECT_EQ(session.run({"rule", "get", "--acl", "2", "0"}).exit_code, 4);
    session.daemon().allow_error_lines();
}

TEST(RuleFileRoundTrip, ShowsARuleThatIsNotValidAsAComment) {
    Session session;
    begin(session, 8);
    zv_test::TestClient client(session.daemon(), ZV_ACL_RM_OWNER_OPEN_FLOW, 1);
    acl_rm_rule rule = zv_test::match_byte(zv_test::make_rule(3, 3), 0, 0x45);
    rule.valid = 0;
    session.text({"rule", "add", "--acl", "1", "--priority", "0", "--verdict", "drop", "--handle",
                  std::to_string(client.handle())});
    ASSERT_EQ(client.write_rules(1, {rule}), 0u);
    EXPECT_EQ(read_back(session, "1", "policy"),
              "# ACL 1\npriority 0 drop ip4 from any to any\n"
              "# not valid: priority 3 permit key 45:ff type 3\n");
    EXPECT_EQ(read_back(session, "1", "json"),
              "{\"rules\": [\n  {\"priority\": 0, \"action\": \"drop\", \"match\": {\"family\": "
              "\"ip4\"}}\n]}\n");
}

TEST(RuleLoad, PutsEachKindWhereThePacketsOfItsKeyTypeAreMatched) {
    Session session;
    begin(session, 64);
    session.text({"counter", "create", "--type", "packets"});
    session.text({"rule", "load", kBranch, "--acl", "1"});
    session.text({"bind", "port", "--acl", "1", "65537"});
    auto &control = session.daemon().control();
    const auto offset = [&](uint32_t key_type, const std::string &key) {
        return control.packet("log_port", 65537, 0, key_type, key).value("offset", -1);
    };
    EXPECT_EQ(offset(0,
                     "0a140101"
                     "08080808"
                     "59"),
              0)
        << "protocol 89 from 10.20.0.0/16";
    EXPECT_EQ(offset(1, "fe80" + std::string(28, '0') + std::string(32, '0') + "3a"), 1);
    EXPECT_EQ(offset(2,
                     "01000ccccccc"
                     "020000000001"),
              23);
    EXPECT_EQ(offset(2,
                     "020000000002"
                     "020000000001"
                     "0390"),
              24)
        << "VLAN 912";
    EXPECT_EQ(offset(3, "45ff"), 25);
    EXPECT_EQ(offset(0,
                     "08080808"
                     "08080808"
                     "2f"),
              26);
    EXPECT_EQ(offset(1, "20010db9"), 27);
}

struct Refusal {
    Session session;

    void expect(const Words &words, const std::string &said, int exit_code) {
        const size_t mark = session.daemon().trace_mark();
        const ToolRun run = session.run(words);
        EXPECT_EQ(run.exit_code, exit_code);
        EXPECT_EQ(run.err.substr(0, said.size()), said) << run.err;
        for (const json &call : session.daemon().trace_since(mark)) {
            EXPECT_NE(call.at("call"), "zv_api_acl_rules_set") << "nothing was to be sent";
        }
    }
};

TEST(RuleLoadChecks, ThatEveryOffsetIsFree) {
    Refusal refusal;
    begin(refusal.session, 64);
    refusal.session.text({"rule", "add", "--acl", "1", "--priority", "5"});
    refusal.session.text({"rule", "add", "--acl", "1", "--priority", "6"});
    const std::string file = file_of(refusal.session, "f.policy",
                                     "permit tcp from 10.0.0.1 to any port 1-14\n"
                                     "  drop ip4 from any to any\n");
    refusal.expect({"rule", "load", file, "--acl", "1"},
                   "aclrmctl: " + file +
                       ":1:1: offset 5 of ACL 1 holds a rule already\n"
                       "    permit tcp from 10.0.0.1 to any port 1-14\n"
                       "    ^\n"
                       "  taken of the offsets needed: 5-6\n"
                       "  nothing was sent\n",
                   4);
    refusal.session.text({"rule", "load", file, "--acl", "1", "--first-priority", "7"});
}

/* The dump that tells the rules is cut at 65535 characters; then each offset is asked for. */
TEST(RuleLoadChecks, ThatEveryOffsetIsFreeWhereTheDumpIsCut) {
    Refusal refusal;
    begin(refusal.session, 64);
    refusal.session.text({"acl", "create", "--size", "2000"});
    std::string many;
    for (int i = 0; i < 2000; i++) {
        many += "drop ip from 10.0." + std::to_string(i / 250) + "." + std::to_string(i % 250) +
                " to any\n";
    }
    const std::string big = file_of(refusal.session, "big.policy", many);
    refusal.session.text({"rule", "load", big, "--acl", "2"});
    refusal.session.text({"rule", "add", "--acl", "1", "--priority", "1"});
    const std::string file = file_of(refusal.session, "f.policy",
                                     "drop ip4 from any to any\ndrop ip6 from any to any\n");
    refusal.expect({"rule", "load", file, "--acl", "1"},
                   "aclrmctl: " + file + ":2:1: offset 1 of ACL 1 holds a rule already\n", 4);
    refusal.session.text({"rule", "load", file, "--acl", "1", "--first-priority", "2"});
    refusal.session.daemon().allow_error_lines();
}

TEST(RuleLoadChecks, ThatTheAclHasRoom) {
    Refusal refusal;
    begin(refusal.session, 5);
    const std::string file =
        file_of(refusal.session, "f.policy",
                "drop ip4 from any to any\npriority 4 drop ip6 from any to any\n"
                "drop icmp from any to any\n");
    refusal.expect({"rule", "load", file, "--acl", "1"},
                   "aclrmctl: " + file +
                       ":3:1: ACL 1 has room for 5 rules, the file needs it up to priority 5\n"
                       "    drop icmp from any to any\n"
                       "    ^\n"
                       "  nothing was sent\n",
                   4);
    refusal.session.daemon().allow_error_lines();
}

/* What rules refer to, and a file in each format that refers to number 9, which is not there. */
struct Referred {
    const char *object;
    const char *option; /* refers to one for all rules */
    Words create;
    const char *line;
    uint32_t column;
    const char *json_rule;
    const char *path;
    uint32_t json_column;
    const char *hint;
};

void expect_missing_is_told(const Referred &referred) {
    Refusal refusal;
    begin(refusal.session, 5);
    const std::string object = referred.object;
    const std::string line = referred.line;
    const std::string file =
        file_of(refusal.session, "f.policy", "drop ip6 from any to any\n" + line + "\n");
    refusal.expect({"rule", "load", file, "--acl", "1"},
                   "aclrmctl: " + file + ":2:" + std::to_string(referred.column) +
                       ": there is no " + object + " 9\n    " + line + "\n" +
                       std::string(3 + referred.column, ' ') + "^\n",
                   4);
    const std::string plain = file_of(refusal.session, "p.policy", "drop ip4 from any to any\n");
    refusal.expect({"rule", "load", plain, "--acl", "1", referred.option, "8"},
                   "aclrmctl: " + std::string(referred.option) + ": there is no " + object + " 8\n",
                   4);
    const std::string rules = file_of(refusal.session, "f.json",
                                      "{\"rules\": [{\"match\": {\"family\": \"ip4\"},\n" +
                                          std::string(referred.json_rule) + "}]}");
    const ToolRun run = refusal.session.run({"--json", "rule", "load", rules, "--acl", "1"});
    EXPECT_EQ(run.exit_code, 4);
    const json answer = json::parse(run.out);
    EXPECT_EQ(answer.at("input").at("path"), referred.path);
    EXPECT_EQ(answer.at("input").at("line"), 2);
    EXPECT_EQ(answer.at("input").at("column"), referred.json_column);
    EXPECT_EQ(answer.at("hint"), referred.hint);
    const std::string made =
        std::to_string(refusal.session.object(referred.create).front().get<uint32_t>());
    refusal.session.text({"rule", "load", plain, "--acl", "1", referred.option, made});
    refusal.session.daemon().allow_error_lines();
}

TEST(RuleLoadChecks, ThatTheCountersExistAndPointsAtTheOneThatDoesNot) {
    expect_missing_is_told(
        {"counter",
         "--counter",
         {"counter", "create", "--type", "packets"},
         "drop ip4 from any to any count 9",
         26,
         "\"counter\": 9",
         "/rules/0/counter",
         12,
         "'aclrmctl counter create' makes one, 'aclrmctl show counters' lists them"});
}

TEST(RuleLoadChecks, ThatTheMcGroupsExistAndPointsAtTheOneThatDoesNot) {
    expect_missing_is_told({"MC group",
                            "--forward-mc",
                            {"mc", "create"},
                            "drop forward mc 9 ip4 from any to any",
                            17,
                            "\"forward\": {\"mc\": 9}",
                            "/rules/0/forward/mc",
                            19,
                            "'aclrmctl mc create' makes one, 'aclrmctl show mc' lists them"});
}

TEST(RuleLoadChecks, ThatAnAclOfSizeZeroHasRoomFirst) {
    Refusal refusal;
    begin(refusal.session, 0);
    const std::string file = file_of(refusal.session, "f.policy", "drop ip4 from any to any\n");
    refusal.expect({"rule", "load", file, "--acl", "1"},
                   "aclrmctl: " + file +
                       ":1:1: ACL 1 has no room, or the switch does not answer\n"
                       "    drop ip4 from any to any\n"
                       "    ^\n"
                       "  nothing was sent\n"
                       "  hint: 'rule check' tells the room that a file needs; 'aclrmctl acl "
                       "resize'\n"
                       "    gives more to an ACL of size 0\n",
                   4);
    refusal.session.text({"acl", "resize", "--acl", "1", "--size", "1"});
    refusal.session.text({"rule", "load", file, "--acl", "1"});
    refusal.session.daemon().allow_error_lines();
}

TEST(RuleLoadChecks, ThatTheAclIsThereAndOurs) {
    Refusal refusal;
    begin(refusal.session, 5);
    zv_test::TestClient other(refusal.session.daemon(), ZV_ACL_RM_OWNER_TARN_OS, 1);
    const std::string theirs = std::to_string(other.make_acl(5).acl_id);
    const std::string file = file_of(refusal.session, "f.policy", "drop ip4 from any to any\n");
    refusal.expect({"rule", "load", file, "--acl", theirs},
                   "aclrmctl: asking whether ACL " + theirs + " takes rules: refused\n", 4);
    refusal.expect({"rule", "load", file, "--acl", "77"},
                   "aclrmctl: asking whether ACL 77 takes rules: refused\n", 4);
    refusal.session.daemon().allow_error_lines();
}

TEST(RuleLoadFailure, OfAnUnknownMcGroupHasWrittenNothing) {
    Session session;
    begin(session, 5);
    const zv_test::WithoutDump none; /* or the tool would know */
    const std::string file = file_of(
        session, "f.policy", "drop ip6 from any to any\nforward mc 9 ip4 from any to any\n");
    const ToolRun run =
        session.run({"rule", "load", file, "--acl", "1", "--switch-socket", "/none"});
    EXPECT_EQ(run.exit_code, 4);
    EXPECT_NE(run.err.find("  0 of 2 rules are in the switch\n"
                           "  not in the switch: 2 rules, priority 0-1 (lines 1-2)\n"),
              std::string::npos)
        << run.err;
    EXPECT_TRUE(session.daemon().control().state().at("regions")[0].at("rules").empty());
    session.daemon().allow_error_lines();
}

TEST(RuleAddWords, WriteIpv6AndMacRules) {
    Session session;
    begin(session, 8);
    session.text({"rule", "add", "--acl", "1", "--priority", "0", "--src", "2001:db8::/32",
                  "--dport", "53", "--proto", "udp", "--verdict", "drop"});
    session.text({"rule", "add", "--acl", "1", "--priority", "1", "--mac-src",
                  "02:00:00:00:00:00/16", "--mac-dst", "01:80:c2:00:00:0e", "--vlan", "7",
                  "--ethertype", "0x88cc", "--verdict", "trap"});
    EXPECT_EQ(read_back(session, "1", "policy"),
              "# ACL 1\n"
              "priority 0 drop udp from 2001:db8::/32 to any port 53\n"
              "priority 1 trap mac from 02:00:00:00:00:00/16 to 01:80:c2:00:00:0e vlan 7 type "
              "0x88cc\n");
    for (const Words &bad :
         {Words{"--src", "10.0.0.1", "--dst", "::1"}, Words{"--src", "10.0.0.1", "--vlan", "7"},
          Words{"--mac-src", "10.0.0.1"}, Words{"--key", "00", "--mask", "00", "--vlan", "7"}}) {
        Words words{"rule", "add", "--acl", "1", "--priority", "2"};
        words.insert(words.end(), bad.begin(), bad.end());
        EXPECT_EQ(session.run(words).exit_code, 1) << bad.front();
    }
}

TEST(RuleGetWords, ReadAllOfAnAclOrTheOffsetsNamed) {
    Session session;
    begin(session, 8);
    session.text({"rule", "add", "--acl", "1", "--priority", "6"});
    EXPECT_EQ(session.object({"rule", "get", "--acl", "1", "--all"}).at("rules").size(), 1u);
    session.text({"acl", "create", "--size", "8"});
    EXPECT_EQ(read_back(session, "2", "policy"), "# ACL 2\n") << "an ACL without rules";
    const ToolRun unknown = session.run({"rule", "get", "--acl", "99", "--all"});
    EXPECT_EQ(unknown.exit_code, 4);
    EXPECT_EQ(unknown.out, "");
    EXPECT_EQ(unknown.err.substr(0, unknown.err.find("  status")),
              "aclrmctl: reading the rules of ACL 99: refused\n");
    session.daemon().allow_error_lines();
    EXPECT_EQ(session.run({"rule", "get", "--acl", "1"}).exit_code, 1);
    EXPECT_EQ(session.run({"rule", "get", "--acl", "1", "6", "--all"}).exit_code, 1);
    EXPECT_EQ(session.run({"rule", "get", "--acl", "1", "6", "--format", "classic"}).exit_code, 1);
    EXPECT_EQ(
        session.run({"rule", "get", "--acl", "1", "6", "--format", "json", "--activity"}).exit_code,
        1);
}

}  // namespace
