// Unbinding an ACL from bind points: lists shortened in place, and what stays after each failure.
#include "core/acl_rm_unbind.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>

#include "core/acl_rm_group.h"
#include "daemon/logging.h"
#include "tests/core/core_fixture.h"

namespace {

using namespace zv_unit;

using Ids = std::vector<uint32_t>;
using Keys = std::vector<bind_point_key>;

constexpr bind_point_key PORT = {BIND_POINT_LOG_PORT, 65537};
constexpr bind_point_key OTHER_PORT = {BIND_POINT_LOG_PORT, 65538};
constexpr bind_point_key RIF = {BIND_POINT_RIF, 0x12340007};
constexpr bind_point_key STRANGE = {2, 9};

bool is_same(const bind_point_key &a, const bind_point_key &b) {
    return a.bind_point_type == b.bind_point_type && a.port_id == b.port_id;
}

Keys bound_points(uint32_t acl_id) {
    const acl_id_info *info = cached_acl(acl_id);
    return {info->acl_bound_ports, info->acl_bound_ports + info->acl_bound_ports_num};
}

// Packed records are not for gtest's printer.
bool is_bound_to(uint32_t acl_id, const Keys &keys) {
    const Keys found = bound_points(acl_id);
    return std::equal(found.begin(), found.end(), keys.begin(), keys.end(), is_same);
}

class UnbindTest : public ConnectedFixture {
  protected:
    static void bind(uint32_t acl_id, const Keys &keys) {
        const auto keys_num = static_cast<uint32_t>(keys.size());
        ASSERT_EQ(acl_rm_bind_acl(acl_id, keys.data(), &keys_num), ZV_ACL_RM_STATUS_SUCCESS);
    }
    static zv_acl_rm_status_t unbind(uint32_t acl_id, const Keys &keys) {
        auto keys_num = static_cast<uint32_t>(keys.size());
        const zv_acl_rm_status_t status = acl_rm_unbind_acl(acl_id, keys.data(), &keys_num);
        EXPECT_EQ(keys_num, keys.size()) << "the count comes back as it was";
        return status;
    }
    // An ACL bound to the keys, whose lines and calls so far are forgotten.
    uint32_t make_bound(const Keys &keys, uint32_t direction = 0) {
        const uint32_t acl_id = create_acl(1, OPEN_FLOW_HANDLE, direction);
        bind(acl_id, keys);
        take_lines();
        calls_before_ = switch_call_names().size();
        return acl_id;
    }
    std::vector<std::string> new_calls() const {
        std::vector<std::string> names = switch_call_names();
        names.erase(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(calls_before_));
        return names;
    }

