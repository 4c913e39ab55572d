// The dump's text. Where it goes stands in dump_file_test.cpp.
#include <gtest/gtest.h>

#include <ostream>

#include "core/acl_rm.h"
#include "daemon/logging.h"
#include "tests/core/core_fixture.h"

namespace {

using namespace zv_unit;

class DumpTest : public CacheFixture {
  protected:
    // The dump without its start line and time.
    std::string dump() {
        const std::string path = file("dump");
        EXPECT_EQ(acl_rm_dump(path.c_str()), ZV_ACL_RM_STATUS_SUCCESS);
        const std::string text = zv_test::read_file(path);
        const size_t start = text.find("=====ACL_RM Cache dump start:=====\n");
        EXPECT_NE(start, std::string::npos) << text;
        return start == std::string::npos ? "" : text.substr(start);
    }
    // One section, heading included, without what stands between it and the next one.
    std::string section(const std::string &heading) {
        const std::string text = dump();
        const size_t start = text.find("\n" + heading + "\n");
        EXPECT_NE(start, std::string::npos);
        const size_t end = text.find("\n\n", start + 1);
        return text.substr(start + heading.size() + 2, end + 1 - start - heading.size() - 2);
    }
};

TEST_F(DumpTest, EmptyCacheHasEveryHeading) {
    EXPECT_EQ(dump(),
              "=====ACL_RM Cache dump start:=====\n"
              "\nGlobal vars dump:\ng_acl_table_cnt=[0]\ng_rules_cnt=[0]\n"
              "\nacl_rule_id_2_region_id_ht dump:\n"
              "\nsdk_acl_grp_2_sdk_acl_grp_info_table_ht dump:\n"
              "\nacl_id_2_acl_id_info_table_ht dump:\n"
              "\nport_id_2_sdk_acl_group_ht dump:\n"
              "\nlogical_forward_port_2_forward_pbs_info_ht dump:\n"
              "\nmcg_id_2_mcg_id_info_table_ht dump:\n"
              "\n=====ACL_RM Cache dump end=====\n");
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(DumpTest, OneEntryOfEachTable) {
    g_acl_table_cnt = 399;
    g_rules_cnt = 65535;
    cache_rule(7, 12, 70);
    cache_group(40, {7, 8});
    cache_acl(7, 2);
    cached_acl(7)->region_id = 70;
    cached_acl(7)->acl_bound_ports[0] = {0, 65537};
    cached_acl(7)->acl_bound_ports[1] = {1, 9};
    cached_acl(7)->acl_bound_ports_num = 2;
    cache_bind_point({0, 65537}, 40);
    cache_forwarding(65538, {0, 80, 65538, 3});
    cache_mc_group(5, {50, 1});
    EXPECT_EQ(dump(),
              "=====ACL_RM Cache dump start:=====\n"
              "\nGlobal vars dump:\ng_acl_table_cnt=[399]\ng_rules_cnt=[65535]\n"
              "\nacl_rule_id_2_region_id_ht dump:\n"
              "key_format:=[7_12]\toffset:=[12]\tregion_id[70]\n"
              "\nsdk_acl_grp_2_sdk_acl_grp_info_table_ht dump:\n"
              "group_id:=[40]\tacl_ids:=[7, 8, ]\tnumber of acls in group[2]\n"
              "\nacl_id_2_acl_id_info_table_ht dump:\n"
              "acl_id:=[7]\t acl_owner:=[2]\t bound_to_system=[false]\t acl_regions:=[70, ]\n"
              " acl_bound_ports[65537, 9, ]\n"
              "\nport_id_2_sdk_acl_group_ht dump:\n"
              "port_id:=[65537], type[logical port]\t\tid:=[40]\n"
              "\nlogical_forward_port_2_forward_pbs_info_ht dump:\n"
              "logical index:=[65538]\tentry_type:=[0]\tforwading_log_port_num:=[65538]\t"
              "forward_pbs_index=[80]\ttimes_consumed=[3]\n"
              "\nmcg_id_2_mcg_id_info_table_ht dump:\n"
              "mcg_id:=[5]\tgroup_id:=[50]\towner=[1]\n"
              "\n=====ACL_RM Cache dump end=====\n");
}

TEST_F(DumpTest, ChangesNothing) {
    cache_rule(7, 12, 70);
    cache_bind_point({0, 1}, 40);
    dump();
    const std::string again = dump();
    EXPECT_EQ(again, dump());
    EXPECT_EQ(entries_num(acl_rule_id_2_region_id_ht), 1u);
}

TEST_F(DumpTest, BindPointsOfOneChainStandNewestFirst) {
    cache_bind_point({0, 1}, 10);
    cache_bind_point({1, 2}, 20);
    cache_bind_point({2, 3}, 30);
    EXPECT_EQ(section("port_id_2_sdk_acl_group_ht dump:"),
              "port_id:=[3], type[router interface]\t\tid:=[30]\n"
              "port_id:=[2], type[router interface]\t\tid:=[20]\n"
              "port_id:=[1], type[logical port]\t\tid:=[10]\n");
}

TEST_F(DumpTest, AclBoundToTheSystemSaysTrue) {
    cache_acl(1);
    cached_acl(1)->bound_to_system = 1;
    cached_acl(1)->acl_owner = -1;
    EXPECT_EQ(section("acl_id_2_acl_id_info_table_ht dump:"),
              "acl_id:=[1]\t acl_owner:=[-1]\t bound_to_system=[true]\t acl_regions:=[0, ]\n"
              " acl_bound_ports[]\n");
}

TEST_F(DumpTest, LargestRegionFitsItsList) {
    cache_acl(1);
    cached_acl(1)->region_id = 4294967295u;
    EXPECT_NE(dump().find("acl_regions:=[4294967295, ]"), std::string::npos);
}

TEST_F(DumpTest, GroupListsAsManyAclsAsFitIn63CharactersAndCountsAll) {
    // 16 ids of "10000000nn, ": twelve characters each, so five whole ones and three more
    // characters.
    std::vector<uint32_t> ids;
    std::string all;
    for (uint32_t i = 0; i < 16; i++) {
        ids.push_back(1000000000 + i);
        all += std::to_string(1000000000 + i) + ", ";
    }
    cache_group(4294967295u, ids);
    EXPECT_EQ(section("sdk_acl_grp_2_sdk_acl_grp_info_table_ht dump:"),
              "group_id:=[4294967295]\tacl_ids:=[" + all.substr(0, 63) +
                  "]\tnumber of acls in group[16]\n");
}

TEST_F(DumpTest, ListThatJustFitsIsWhole) {
    // Nine ids of "1234, " are 54 characters, one of "1234567, " makes 63.
    std::vector<uint32_t> ids(9, 1234);
    ids.push_back(1234567);
    cache_group(1, ids);
    const std::string text = section("sdk_acl_grp_2_sdk_acl_grp_info_table_ht dump:");
    EXPECT_NE(text.find("1234, 1234567, ]\tnumber of acls in group[10]"), std::string::npos);
    // One character more loses its last blank.
    cached_group(1)->acl_id_arr[9] = 12345678;
    const std::string longer = section("sdk_acl_grp_2_sdk_acl_grp_info_table_ht dump:");
    EXPECT_NE(longer.find("1234, 12345678,]\tnumber of acls in group[10]"), std::string::npos);
}

TEST_F(DumpTest, BoundPortsAreCutAt2591Characters) {
    cache_acl(1);
    std::string all;
    for (uint32_t i = 0; i < MAX_BIND_POINTS_NUM; i++) {
        cached_acl(1)->acl_bound_ports[i] = {0, 65537 + i};
        all += std::to_string(65537 + i) + ", ";
    }
    cached_acl(1)->acl_bound_ports_num = MAX_BIND_POINTS_NUM;
    EXPECT_EQ(section("acl_id_2_acl_id_info_table_ht dump:"),
              "acl_id:=[1]\t acl_owner:=[0]\t bound_to_system=[false]\t acl_regions:=[0, ]\n"
              " acl_bound_ports[" +
                  all.substr(0, 2591) + "]\n");
}

TEST_F(DumpTest, TextIsCutAt65535CharactersWithoutAFailure) {
    for (uint32_t offset = 0; offset < 6400; offset++)
        cache_rule(1, offset);
    const std::string text = dump();
    EXPECT_EQ(text.size(), 65535u);
    EXPECT_EQ(text.find("sdk_acl_grp_2_sdk_acl_grp_info_table_ht dump:"), std::string::npos);
    EXPECT_EQ(text.find("dump end"), std::string::npos);
    EXPECT_EQ(take_lines(), Lines{});
}

constexpr char END_LINE[] = "\n=====ACL_RM Cache dump end=====\n";
constexpr size_t LINE_BYTES = sizeof("mcg_id:=[1000]\tgroup_id:=[0]\towner=[0]\n") - 1;

// A number of one digit and `more` further ones.
uint32_t number_of_digits(size_t more) {
    uint32_t number = 1;
    for (; more > 0; more--)
        number *= 10;
    return number;
}

// One ACL whose bound ports are as many and as long as needed makes the last line.
TEST_F(DumpTest, TextOf65535CharactersIsWholeAndOneMoreLosesItsNewline) {
    cache_acl(1);
    size_t rest = 65535 - dump().size();
    for (uint32_t id = 1000; rest >= 2 * LINE_BYTES; id++, rest -= LINE_BYTES)
        cache_mc_group(id, {});
    // "1, " three times over, the first with the digits that are left.
    acl_id_info *acl = cached_acl(1);
    acl->acl_bound_ports_num = static_cast<uint32_t>(rest / 3);
    for (uint32_t i = 0; i < acl->acl_bound_ports_num; i++)
        acl->acl_bound_ports[i] = {0, i == 0 ? number_of_digits(rest % 3) : 1};
    const std::string whole = dump();
    ASSERT_EQ(whole.size(), 65535u);
    EXPECT_TRUE(whole.ends_with(END_LINE));

    acl->acl_bound_ports[0].port_id *= 10;
    const std::string cut = dump();
    EXPECT_EQ(cut.size(), 65535u);
    EXPECT_TRUE(cut.ends_with("dump end====="));
}

struct DumpedTable {
    const char *name;
    ht_iterator_zvlib_t **iterator;
};

void PrintTo(const DumpedTable &row, std::ostream *out) {
    *out << row.name;
}

class DumpWalkTest : public CacheFixture, public testing::WithParamInterface<DumpedTable> {};

TEST_P(DumpWalkTest, MissingIteratorEndsItWithTheFileClosed) {
    const std::string path = file("dump");
    {
        ht_iterator_zvlib_t *const kept = *GetParam().iterator;
        *GetParam().iterator = nullptr;
        EXPECT_EQ(acl_rm_dump(path.c_str()), ZV_ACL_RM_STATUS_ERROR);
        *GetParam().iterator = kept;
    }
    EXPECT_EQ(take_lines(), Lines{passed_up(1)});
    const std::string text = zv_test::read_file(path);
    EXPECT_TRUE(text.starts_with("\n====ACL-RM dump data started at: ")) << text;
    EXPECT_EQ(text.find("Cache dump start"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    EachTable, DumpWalkTest,
    testing::Values(DumpedTable{"rules", &acl_rule_id_2_region_id_it},
                    DumpedTable{"groups", &sdk_acl_grp_2_sdk_acl_grp_info_table_it},
                    DumpedTable{"acls", &acl_id_2_acl_id_info_table_it},
                    DumpedTable{"bind_points", &port_id_2_sdk_acl_group_it},
                    DumpedTable{"forwarding", &logical_forward_port_2_forward_pbs_info_it},
                    DumpedTable{"mc_groups", &mcg_id_2_mcg_id_info_table_it}),
    [](const auto &param) { return param.param.name; });

}  // namespace
