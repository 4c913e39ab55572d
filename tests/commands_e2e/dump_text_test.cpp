// DUMP: the text of a cache byte for byte, and what becomes of it where the file cannot be used.
#include <gtest/gtest.h>
#include <time.h>

#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

struct Sections {
    std::string rules, groups, acls, bind_points, forwardings, mc_groups;
};

std::string cache_text(uint32_t acls_num, uint32_t rules_num, const Sections &sections) {
    return "=====ACL_RM Cache dump start:=====\n"
           "\nGlobal vars dump:\ng_acl_table_cnt=[" +
           std::to_string(acls_num) + "]\ng_rules_cnt=[" + std::to_string(rules_num) +
           "]\n"
           "\nacl_rule_id_2_region_id_ht dump:\n" +
           sections.rules + "\nsdk_acl_grp_2_sdk_acl_grp_info_table_ht dump:\n" + sections.groups +
           "\nacl_id_2_acl_id_info_table_ht dump:\n" + sections.acls +
           "\nport_id_2_sdk_acl_group_ht dump:\n" + sections.bind_points +
           "\nlogical_forward_port_2_forward_pbs_info_ht dump:\n" + sections.forwardings +
           "\nmcg_id_2_mcg_id_info_table_ht dump:\n" + sections.mc_groups +
           "\n=====ACL_RM Cache dump end=====\n";
}

class DumpText : public testing::Test {
  protected:
    uint32_t dump_to(const std::string &path) {
        return TestClient::unopened(daemon_, 1).dump(path);
    }

    // The dump without its headline, which must hold a time that asctime could have written.
    std::string body_of(const std::string &text) {
        constexpr size_t kTimeLength = 25;  // "Sat Nov 21 04:26:11 2026\n"
        const std::string before = "\n====ACL-RM dump data started at: ";
        const std::string after = "====\n";
        EXPECT_EQ(text.substr(0, before.size()), before);
        EXPECT_EQ(text.substr(before.size() + kTimeLength, after.size()), after);
        struct tm when = {};
        const std::string time_text = text.substr(before.size(), kTimeLength);
        const char *end = strptime(time_text.c_str(), "%a %b %d %H:%M:%S %Y\n", &when);
        EXPECT_TRUE(end != nullptr && *end == '\0') << time_text;
        return text.substr(before.size() + kTimeLength + after.size());
    }

    std::string dumped() {
        const std::string path = daemon_.root().file("cache.txt");
        EXPECT_EQ(dump_to(path), ZV_ACL_RM_STATUS_SUCCESS);
        return body_of(read_file(path));
    }

    DaemonProcess daemon_;
};

TEST_F(DumpText, OfAnEmptyCacheHasEveryHeading) {
    EXPECT_EQ(dumped(), cache_text(0, 0, {}));
}

