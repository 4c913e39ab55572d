// The harness itself: that it reads what it is given, and that it notices what it is there for. A
// harness that lets things pass makes every test built on it worthless.
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include "tests/support/cache_check.h"
#include "tests/support/daemon_process.h"
#include "tests/support/test_client.h"

namespace zv_test {
namespace {

using nlohmann::json;

// --- log

TEST(LogLines, AreSplitIntoModuleLevelAndText) {
    EXPECT_EQ(parse_log("[ZV_ACL_RM           ][NOTICE ] : one\n"
                        "[ACL_RM_RPC          ][ERROR  ] : [two] : three\n"),
              (std::vector<LogLine>{{"ZV_ACL_RM", "NOTICE", "one"},
                                    {"ACL_RM_RPC", "ERROR", "[two] : three"}}));
}

TEST(LogLines, OfSeveralLinesAreOneEntryWithoutTheNewlinesAtItsEnd) {
    EXPECT_EQ(parse_log("before the log\n"
                        "[ZV_ACL_RM           ][NOTICE ] : one\n"
                        "\n"
                        "[short][NOTICE ] : two\n"
                        "\n"
                        "[A_MODULE_OF_MORE_THAN_20_COLUMNS][WARN   ] : three"),
              (std::vector<LogLine>{{"ZV_ACL_RM", "NOTICE", "one\n\n[short][NOTICE ] : two"},
                                    {"A_MODULE_OF_MORE_THAN_20_COLUMNS", "WARN", "three"}}));
}

TEST(LogLines, OfAStatusReadAsTheDaemonWritesThem) {
    EXPECT_EQ(error_line(1, "text\n").text, "ZV_ACL_RM ERROR error;=1, error message:=text");
    EXPECT_EQ(passed_up_line(5).text,
              "ZV_ACL_RM_ERROR, error: 5, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND");
    EXPECT_EQ(notification_line(7, "text").text, "ZV_ACL_RM Notification, error: 7, text");
    EXPECT_EQ(notification_line(7, "text").level, "NOTICE");
}

// --- dump

const char kDump[] =
    "=====ACL_RM Cache dump start:=====\n"
    "\nGlobal vars dump:\ng_acl_table_cnt=[1]\ng_rules_cnt=[2]\n"
    "\nacl_rule_id_2_region_id_ht dump:\n"
    "key_format:=[7_5]\toffset:=[5]\tregion_id[3]\n"
    "key_format:=[7_6]\toffset:=[6]\tregion_id[3]\n"
    "\nsdk_acl_grp_2_sdk_acl_grp_info_table_ht dump:\n"
    "group_id:=[4]\tacl_ids:=[7, 8, ]\tnumber of acls in group[2]\n"
    "\nacl_id_2_acl_id_info_table_ht dump:\n"
    "acl_id:=[7]\t acl_owner:=[2]\t bound_to_system=[true]\t acl_regions:=[3, ]\n"
    " acl_bound_ports[65537, 12, ]\n"
    "\nport_id_2_sdk_acl_group_ht dump:\n"
    "port_id:=[65537], type[logical port]\t\tid:=[4]\n"
    "port_id:=[12], type[router interface]\t\tid:=[4]\n"
    "\nlogical_forward_port_2_forward_pbs_info_ht dump:\n"
    "logical index:=[70001]\tentry_type:=[0]\tforwading_log_port_num:=[70001]\t"
    "forward_pbs_index=[9]\ttimes_consumed=[2]\n"
    "\nmcg_id_2_mcg_id_info_table_ht dump:\n"
    "mcg_id:=[1]\tgroup_id:=[1]\towner=[2]\n"
    "\n=====ACL_RM Cache dump end=====\n";

TEST(CacheDumps, AreReadBackWhole) {
    const CacheDump dump =
        parse_dump(std::string("\n====ACL-RM dump data started at: now\n====\n") + kDump);
    EXPECT_TRUE(dump.complete);
    EXPECT_EQ(dump.started_at, "now\n");
    EXPECT_EQ(dump.rules_cnt, 2u);
    ASSERT_EQ(dump.rules.size(), 2u);
    EXPECT_EQ(dump.rules[1].acl_id, 7u);
    EXPECT_EQ(dump.rules[1].key_offset, 6u);
    ASSERT_EQ(dump.groups.size(), 1u);
    EXPECT_EQ(dump.groups[0].acl_ids, (std::vector<uint32_t>{7, 8}));
    ASSERT_EQ(dump.acls.size(), 1u);
    EXPECT_TRUE(dump.acls[0].bound_to_system);
    EXPECT_EQ(dump.acls[0].bound_ports, (std::vector<uint32_t>{65537, 12}));
    ASSERT_EQ(dump.bind_points.size(), 2u);
    EXPECT_FALSE(dump.bind_points[0].is_rif);
    EXPECT_TRUE(dump.bind_points[1].is_rif);
    ASSERT_EQ(dump.forwardings.size(), 1u);
    EXPECT_EQ(dump.forwardings[0].times_consumed, 2u);
    ASSERT_EQ(dump.mc_groups.size(), 1u);
}

TEST(CacheDumps, ThatAreCutOrUnknownAreNotComplete) {
    const std::string text = kDump;
    for (size_t length = 0; length < text.size(); ++length) {
        EXPECT_FALSE(parse_dump(text.substr(0, length)).complete) << length;
    }
    EXPECT_FALSE(parse_dump(text + "more").complete);
    std::string damaged = text;
    damaged.replace(damaged.find("times_consumed=[2]"), 18, "times_consumed=[x]");
    EXPECT_FALSE(parse_dump(damaged).complete);
}

// --- checks of the cache, each against a state that it must not accept

struct CacheChecks : testing::Test {
    CacheDump dump = parse_dump(kDump);
    json state = {
        {"regions",
         {{{"region_id", 3},
           {"rules",
            {{{"offset", 5}, {"action", "010000000000000009000000"}},
             {{"offset", 6}, {"action", "010000000000000009000000"}}}}}}},
        {"acls", {{{"acl_id", 7}, {"region_id", 3}}}},
        {"groups", {{{"group_id", 4}, {"acl_ids", {7}}}}},
        {"bindings", {{{"log_port", 65537}, {"group_id", 4}}, {{"rif_id", 12}, {"group_id", 4}}}},
        {"pbs",
         {{{"pbs_id", 9}, {"entry_type", 0}, {"ports", {70001}}},
          {{"pbs_id", 1}, {"entry_type", 2}, {"ports", json::array()}}}}};

