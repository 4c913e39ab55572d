/* The dump's text, read back: each line, and what is known of a text that was cut. */
#include "client/explain/cache_text.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using zv_acl_rm_lib::CacheText;
using zv_acl_rm_lib::parse_cache_text;
using zv_acl_rm_lib::Section;

const std::string kDump =
    "\n====ACL-RM dump data started at: Sat Nov 21 14:28:27 2026\n====\n"
    "=====ACL_RM Cache dump start:=====\n"
    "\nGlobal vars dump:\ng_acl_table_cnt=[2]\ng_rules_cnt=[3]\n"
    "\nacl_rule_id_2_region_id_ht dump:\n"
    "key_format:=[7_40]\toffset:=[40]\tregion_id[4]\n"
    "key_format:=[8_4294967295]\toffset:=[1]\tregion_id[5]\n"
    "\nsdk_acl_grp_2_sdk_acl_grp_info_table_ht dump:\n"
    "group_id:=[1]\tacl_ids:=[7, 8, ]\tnumber of acls in group[2]\n"
    "group_id:=[2]\tacl_ids:=[100, 20]\tnumber of acls in group[3]\n"
    "\nacl_id_2_acl_id_info_table_ht dump:\n"
    "acl_id:=[7]\t acl_owner:=[2]\t bound_to_system=[true]\t acl_regions:=[4, ]\n"
    " acl_bound_ports[65537, 65538, ]\n"
    "acl_id:=[8]\t acl_owner:=[0]\t bound_to_system=[false]\t acl_regions:=[5, ]\n"
    " acl_bound_ports[]\n"
    "\nport_id_2_sdk_acl_group_ht dump:\n"
    "port_id:=[65537], type[logical port]\t\tid:=[1]\n"
    "port_id:=[9], type[router interface]\t\tid:=[2]\n"
    "\nlogical_forward_port_2_forward_pbs_info_ht dump:\n"
    "logical index:=[500]\tentry_type:=[0]\tforwading_log_port_num:=[500]\t"
    "forward_pbs_index=[3]\ttimes_consumed=[1]\n"
    "\nmcg_id_2_mcg_id_info_table_ht dump:\n"
    "mcg_id:=[6]\tgroup_id:=[6]\towner=[3]\n"
    "\n=====ACL_RM Cache dump end=====\n";

TEST(CacheText, HasEverythingThatAWholeDumpTells) {
    const CacheText cache = parse_cache_text(kDump);
    EXPECT_EQ(cache.reached, Section::end);
    EXPECT_EQ(cache.acls_num, 2u);
    EXPECT_EQ(cache.rules_num, 3u);
    EXPECT_TRUE(cache.has_rule(7, 40));
    EXPECT_TRUE(cache.has_rule(8, 4294967295));
    EXPECT_FALSE(cache.has_rule(7, 41));
    EXPECT_EQ(cache.rules[0].region_id, 4u);
    ASSERT_NE(cache.find_group(1), nullptr);
    EXPECT_EQ(cache.find_group(1)->acl_ids, (std::vector<uint32_t>{7, 8}));
    EXPECT_EQ(cache.find_group(2)->acl_ids, std::vector<uint32_t>{100}) << "the last one was cut";
    EXPECT_EQ(cache.find_group(2)->acls_num, 3u);
    ASSERT_NE(cache.find_acl(7), nullptr);
    EXPECT_EQ(cache.find_acl(7)->owner, 2u);
    EXPECT_EQ(cache.find_acl(7)->region_id, 4u);
    EXPECT_TRUE(cache.find_acl(7)->bound_to_system);
    EXPECT_EQ(cache.find_acl(7)->bound_num, 2u);
    EXPECT_FALSE(cache.find_acl(8)->bound_to_system);
    EXPECT_EQ(cache.find_acl(8)->bound_num, 0u);
    ASSERT_NE(cache.find_bind_point(false, 65537), nullptr);
    EXPECT_EQ(cache.find_bind_point(false, 65537)->group_id, 1u);
    EXPECT_EQ(cache.find_bind_point(true, 9)->group_id, 2u);
    EXPECT_EQ(cache.find_bind_point(false, 9), nullptr) << "a port is no router interface";
    ASSERT_EQ(cache.forwardings.size(), 1u);
    EXPECT_EQ(cache.forwardings[0].log_port, 500u);
    ASSERT_NE(cache.find_mc_group(6), nullptr);
    EXPECT_EQ(cache.find_mc_group(6)->owner, 3u);
}

/* Whatever is missing behind the cut, what was read is right, and a section counts as whole only
 * where the next one has begun. */
TEST(CacheText, OfATextCutAnywhereKnowsWhatItHasAll) {
    const CacheText whole = parse_cache_text(kDump);
    for (size_t length = 0; length < kDump.size(); length++) {
        const CacheText cut = parse_cache_text(std::string_view(kDump).substr(0, length));
        SCOPED_TRACE(length);
        EXPECT_LE(cut.reached, whole.reached);
        EXPECT_LE(cut.rules.size(), whole.rules.size());
        if (cut.has_all(Section::rules)) {
            EXPECT_EQ(cut.rules.size(), whole.rules.size());
        }
        if (cut.has_all(Section::acls)) {
            EXPECT_EQ(cut.acls.size(), whole.acls.size());
        }
        if (cut.has_all(Section::mc_groups)) {
            EXPECT_EQ(cut.mc_groups.size(), whole.mc_groups.size());
        }
        for (const CacheText::Acl &acl : cut.acls) {
            ASSERT_NE(whole.find_acl(acl.acl_id), nullptr);
            EXPECT_EQ(acl.owner, whole.find_acl(acl.acl_id)->owner);
        }
    }
    EXPECT_EQ(parse_cache_text("").reached, Section::none);
    EXPECT_FALSE(parse_cache_text("no dump\n").has_all(Section::globals));
}

}  // namespace