TEST_F(DumpText, ShowsEachRecord) {
    TestClient client(daemon_, ZV_ACL_RM_OWNER_PRA);
    daemon_.control().fail("zv_api_acl_set", 1);  // so that ACL and region ids differ
    acl_rm_acl acl = acl_of_size(32);
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_ERROR);
    daemon_.allow_error_lines();
    acl = client.make_acl(32);
    ASSERT_EQ(client.write_rules(acl.acl_id, {forward_to_port(make_rule(17), 4000)}),
              ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(client.bind_ports(kBind, acl.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(
        dumped(),
        cache_text(1, 1,
                   {"key_format:=[1_17]\toffset:=[17]\tregion_id[2]\n",
                    "group_id:=[1]\tacl_ids:=[1, ]\tnumber of acls in group[1]\n",
                    "acl_id:=[1]\t acl_owner:=[2]\t bound_to_system=[false]\t acl_regions:=[2, ]\n "
                    "acl_bound_ports[65537, ]\n",
                    "port_id:=[65537], type[logical port]\t\tid:=[1]\n",
                    "logical index:=[4000]\tentry_type:=[0]\tforwading_log_port_num:=[4000]\t"
                    "forward_pbs_index=[1]\ttimes_consumed=[1]\n",
                    ""}));
}

TEST_F(DumpText, ListsAclsOfAGroupAsFarAsTheyFit) {
    // ids of one digit take three characters, those of two digits four
    TestClient client(daemon_);
    for (uint32_t i = 0; i < 16; ++i) {
        const acl_rm_acl acl = client.make_acl(0);
        ASSERT_EQ(client.bind_ports(kBind, acl.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    }
    EXPECT_NE(dumped().find("group_id:=[1]\tacl_ids:=[1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, "
                            "14, 15, 16, ]\tnumber of acls in group[16]\n"),
              std::string::npos);
}

TEST_F(DumpText, CountsTheAclsOfAGroupThatDoNotFit) {
    TestClient client(daemon_);
    for (uint32_t i = 1; i < 100; ++i) {
        client.make_acl(0);
    }
    for (uint32_t i = 0; i < 16; ++i) {
        const acl_rm_acl acl = client.make_acl(0);
        ASSERT_EQ(client.bind_ports(kBind, acl.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    }
    const CacheDump dump = parse_dump("\n====ACL-RM dump data started at: x\n====\n" + dumped());
    ASSERT_EQ(dump.groups.size(), 1u);
    EXPECT_EQ(dump.groups[0].acls_num, 16u);
    EXPECT_LT(dump.groups[0].acl_ids.size(), 16u);
    for (size_t i = 0; i < dump.groups[0].acl_ids.size(); ++i) {
        EXPECT_EQ(dump.groups[0].acl_ids[i], 100 + i);
    }
    EXPECT_GE(dump.groups[0].acl_ids.size(), 12u);
}

TEST_F(DumpText, IsCutWithoutAWordWhereTheCacheIsLarger) {
    TestClient client(daemon_);
    const acl_rm_acl acl = client.make_acl(3000);
    for (uint32_t first = 0; first < 2000; first += 20) {
        ASSERT_EQ(client.write_rules(acl.acl_id, make_rules(first, 20)), ZV_ACL_RM_STATUS_SUCCESS);
    }
    const Watch watch(daemon_);
    const std::string text = dumped();
    watch.expect_nothing();
    EXPECT_EQ(text.size(), 65535u);
    EXPECT_EQ(text.find("sdk_acl_grp_2_sdk_acl_grp_info_table_ht dump:"), std::string::npos);
    EXPECT_NE(text.find("g_rules_cnt=[2000]\n"), std::string::npos);
}

TEST_F(DumpText, AnswersWithTheRecordAndWithoutAnAddress) {
    const zv_acl_rm_dump_params_t request = {0x0102030405060708, 0x1111111111111111};
    const std::string path = daemon_.root().file("cache.txt");
    const auto reply = daemon_.connect().call(ZV_ACL_RM_API_INT_CMD_DUMP, bytes_of(request), path);
    ASSERT_TRUE(reply.has_value());
    EXPECT_EQ(reply->status, ZV_ACL_RM_STATUS_SUCCESS);
    const zv_acl_rm_dump_params_t expected = {0x0102030405060708, 0};
    EXPECT_EQ(reply->body, bytes_of(expected));
}

TEST_F(DumpText, ReplacesAFileThatWasThere) {
    const std::string path = daemon_.root().file("cache.txt");
    write_file(path, std::string(100000, 'x'));
    EXPECT_EQ(dumped(), cache_text(0, 0, {}));
}

TEST_F(DumpText, GoesToTheLogWhereTheFileCannotBeOpened) {
    TestClient client(daemon_, ZV_ACL_RM_OWNER_OF13);
    client.make_acl(1);
    const std::string path = daemon_.root().file("no/such/directory");
    const size_t lines_num = daemon_.log().size();
    EXPECT_EQ(dump_to(path), ZV_ACL_RM_STATUS_SUCCESS);
    std::vector<LogLine> lines = daemon_.log();
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(lines_num));
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0],
              (LogLine{"ZV_ACL_RM", "WARN",
                       "Can't open the acl-rm dump file " + path + ", will print to log"}));
    EXPECT_EQ(lines[1].level, "NOTICE");
    const std::string start = "acl-rm dump data started at: ";
    EXPECT_EQ(lines[1].text.substr(0, start.size()), start);
    EXPECT_EQ(lines[1].text.size(), start.size() + 24);
    Sections sections;
    sections.acls =
        "acl_id:=[1]\t acl_owner:=[3]\t bound_to_system=[false]\t acl_regions:=[1, ]\n "
        "acl_bound_ports[]\n";
    std::string expected = "ACL-RM dump data:\n " + cache_text(1, 0, sections);
    expected.pop_back();
    EXPECT_EQ(lines[2], (LogLine{"ZV_ACL_RM", "NOTICE", expected}));
}

TEST_F(DumpText, OfAFullDeviceFailsAtTheHeadline) {
    const Watch watch(daemon_);
    EXPECT_EQ(dump_to("/dev/full"), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(
        Lines{error_line(1, "Can't write to acl-rm dump"),
              {"ACL_RM_RPC", "ERROR", "acl_rm_rpc_dump: error 1 performing acl_rm_dump"}});
}

TEST_F(DumpText, WithoutAPathFails) {
    const Watch watch(daemon_);
    const auto reply = daemon_.connect().call(ZV_ACL_RM_API_INT_CMD_DUMP, Bytes(16, 0xff));
    ASSERT_TRUE(reply.has_value());
    EXPECT_EQ(reply->status, ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(reply->body, Bytes());
    watch.expect_lines(
        Lines{error_line(3, "file_path is NULL"),
              {"ACL_RM_RPC", "ERROR", "acl_rm_rpc_dump: error 3 performing acl_rm_dump"}});
}

TEST_F(DumpText, NeedsNoOpenAndChangesNothing) {
    const Watch watch(daemon_);
    EXPECT_EQ(dumped(), cache_text(0, 0, {}));
    EXPECT_EQ(dumped(), cache_text(0, 0, {}));
    watch.expect_nothing();
}

TEST_F(DumpText, OfTheWrongLengthIsRefused) {
    for (const size_t length : {size_t{0}, size_t{15}, size_t{17}}) {
        const Watch watch(daemon_);
        EXPECT_EQ(send_bytes(daemon_, ZV_ACL_RM_API_INT_CMD_DUMP, Bytes(length)).status,
                  ZV_ACL_RM_STATUS_ERROR);
        watch.expect_lines(
            {{"ACL_RM_RPC", "ERROR", "received message of size " + std::to_string(length)}});
    }
}

}  // namespace
}  // namespace zv_test