    CacheChecks() {
        dump.acl_table_cnt = 1;
        dump.groups[0].acl_ids = {7};
        dump.groups[0].acls_num = 1;
    }
    void check_all() {
        check_counts(dump);
        check_acls(dump, state);
        check_rules(dump, state);
        check_groups(dump, state);
        check_bind_points(dump, state);
        check_forwarding(dump, state);
        check_left_overs(dump, state);
    }
};

TEST_F(CacheChecks, AcceptWhatAgrees) {
    check_all();
}

TEST_F(CacheChecks, SeeAWrongCount) {
    dump.rules_cnt = 3;
    EXPECT_NONFATAL_FAILURE(check_all(), "dump.rules_cnt");
}

TEST_F(CacheChecks, SeeARuleThatTheSwitchLost) {
    state["regions"][0]["rules"].erase(0);
    EXPECT_NONFATAL_FAILURE(check_rules(dump, state), "(region, offset)");
}

TEST_F(CacheChecks, SeeARuleThatTheDaemonDoesNotKnow) {
    dump.rules.pop_back();
    EXPECT_NONFATAL_FAILURE(check_rules(dump, state), "(region, offset)");
}

TEST_F(CacheChecks, SeeARuleOfNoAcl) {
    dump.rules[0].acl_id = 8;
    dump.rules.pop_back();
    state["regions"][0]["rules"] = json::array();
    EXPECT_NONFATAL_FAILURE(check_rules(dump, state), "of an ACL that is not there");
}

TEST_F(CacheChecks, SeeAnAclThatTheSwitchLost) {
    state["acls"] = json::array();
    EXPECT_NONFATAL_FAILURE(check_acls(dump, state), "the switch has no ACL 7");
}

TEST_F(CacheChecks, SeeAGroupInAnotherOrder) {
    dump.groups[0].acl_ids = {8, 7};
    dump.groups[0].acls_num = 2;
    CacheDump::Acl second = dump.acls[0];
    second.acl_id = 8;
    dump.acls.push_back(second);
    state["groups"][0]["acl_ids"] = {7, 8};
    EXPECT_NONFATAL_FAILURE(check_groups(dump, state), "group 4");
}

TEST_F(CacheChecks, SeeABindingThatIsNotThere) {
    state["bindings"].erase(1);
    EXPECT_NONFATAL_FAILURE(check_bind_points(dump, state), "cache, switch");
}

TEST_F(CacheChecks, SeeAPortThatAnAclDoesNotList) {
    dump.acls[0].bound_ports = {12};
    EXPECT_NONFATAL_FAILURE(check_bind_points(dump, state), "ports of ACL 7");
}

TEST_F(CacheChecks, SeeAWrongUseCount) {
    dump.forwardings[0].times_consumed = 1;
    EXPECT_NONFATAL_FAILURE(check_forwarding(dump, state), "PBS entry 9");
}

TEST_F(CacheChecks, SeeAnObjectLeftBehind) {
    state["pbs"].push_back({{"pbs_id", 10}, {"entry_type", 0}, {"ports", {1}}});
    EXPECT_NONFATAL_FAILURE(check_left_overs(dump, state), "cache, switch");
}

// --- the daemon as a process

TEST(Harness, FailsACaseWithAnUnexpectedErrorLine) {
    auto daemon = std::make_unique<DaemonProcess>();
    daemon->connect().call(ZV_ACL_RM_API_INT_CMD_OPEN, Bytes(1));
    EXPECT_NONFATAL_FAILURE(daemon->expect_no_error_lines(), "failed to received");
    daemon->expect_log({"ACL_RM_RPC", "ERROR", "failed to received zv_acl_rm_api_open len 1."});
    daemon->expect_no_error_lines();
}

TEST(Harness, TakesEachLineOfTheLogOnce) {
    DaemonProcess daemon;
    const LogLine line = {"ZV_ACL_RM", "NOTICE", "Creating Terminator thread done."};
    daemon.expect_log(line);
    daemon.expect_no_log(line);
    EXPECT_NONFATAL_FAILURE(daemon.expect_log(line), "the log lacks");
}

TEST(Harness, FailsACaseWhoseDaemonEndsOtherwiseThanExpected) {
    DaemonProcess daemon;
    EXPECT_NONFATAL_FAILURE(daemon.stop(SIGTERM, ExitStatus::exit(1)), "exit status 0");
}

TEST(Harness, NoticesADaemonThatEndsBeforeItServes) {
    DaemonProcess daemon(ending_run({"--version"}));
    EXPECT_NONFATAL_FAILURE(daemon.wait_until_serving(), "ended before it served: exit status 0");
}

TEST(Harness, NoticesAFaultThatTheSwitchDoesNotTake) {
    DaemonProcess daemon;
    EXPECT_NONFATAL_FAILURE(daemon.control().set_faults("no list"), "the switch answered");
}

TEST(Harness, ReadsTheTraceFromAMarkOn) {
    DaemonProcess daemon;
    const size_t mark = daemon.trace_mark();
    EXPECT_TRUE(daemon.trace_since(mark).empty());
    TestClient client(daemon);
    EXPECT_EQ(daemon.call_names_since(mark), std::vector<std::string>{"zv_api_open"});
    EXPECT_EQ(daemon.calls("zv_api_open", mark).size(), 1u);
}

TEST(Harness, ShowsDriftBetweenDaemonAndSwitch) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(4);
    ASSERT_EQ(client.write_rules(acl.acl_id, make_rules(0, 2)), ZV_ACL_RM_STATUS_SUCCESS);
    check_cache(daemon);
    daemon.control().corrupt(acl.region_id, 1);
    EXPECT_NONFATAL_FAILURE(check_cache(daemon), "(region, offset)");
}

}  // namespace
}  // namespace zv_test
