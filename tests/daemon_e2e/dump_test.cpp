// The dump of the cache: its text, and where it goes when the file cannot be used.
#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>

#include "tests/support/cache_check.h"
#include "tests/support/daemon_process.h"
#include "tests/support/test_client.h"

namespace zv_test {
namespace {

constexpr uint32_t kBind = ZV_ACL_RM_ACCESS_CMD_BIND;

const char kEmptyCache[] =
    "=====ACL_RM Cache dump start:=====\n"
    "\nGlobal vars dump:\n"
    "g_acl_table_cnt=[0]\n"
    "g_rules_cnt=[0]\n"
    "\nacl_rule_id_2_region_id_ht dump:\n"
    "\nsdk_acl_grp_2_sdk_acl_grp_info_table_ht dump:\n"
    "\nacl_id_2_acl_id_info_table_ht dump:\n"
    "\nport_id_2_sdk_acl_group_ht dump:\n"
    "\nlogical_forward_port_2_forward_pbs_info_ht dump:\n"
    "\nmcg_id_2_mcg_id_info_table_ht dump:\n"
    "\n=====ACL_RM Cache dump end=====\n";

// The file of a dump in two parts: the headline up to its "====\n", and the rest.
struct DumpFile {
    std::string headline;
    std::string text;

    explicit DumpFile(const std::string &path) {
        const std::string whole = read_file(path);
        const size_t end = whole.find("====\n", 10);  // past the headline's first "===="
        headline = whole.substr(0, end == std::string::npos ? 0 : end + 5);
        text = whole.substr(headline.size());
    }
};

DumpFile dump_of(DaemonProcess &daemon, TestClient &client) {
    const std::string path = daemon.root().file("dump");
    EXPECT_EQ(client.dump(path), ZV_ACL_RM_STATUS_SUCCESS);
    return DumpFile(path);
}

TEST(Dump, OfAnEmptyCacheHasEveryHeading) {
    DaemonProcess daemon;
    TestClient client = TestClient::unopened(daemon, 7);
    EXPECT_EQ(dump_of(daemon, client).text, kEmptyCache);
}

TEST(Dump, NeedsNoOpenSwitchAndNoKnownHandle) {
    DaemonProcess daemon;
    TestClient client = TestClient::unopened(daemon, 0xffffffffffffffff);
    EXPECT_EQ(client.dump(daemon.root().file("dump")), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_TRUE(daemon.calls("zv_api_open").empty());
}

TEST(Dump, BeginsWithTheLocalTime) {
    DaemonOptions options;
    options.environment["TZ"] = "XYZ-5:30";  // five and a half hours east
    DaemonProcess daemon(options);
    TestClient client = TestClient::unopened(daemon, 7);
    const time_t before = time(nullptr);
    const DumpFile dump = dump_of(daemon, client);
    const time_t after = time(nullptr);
    bool found = false;
    for (time_t now = before; now <= after; ++now) {
        const time_t there = now + 5 * 3600 + 30 * 60;
        tm parts = {};
        char text[64];
        asctime_r(gmtime_r(&there, &parts), text);  // ends with its own newline
        found = found || dump.headline ==
                             "\n====ACL-RM dump data started at: " + std::string(text) + "====\n";
    }
    EXPECT_TRUE(found) << dump.headline;
}

TEST(Dump, ShowsOneLineForEachEntry) {
    DaemonProcess daemon;
    TestClient client(daemon, ZV_ACL_RM_OWNER_PRA);
    const acl_rm_acl acl = client.make_acl(8);
    ASSERT_EQ(acl.acl_id, 1u);
    ASSERT_EQ(client.write_rules(1, {forward_to_port(make_rule(5), 70001)}), 0u);
    ASSERT_EQ(client.bind_ports(kBind, 1, {kPort}), 0u);
    EXPECT_EQ(dump_of(daemon, client).text,
              "=====ACL_RM Cache dump start:=====\n"
              "\nGlobal vars dump:\n"
              "g_acl_table_cnt=[1]\n"
              "g_rules_cnt=[1]\n"
              "\nacl_rule_id_2_region_id_ht dump:\n"
              "key_format:=[1_5]\toffset:=[5]\tregion_id[1]\n"
              "\nsdk_acl_grp_2_sdk_acl_grp_info_table_ht dump:\n"
              "group_id:=[1]\tacl_ids:=[1, ]\tnumber of acls in group[1]\n"
              "\nacl_id_2_acl_id_info_table_ht dump:\n"
              "acl_id:=[1]\t acl_owner:=[2]\t bound_to_system=[false]\t acl_regions:=[1, ]\n"
              " acl_bound_ports[65537, ]\n"
              "\nport_id_2_sdk_acl_group_ht dump:\n"
              "port_id:=[65537], type[logical port]\t\tid:=[1]\n"
              "\nlogical_forward_port_2_forward_pbs_info_ht dump:\n"
              "logical index:=[70001]\tentry_type:=[0]\tforwading_log_port_num:=[70001]\t"
              "forward_pbs_index=[1]\ttimes_consumed=[1]\n"
              "\nmcg_id_2_mcg_id_info_table_ht dump:\n"
              "\n=====ACL_RM Cache dump end=====\n");
    check_cache(daemon);
}

TEST(Dump, ListsEveryEntry) {
    DaemonProcess daemon;
    TestClient client(daemon);
    for (int i = 0; i < 20; ++i) {
        const acl_rm_acl acl = client.make_acl(20);
        const uint32_t port = kPort + static_cast<uint32_t>(i);
        std::vector<acl_rm_rule> rules = make_rules(0, 10);
        rules[9] = forward_to_port(rules[9], port);
        ASSERT_EQ(client.write_rules(acl.acl_id, rules), 0u);
        ASSERT_EQ(client.bind_ports(kBind, acl.acl_id, {port}), 0u);
    }
    const CacheDump dump = daemon.dump();
    EXPECT_TRUE(dump.complete);
    EXPECT_EQ(dump.rules.size(), 200u);
    EXPECT_EQ(dump.acls.size(), 20u);
    EXPECT_EQ(dump.groups.size(), 20u);
    EXPECT_EQ(dump.bind_points.size(), 20u);
    EXPECT_EQ(dump.forwardings.size(), 20u);
    check_cache(daemon);
}

TEST(Dump, ChangesNothing) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(8);
    ASSERT_EQ(client.write_rules(acl.acl_id, make_rules(0, 8)), 0u);
    const size_t mark = daemon.trace_mark();
    const std::string first = dump_of(daemon, client).text;
    EXPECT_EQ(dump_of(daemon, client).text, first);
    EXPECT_TRUE(daemon.call_names_since(mark).empty());
}

TEST(Dump, ReplacesTheFileThatIsThere) {
    DaemonProcess daemon;
    TestClient client = TestClient::unopened(daemon, 7);
    write_file(daemon.root().file("dump"), std::string(100000, 'x'));
    EXPECT_EQ(dump_of(daemon, client).text, kEmptyCache);
}

TEST(Dump, IsCutSilentlyAt65535Characters) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(2000);
    for (uint32_t first = 0; first < 2000; first += 20) {
        ASSERT_EQ(client.write_rules(acl.acl_id, make_rules(first, 20)), 0u);
    }
    const DumpFile dump = dump_of(daemon, client);
    EXPECT_EQ(dump.text.size(), 65535u);
    EXPECT_EQ(dump.text.find("sdk_acl_grp_2_sdk_acl_grp_info_table_ht"), std::string::npos);
    EXPECT_EQ(dump.text.rfind("=====ACL_RM Cache dump start:=====\n", 0), 0u);
}

TEST(Dump, ListsOnlyAsManyAclsOfAGroupAsFit) {
    DaemonProcess daemon;
    TestClient client(daemon);
    for (int i = 0; i < 99; ++i) {
        client.make_acl(0);  // so that the ids that follow have three digits
    }
    std::vector<uint32_t> members;
    for (int i = 0; i < 16; ++i) {
        members.push_back(client.make_acl(0).acl_id);
        ASSERT_EQ(client.bind_ports(kBind, members.back(), {kPort}), 0u);
    }
    ASSERT_EQ(members.front(), 100u);
    const std::string text = dump_of(daemon, client).text;
    const size_t line = text.find("acl_ids:=[") + 10;
    const std::string list = text.substr(line, text.find(']', line) - line);
    // Twelve of "100, " are 60 characters; a thirteenth is begun because 60 is below 64.
    EXPECT_GE(list.size(), 60u);
    EXPECT_LT(list.size(), 66u);
    EXPECT_NE(text.find("]\tnumber of acls in group[16]\n"), std::string::npos);
}

// --- when the file cannot be used

TEST(Dump, GoesToTheLogWhenTheFileCannotBeOpened) {
    DaemonProcess daemon;
    TestClient client = TestClient::unopened(daemon, 7);
    const std::string path = daemon.root().file("no/such/directory/dump");
    EXPECT_EQ(client.dump(path), ZV_ACL_RM_STATUS_SUCCESS);
    daemon.expect_log(
        {"ZV_ACL_RM", "WARN", "Can't open the acl-rm dump file " + path + ", will print to log"});
    daemon.wait_for_log_matching(
        {"ZV_ACL_RM", "NOTICE",
         "acl-rm dump data started at: [A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] "
         "[0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4}"});
    std::string text = std::string("ACL-RM dump data:\n ") + kEmptyCache;
    text.pop_back();  // the log's entries end with their line
    daemon.expect_log({"ZV_ACL_RM", "NOTICE", text});
}

TEST(Dump, OfALargeCacheGoesToTheLogWhole) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(2000);
    for (uint32_t first = 0; first < 2000; first += 20) {
        ASSERT_EQ(client.write_rules(acl.acl_id, make_rules(first, 20)), 0u);
    }
    const std::string in_file = dump_of(daemon, client).text;
    EXPECT_EQ(client.dump(daemon.root().path().string()), ZV_ACL_RM_STATUS_SUCCESS);
    bool found = false;
    for (const LogLine &line : daemon.log("ZV_ACL_RM", "NOTICE")) {
        found = found || line.text == "ACL-RM dump data:\n " + in_file;
    }
    EXPECT_TRUE(found);
}