    size_t calls_before_ = 0;
};

TEST_F(UnbindTest, NoKeysSucceed) {
    const uint32_t acl_id = make_bound({PORT});
    EXPECT_EQ(unbind(acl_id, {}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(unbind(77, {}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), Lines{});
    EXPECT_TRUE(is_bound_to(acl_id, {PORT}));
}

TEST_F(UnbindTest, UnknownAclIsReported) {
    EXPECT_EQ(unbind(77, {PORT}), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_TRUE(reports(take_lines(), {}, 5, 2));
}

TEST_F(UnbindTest, EmptyGroupIsTornDownAndForgotten) {
    const uint32_t acl_id = make_bound({PORT, OTHER_PORT}, 7);
    EXPECT_EQ(unbind(acl_id, {PORT}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(new_calls(),
              (std::vector<std::string>{"zv_api_acl_group_set", "zv_api_acl_port_bind_set",
                                        "zv_api_acl_group_set"}));
    EXPECT_EQ(cached_group(1), nullptr);
    EXPECT_EQ(group_at(PORT), 0u);
    EXPECT_EQ(group_at(OTHER_PORT), 2u);
    EXPECT_EQ(g_acl_group_cnt, 1);
    EXPECT_TRUE(is_bound_to(acl_id, {OTHER_PORT}));
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(UnbindTest, TellsItsStepsAtInfo) {
    const uint32_t acl_id = make_bound({PORT});
    acl_rm_verbosity_level = 4;
    EXPECT_EQ(unbind(acl_id, {PORT}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(
        take_lines(),
        (Lines{line(INFO_MASK, "ACL group [1] is bound to port_id [10001].\n"),
               line(INFO_MASK, "acl id [1] is bound in SDK in port_id [65537] within a group.\n"),
               line(INFO_MASK, "number of ACLs in group before editing is:[1].\n"),
               line(INFO_MASK, "number of ACLs in group after editing is:[0].\n"),
               line(INFO_MASK, "Set new ACLs in ACL group[1] succeeded.\n"),
               line(INFO_MASK, "Unbind ACL group[1] from port[10001] succeeded.\n"),
               line(INFO_MASK, "Deletion of ACL group[1] succeeded.\n"),
               line(INFO_MASK, "number of port IDs to be deleted:=1.\n")}));
}

TEST_F(UnbindTest, AnUnboundKeyIsNotedAtNotice) {
    const uint32_t acl_id = make_bound({PORT});
    EXPECT_EQ(unbind(acl_id, {OTHER_PORT}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(),
              Lines{line(NOTICE_MASK, "ACL [1] already Unbound from port_id [10002].\n")});
    EXPECT_TRUE(is_bound_to(acl_id, {PORT}));
}

TEST_F(UnbindTest, RouterInterfaceIsUnboundByItsLow16Bits) {
    const uint32_t acl_id = make_bound({RIF});
    acl_rm_verbosity_level = 4;
    EXPECT_EQ(unbind(acl_id, {RIF}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(recorded_calls("zv_api_acl_rif_bind_set").back()["args"],
              (nlohmann::json{{"cmd", 26}, {"rif_id", 7}, {"group_id", 1}}));
    EXPECT_TRUE(
        has_line(take_lines(), line(INFO_MASK, "Unbind ACL group[1] from rif[7] succeeded.\n")));
    EXPECT_EQ(group_at(RIF), 0u);
}

TEST_F(UnbindTest, PointOfAnotherTypeIsUnboundWithoutACall) {
    const uint32_t acl_id = make_bound({STRANGE});
    EXPECT_EQ(unbind(acl_id, {STRANGE}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(new_calls(),
              (std::vector<std::string>{"zv_api_acl_group_set", "zv_api_acl_group_set"}));
    EXPECT_EQ(group_at(STRANGE), 0u);
    EXPECT_TRUE(is_bound_to(acl_id, {}));
}

// Cache and switch disagree; the key leaves the ACL's list all the same.
TEST_F(UnbindTest, KeyWithoutItsGroupLeavesTheList) {
    const uint32_t acl_id = make_bound({PORT, OTHER_PORT});
    ASSERT_EQ(ht_delete_zvlib(port_id_2_sdk_acl_group_ht, &PORT), 0);
    EXPECT_EQ(unbind(acl_id, {PORT}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(),
              Lines{line(NOTICE_MASK, "ACL [1] already Unbound from port_id [10001].\n")});
    EXPECT_TRUE(is_bound_to(acl_id, {OTHER_PORT}));
}

TEST_F(UnbindTest, KeyWhoseGroupIsNotCachedCountsAsUnbound) {
    const uint32_t acl_id = create_acl(1);
    cache_bind_point(PORT, 55);
    EXPECT_EQ(unbind(acl_id, {PORT}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(),
              Lines{line(NOTICE_MASK, "ACL [1] already Unbound from port_id [10001].\n")});
    EXPECT_EQ(group_at(PORT), 55u);
}

TEST_F(UnbindTest, AnIdListedTwiceLeavesWithBothPlaces) {
    const uint32_t acl_id = make_bound({PORT});
    sdk_grp_info *group = cached_group(1);
    group->acl_id_arr[1] = acl_id;
    group->acl_id_arr_len = 2;
    EXPECT_EQ(unbind(acl_id, {PORT}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cached_group(1), nullptr);
}

TEST_F(UnbindTest, EveryKeyOfALongListMayBeTheAclsOwnList) {
    Keys keys;
    for (uint32_t port = 0; port < 100; port++)
        keys.push_back({BIND_POINT_LOG_PORT, port});
    const uint32_t acl_id = make_bound(keys);
    acl_id_info *info = cached_acl(acl_id);
    uint32_t keys_num = info->acl_bound_ports_num;
    EXPECT_EQ(acl_rm_unbind_acl(acl_id, info->acl_bound_ports, &keys_num),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(keys_num, 100u);
    EXPECT_TRUE(is_bound_to(acl_id, {}));
    EXPECT_EQ(entries_num(port_id_2_sdk_acl_group_ht), 0u);
    EXPECT_EQ(entries_num(sdk_acl_grp_2_sdk_acl_grp_info_table_ht), 0u);
    EXPECT_EQ(g_acl_group_cnt, 0);
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(UnbindTest, RefusedListStaysShortenedAndEndsTheKeys) {
    const uint32_t acl_id = make_bound({PORT, OTHER_PORT, RIF});
    fail_call("zv_api_acl_group_set", 9, {.nth = 3});
    EXPECT_EQ(unbind(acl_id, {PORT, OTHER_PORT, RIF}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              Lines{failure(1, "Failed to remove ACL [1] from ACL GROUP:[2], (error: 9)\n")});
    EXPECT_EQ(group_at(PORT), 0u);
    EXPECT_EQ(acl_ids_of(2), Ids());
    EXPECT_EQ(acl_ids_of(3), Ids{acl_id});
    EXPECT_TRUE(is_bound_to(acl_id, {PORT, OTHER_PORT, RIF}));
    EXPECT_EQ(g_acl_group_cnt, 2);
}

TEST_F(UnbindTest, RefusedUnbindNamesPortOrRouterInterface) {
    const uint32_t acl_id = make_bound({PORT, RIF});
    fail_call("zv_api_acl_port_bind_set", 5);
    EXPECT_EQ(unbind(acl_id, {PORT}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              Lines{failure(
                  1, "Failed to unbind ACL group [1] from logical port [10001], (error: 5)\n")});
    fail_call("zv_api_acl_rif_bind_set", 4);
    EXPECT_EQ(unbind(acl_id, {RIF}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              Lines{failure(1, "Failed to unbind ACL group [2] from rif [7], (error: 4)\n")});
    EXPECT_EQ(g_acl_group_cnt, 2);
    EXPECT_TRUE(is_bound_to(acl_id, {PORT, RIF}));
}

TEST_F(UnbindTest, RefusedDestroyIsHandedUp) {
    const uint32_t acl_id = make_bound({PORT});
    fail_call("zv_api_acl_group_set", 8, {.nth = 2});
    EXPECT_EQ(unbind(acl_id, {PORT}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(
        reports(take_lines(), {failure(1, "Failed deleting ACL group:[1], (error: 8)\n")}, 1, 1));
    EXPECT_EQ(group_at(PORT), 1u);
    EXPECT_EQ(g_acl_group_cnt, 1);
}

TEST_F(UnbindTest, EachMissingTableIsReported) {
    const uint32_t acl_id = make_bound({PORT});
    {
        const Missing gone(port_id_2_sdk_acl_group_ht);
        EXPECT_EQ(unbind(acl_id, {PORT}), ZV_ACL_RM_STATUS_ERROR);
        EXPECT_TRUE(reports(take_lines(), {}, 1, 2));
    }
    {
        const Missing gone(sdk_acl_grp_2_sdk_acl_grp_info_table_ht);
        EXPECT_EQ(unbind(acl_id, {PORT}), ZV_ACL_RM_STATUS_ERROR);
        EXPECT_TRUE(reports(take_lines(), {}, 1, 2));
    }
    {
        const Missing gone(acl_id_2_acl_id_info_table_ht);
        EXPECT_EQ(unbind(acl_id, {PORT}), ZV_ACL_RM_STATUS_ERROR);
        EXPECT_TRUE(reports(take_lines(), {}, 1, 2));
    }
    EXPECT_EQ(new_calls(), std::vector<std::string>{});
    EXPECT_TRUE(is_bound_to(acl_id, {PORT}));
}

// The list of a group: what is before the removal, what is removed, what is left in all places.
struct Removal {
    Ids before;
    uint32_t acl_id;
    uint32_t length;
    Ids places;
};

void PrintTo(const Removal &row, std::ostream *out) {
    *out << row.acl_id << " of " << testing::PrintToString(row.before);
}

class ShorterListTest : public CacheFixture, public testing::WithParamInterface<Removal> {};

TEST_P(ShorterListTest, KeepsTheOthersInOrderAndFormerIdsBehindThem) {
    const Removal &removal = GetParam();
    cache_group(1, removal.before, 3);
    acl_rm_verbosity_level = 4;
    EXPECT_EQ(buildNewAclIds(cached_group(1), removal.acl_id), ZV_ACL_RM_STATUS_SUCCESS);
    const auto told = [](const char *when, size_t number) {
        return line(INFO_MASK, std::string("number of ACLs in group ") + when + " editing is:[" +
                                   std::to_string(number) + "].\n");
    };
    EXPECT_EQ(take_lines(),
              (Lines{told("before", removal.before.size()), told("after", removal.length)}));
    const sdk_grp_info *group = cached_group(1);
    EXPECT_EQ(group->acl_id_arr_len, removal.length);
    EXPECT_EQ(group->direction, 3u);
    for (size_t i = 0; i < removal.places.size(); i++)
        EXPECT_EQ(uint32_t{group->acl_id_arr[i]}, removal.places[i]) << "place " << i;
}

Ids ids_up_to(uint32_t last) {
    Ids ids;
    for (uint32_t id = 1; id <= last; id++)
        ids.push_back(id);
    return ids;
}

INSTANTIATE_TEST_SUITE_P(
    UnbindTest, ShorterListTest,
    testing::Values(
        Removal{{}, 1, 0, {0, 0}}, Removal{{5}, 5, 0, {5, 0}}, Removal{{5}, 4, 1, {5, 0}},
        Removal{{1, 2, 3}, 1, 2, {2, 3, 3, 0}}, Removal{{1, 2, 3}, 2, 2, {1, 3, 3, 0}},
        Removal{{1, 2, 3}, 3, 2, {1, 2, 3, 0}}, Removal{{1, 2, 3}, 0, 3, {1, 2, 3, 0}},
        Removal{{4, 2, 4, 4, 9}, 4, 2, {2, 9, 4, 4, 9, 0}}, Removal{{4, 4, 4}, 4, 0, {4, 4, 4, 0}},
        Removal{ids_up_to(16), 16, 15, ids_up_to(16)},
        Removal{ids_up_to(16), 1, 15, {2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 16}}));

// The bind points of an ACL.
class PointsTest : public CacheFixture {
  protected:
    void SetUp() override {
        CacheFixture::SetUp();
        cache_acl(1);
    }
    static void set_points(const Keys &keys) {
        acl_id_info *info = cached_acl(1);
        std::copy(keys.begin(), keys.end(), info->acl_bound_ports);
        info->acl_bound_ports_num = static_cast<uint32_t>(keys.size());
    }
    static zv_acl_rm_status_t remove(const Keys &keys) {
        return buildNewPortIDArr(cached_acl(1), keys.data(), static_cast<uint32_t>(keys.size()));
    }
    static bool rest_is_zero() {
        const acl_id_info *info = cached_acl(1);
        return std::all_of(info->acl_bound_ports + info->acl_bound_ports_num,
                           info->acl_bound_ports + MAX_BIND_POINTS_NUM,
                           [](const bind_point_key &key) {
                               return is_same(key, {0, 0});
                           });
    }
    static Keys full_list() {
        Keys keys;
        for (uint32_t port = 1; port <= MAX_BIND_POINTS_NUM; port++)
            keys.push_back({BIND_POINT_LOG_PORT, port});
        return keys;
    }
};

TEST_F(PointsTest, NeedTheAclsInfo) {
    EXPECT_EQ(buildNewPortIDArr(nullptr, &PORT, 1), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(buildNewPortIDArr(nullptr, &PORT, 0), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(take_lines(), (Lines{passed_up(3), passed_up(3)}));
}

TEST_F(PointsTest, StayWhenNoneIsGiven) {
    set_points({PORT, RIF});
    acl_rm_verbosity_level = 4;
    EXPECT_EQ(remove({}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), Lines{line(INFO_MASK, "number of port IDs to be deleted:=0.\n")});
    EXPECT_TRUE(is_bound_to(1, {PORT, RIF}));
}

TEST_F(PointsTest, GoOnlyWithTypeAndNumberEqual) {
    set_points({{0, 5}, {1, 5}, {0, 6}, {1, 6}});
    EXPECT_EQ(remove({{1, 5}, {0, 6}, {2, 5}}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_TRUE(is_bound_to(1, {{0, 5}, {1, 6}}));
    EXPECT_TRUE(rest_is_zero());
}

TEST_F(PointsTest, KeepTheirOrder) {
    set_points({{0, 9}, {0, 3}, {0, 7}, {0, 1}, {0, 5}});
    EXPECT_EQ(remove({{0, 1}, {0, 3}}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_TRUE(is_bound_to(1, {{0, 9}, {0, 7}, {0, 5}}));
    EXPECT_TRUE(rest_is_zero());
}

TEST_F(PointsTest, GoWithEveryEqualEntryAndOnlyWithThose) {
    set_points({{0, 3}, {0, 4}, {0, 3}, {0, 3}});
    EXPECT_EQ(remove({{0, 3}, {0, 99}, {0, 3}}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_TRUE(is_bound_to(1, {{0, 4}}));
    EXPECT_TRUE(rest_is_zero());
}

TEST_F(PointsTest, OfAFullListCanGoOneByOneFromEitherEnd) {
    Keys keys = full_list();
    set_points(keys);
    EXPECT_EQ(remove({keys.back()}), ZV_ACL_RM_STATUS_SUCCESS);
    keys.pop_back();
    EXPECT_TRUE(is_bound_to(1, keys));
    EXPECT_EQ(remove({keys.front()}), ZV_ACL_RM_STATUS_SUCCESS);
    keys.erase(keys.begin());
    EXPECT_TRUE(is_bound_to(1, keys));
    EXPECT_TRUE(rest_is_zero());
    EXPECT_EQ(cached_acl(1)->acl_id, 1u) << "nothing behind the list is touched";
}

TEST_F(PointsTest, OfAFullListMayAllBeTheKeys) {
    set_points(full_list());
    acl_id_info *info = cached_acl(1);
    EXPECT_EQ(buildNewPortIDArr(info, info->acl_bound_ports, MAX_BIND_POINTS_NUM),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_TRUE(is_bound_to(1, {}));
    EXPECT_TRUE(rest_is_zero());
}

TEST_F(PointsTest, MayBePartlyTheKeys) {
    set_points({{0, 1}, {0, 2}, {0, 3}, {0, 4}});
    acl_id_info *info = cached_acl(1);
    EXPECT_EQ(buildNewPortIDArr(info, info->acl_bound_ports, 2), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_TRUE(is_bound_to(1, {{0, 3}, {0, 4}}));
    EXPECT_TRUE(rest_is_zero());
}

// 648 bind points in the cache, more than there can be groups.
TEST_F(UnbindTest, TheLastOfAllBindPointsMakesRoomForAnother) {
    const uint32_t acl_id = make_bound({PORT});
    for (uint32_t port = 0; port < MAX_BIND_POINTS_NUM - 1; port++)
        cache_bind_point({BIND_POINT_LOG_PORT, port}, 99);
    const uint32_t keys_num = 1;
    EXPECT_EQ(acl_rm_bind_acl(acl_id, &OTHER_PORT, &keys_num), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {failure(1, "Insert not successful")}, 1, 2));
    EXPECT_EQ(unbind(acl_id, {PORT}), ZV_ACL_RM_STATUS_SUCCESS);
    bind(acl_id, {OTHER_PORT});
    EXPECT_NE(group_at(OTHER_PORT), 0u);
}

}  // namespace
