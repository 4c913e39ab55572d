/* The dump read back into tables, whole and cut. */
#include "client/cache_text.h"

#include <gtest/gtest.h>

namespace {

using namespace zv_cache_text;

const std::string kDump =
    "\n====ACL-RM dump data started at: Wed Jun  3 10:01:02 2026\n====\n"
    "=====ACL_RM Cache dump start:=====\n"
    "\nGlobal vars dump:\ng_acl_table_cnt=[2]\ng_rules_cnt=[3]\n"
    "\nacl_rule_id_2_region_id_ht dump:\n"
    "key_format:=[4_9]\toffset:=[2]\tregion_id[5]\n"
    "key_format:=[1_10]\toffset:=[10]\tregion_id[1]\n"
    "key_format:=[1_9]\toffset:=[9]\tregion_id[1]\n"
    "\nsdk_acl_grp_2_sdk_acl_grp_info_table_ht dump:\n"
    "group_id:=[7]\tacl_ids:=[4, 1, ]\tnumber of acls in group[3]\n"
    "\nacl_id_2_acl_id_info_table_ht dump:\n"
    "acl_id:=[4]\t acl_owner:=[-1]\t bound_to_system=[true]\t acl_regions:=[5, ]\n"
    " acl_bound_ports[65537, 3, ]\n"
    "acl_id:=[1]\t acl_owner:=[2]\t bound_to_system=[false]\t acl_regions:=[1, ]\n"
    " acl_bound_ports[]\n"
    "\nport_id_2_sdk_acl_group_ht dump:\n"
    "port_id:=[3], type[router interface]\t\tid:=[7]\n"
    "port_id:=[65537], type[logical port]\t\tid:=[7]\n"
    "\nlogical_forward_port_2_forward_pbs_info_ht dump:\n"
    "logical index:=[65540]\tentry_type:=[0]\tforwading_log_port_num:=[65540]\t"
    "forward_pbs_index=[1]\ttimes_consumed=[2]\n"
    "\nmcg_id_2_mcg_id_info_table_ht dump:\n"
    "mcg_id:=[1]\tgroup_id:=[9]\towner=[3]\n"
    "\n=====ACL_RM Cache dump end=====\n";

TEST(CacheText, IsEveryTableSorted) {
    const CacheText cache = read_cache_text(kDump);
    EXPECT_TRUE(cache.complete);
    EXPECT_EQ(cache.started_at, "Wed Jun  3 10:01:02 2026");
    EXPECT_EQ(cache.acls_num, 2u);
    EXPECT_EQ(cache.rules_num, 3u);
    ASSERT_EQ(cache.rules.size(), 3u);
    EXPECT_EQ(cache.rules[0].offset, 9u);
    EXPECT_EQ(cache.rules[1].offset, 10u) << "by number, not by text";
    EXPECT_EQ(cache.rules[2].acl_id, 4u);
    EXPECT_EQ(cache.rules[2].offset, 9u);
    EXPECT_EQ(cache.rules[2].written_at, 2u);
    EXPECT_EQ(cache.rules[2].region_id, 5u);
    ASSERT_EQ(cache.groups.size(), 1u);
    EXPECT_EQ(cache.groups[0].acl_ids, (std::vector<uint32_t>{4, 1})) << "in their own order";
    EXPECT_EQ(cache.groups[0].acls_num, 3u);
    ASSERT_EQ(cache.acls.size(), 2u);
    EXPECT_EQ(cache.acls[0].acl_id, 1u);
    EXPECT_EQ(cache.acls[0].owner, 2);
    EXPECT_EQ(cache.acls[1].owner, -1);
    EXPECT_TRUE(cache.acls[1].bound_to_system);
    EXPECT_EQ(cache.acls[1].bound_to, (std::vector<uint32_t>{65537, 3}));
    EXPECT_TRUE(cache.acls[1].bound_to_whole);
    ASSERT_EQ(cache.bind_points.size(), 2u);
    EXPECT_FALSE(cache.bind_points[0].router_interface);
    EXPECT_TRUE(cache.bind_points[1].router_interface);
    EXPECT_EQ(cache.bind_points[1].number, 3u);
    ASSERT_EQ(cache.forwardings.size(), 1u);
    EXPECT_EQ(cache.forwardings[0].rules_num, 2u);
    ASSERT_EQ(cache.mc_groups.size(), 1u);
    EXPECT_EQ(cache.mc_groups[0].owner, 3u);
}

TEST(CacheText, FindsWhatIsThereAndNothingElse) {
    const CacheText cache = read_cache_text(kDump);
    ASSERT_NE(find_acl(cache, 4), nullptr);
    EXPECT_EQ(find_acl(cache, 4)->region_id, 5u);
    EXPECT_EQ(find_acl(cache, 2), nullptr);
    ASSERT_NE(find_group(cache, 7), nullptr);
    EXPECT_EQ(find_group(cache, 7)->acls_num, 3u);
    EXPECT_EQ(find_group(cache, 4), nullptr);
    ASSERT_NE(find_mc_group(cache, 1), nullptr);
    EXPECT_EQ(find_mc_group(cache, 1)->pbs_id, 9u);
    EXPECT_EQ(find_mc_group(cache, 9), nullptr);
    ASSERT_NE(find_bind_point(cache, true, 3), nullptr);
    EXPECT_EQ(find_bind_point(cache, false, 3), nullptr) << "a router interface is no port";
    ASSERT_NE(find_rule(cache, 1, 10), nullptr);
    EXPECT_EQ(find_rule(cache, 1, 11), nullptr);
    EXPECT_EQ(find_rule(cache, 4, 2), nullptr) << "where it was written is not where it is";
}

/* Whatever is missing behind the cut, what was read is right, and a table counts as whole only
 * where the next one has begun. */
TEST(CacheText, CutAnywhereKnowsWhatItHasAll) {
    const CacheText whole = read_cache_text(kDump);
    for (size_t length = 0; length < kDump.size(); length++) {
        SCOPED_TRACE(length);
        const CacheText cut = read_cache_text(std::string_view(kDump).substr(0, length));
        EXPECT_EQ(has_counts(cut), length >= kDump.find("key_format"));
        EXPECT_LE(cut.rules.size(), whole.rules.size());
        if (has_all(cut, "rules")) {
            EXPECT_EQ(cut.rules.size(), whole.rules.size());
        }
        if (has_all(cut, "acls")) {
            EXPECT_EQ(cut.acls.size(), whole.acls.size());
        }
        EXPECT_FALSE(has_all(cut, "mc")) << "only the end of the dump ends it";
        for (const CachedAcl &acl : cut.acls) {
            ASSERT_NE(find_acl(whole, acl.acl_id), nullptr);
            EXPECT_EQ(acl.owner, find_acl(whole, acl.acl_id)->owner);
        }
    }
    EXPECT_TRUE(has_all(whole, "mc"));
    EXPECT_FALSE(has_counts(read_cache_text("no dump\n")));
}

TEST(CacheText, LeavesOutAnItemThatWasCutInAList) {
    std::string dump = kDump;
    dump.replace(dump.find("[4, 1, ]"), 8, "[100, 20]");
    EXPECT_EQ(read_cache_text(dump).groups.at(0).acl_ids, std::vector<uint32_t>{100});
}

TEST(CacheText, CutAnywhereIsNotComplete) {
    for (size_t size = 0; size < kDump.size(); size++) {
        EXPECT_FALSE(read_cache_text(kDump.substr(0, size)).complete) << size;
    }
    EXPECT_FALSE(read_cache_text(kDump + "x").complete);
}

TEST(CacheText, CutInATableNamesItAndKeepsItsWholeLines) {
    const std::string cut = kDump.substr(0, kDump.find("\tregion_id[1]\nkey_format:=[1_9]"));
    const CacheText cache = read_cache_text(cut);
    EXPECT_EQ(cache.read_up_to, "rules");
    EXPECT_EQ(cache.rules.size(), 1u);
    const CacheText acls = read_cache_text(kDump.substr(0, kDump.find(" acl_bound_ports[]")));
    EXPECT_EQ(acls.read_up_to, "acls");
    EXPECT_EQ(acls.acls.size(), 1u);
    EXPECT_EQ(acls.rules.size(), 3u);
}

TEST(CacheText, KnowsAListThatHadNoRoom) {
    std::string ports;
    while (ports.size() < 2591) {
        ports += "65537, ";
    }
    ports.resize(2591);
    std::string dump = kDump;
    dump.replace(dump.find("[65537, 3, ]"), 12, "[" + ports + "]");
    const CacheText cache = read_cache_text(dump);
    EXPECT_TRUE(cache.complete);
    EXPECT_FALSE(cache.acls[1].bound_to_whole);
    EXPECT_EQ(cache.acls[1].bound_to.size(), 370u);
}

TEST(CacheText, OfAnotherShapeIsNotComplete) {
    for (const auto &[from, to] : {std::pair("g_rules_cnt=[3]", "g_rules_cnt=[-3]"),
                                   {"[4_9]", "[4-9]"},
                                   {"type[logical port]", "type[tunnel]"},
                                   {"owner=[3]", "owner=[99999999999]"}}) {
        std::string dump = kDump;
        dump.replace(dump.find(from), std::string(from).size(), to);
        EXPECT_FALSE(read_cache_text(dump).complete) << to;
    }
}

}  // namespace