TEST(Dump, OntoAFullDeviceFails) {
    DaemonProcess daemon;
    TestClient client = TestClient::unopened(daemon, 7);
    EXPECT_EQ(client.dump("/dev/full"), ZV_ACL_RM_STATUS_ERROR);
    daemon.expect_log(error_line(1, "Can't write to acl-rm dump"));
    daemon.expect_log({"ACL_RM_RPC", "ERROR", "acl_rm_rpc_dump: error 1 performing acl_rm_dump"});
}

TEST(Dump, WithoutAPathIsRefused) {
    DaemonProcess daemon;
    const auto reply = daemon.connect().call(ZV_ACL_RM_API_INT_CMD_DUMP, Bytes(16));
    ASSERT_TRUE(reply.has_value());
    EXPECT_EQ(reply->status, ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_TRUE(reply->body.empty());
    daemon.expect_log(error_line(3, "file_path is NULL"));
    daemon.expect_log({"ACL_RM_RPC", "ERROR", "acl_rm_rpc_dump: error 3 performing acl_rm_dump"});
}

TEST(Dump, IgnoresAnAddressThatAClientSends) {
    DaemonProcess daemon;
    const auto reply = daemon.connect().call(ZV_ACL_RM_API_INT_CMD_DUMP, Bytes(16, 0x41));
    ASSERT_TRUE(reply.has_value());
    EXPECT_EQ(reply->status, ZV_ACL_RM_STATUS_PARAM_NULL);
    daemon.allow_error_lines();
    EXPECT_TRUE(daemon.running());
}

}  // namespace
}  // namespace zv_test
