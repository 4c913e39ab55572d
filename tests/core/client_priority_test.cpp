// Where an ACL goes in a group's list, compared with the plain rule that it stands for: behind
// every ACL of equal or higher priority (smaller number), before the first of lower priority.
#include <gtest/gtest.h>

#include <algorithm>

#include "core/acl_rm_group.h"
#include "core/acl_rm_owner.h"
#include "daemon/logging.h"
#include "tests/core/core_fixture.h"

namespace {

using namespace zv_unit;

using Ids = std::vector<uint32_t>;

constexpr uint32_t ACLS_PER_OWNER = 4;
constexpr uint32_t OWNERS_NUM = 4;

uint32_t acl_of(uint32_t owner, uint32_t number) {
    return 100 + owner * ACLS_PER_OWNER + number;
}

uint32_t owner_of(uint32_t acl_id) {
    return (acl_id - 100) / ACLS_PER_OWNER;
}

class ClientPriorityTest : public CacheFixture {
  protected:
    void SetUp() override {
        CacheFixture::SetUp();
        for (uint32_t owner = 0; owner < OWNERS_NUM; owner++)
            for (uint32_t number = 0; number < ACLS_PER_OWNER; number++)
                cache_acl(acl_of(owner, number), owner);
    }
    static void set_priorities(const std::vector<uint32_t> &priorities) {
        std::copy(priorities.begin(), priorities.end(), acl_rm_clients_priority);
    }
    static Ids listed(const sdk_grp_info &group) {
        Ids ids;
        for (uint32_t i = 0; i < group.acl_id_arr_len; i++)
            ids.push_back(group.acl_id_arr[i]);
        return ids;
    }
    static sdk_grp_info group_of(const Ids &ids) {
        sdk_grp_info group = {};
        for (const uint32_t id : ids)
            group.acl_id_arr[group.acl_id_arr_len++] = id;
        return group;
    }
    // Inserts and returns the index; 99 after a failure.
    static uint32_t insert(sdk_grp_info *group, uint32_t acl_id) {
        uint32_t index = 99;
        EXPECT_EQ(sortAclsByClientPriority(group, cached_acl(acl_id), &index),
                  ZV_ACL_RM_STATUS_SUCCESS);
        return index;
    }
    static uint32_t priority_of(uint32_t acl_id) {
        return acl_rm_clients_priority[owner_of(acl_id)];
    }
    // The model: a stable sort of everything that has arrived.
    static Ids sorted(Ids arrived) {
        std::stable_sort(arrived.begin(), arrived.end(),
                         [](uint32_t a, uint32_t b) { return priority_of(a) < priority_of(b); });
        return arrived;
    }
    static void expect_sorted_after_each(const Ids &arriving) {
        sdk_grp_info group = {};
        Ids arrived;
        for (const uint32_t acl_id : arriving) {
            const uint32_t index = insert(&group, acl_id);
            arrived.push_back(acl_id);
            const Ids wanted = sorted(arrived);
            ASSERT_EQ(listed(group), wanted);
            ASSERT_LT(index, wanted.size());
            ASSERT_EQ(wanted[index], acl_id);
        }
    }
};

TEST_F(ClientPriorityTest, FirstAclGoesToIndexZero) {
    sdk_grp_info group = {};
    EXPECT_EQ(insert(&group, acl_of(0, 0)), 0u);
    EXPECT_EQ(listed(group), Ids{acl_of(0, 0)});
}

TEST_F(ClientPriorityTest, OwnersThatOpenedStandInTheirOrder) {
    set_priorities({1, 2, 0, 3});
    const Ids open_flow_then_tarn_os = {acl_of(0, 0), acl_of(1, 0)};
    const uint32_t wanted_index[] = {1, 2, 0, 2};
    for (uint32_t owner = 0; owner < OWNERS_NUM; owner++) {
        sdk_grp_info group = group_of(open_flow_then_tarn_os);
        EXPECT_EQ(insert(&group, acl_of(owner, 1)), wanted_index[owner]) << owner;
    }
}

TEST_F(ClientPriorityTest, OwnerThatNeverOpenedStandsLast) {
    set_priorities({1, 4, 0, 3});
    sdk_grp_info group = {};
    insert(&group, acl_of(1, 0));
    insert(&group, acl_of(3, 0));
    insert(&group, acl_of(2, 0));
    EXPECT_EQ(listed(group), (Ids{acl_of(2, 0), acl_of(3, 0), acl_of(1, 0)}));
}

// All arrival orders of one ACL of each owner, under all priorities 0 to 4 of the four owners.
TEST_F(ClientPriorityTest, EveryArrivalOrderUnderEveryPriorityIsAStableSort) {
    for (uint32_t code = 0; code < 5 * 5 * 5 * 5; code++) {
        set_priorities({code % 5, code / 5 % 5, code / 25 % 5, code / 125});
        Ids owners = {0, 1, 2, 3};
        do {
            Ids arriving;
            for (const uint32_t owner : owners)
                arriving.push_back(acl_of(owner, 0));
            expect_sorted_after_each(arriving);
            ASSERT_FALSE(HasFatalFailure()) << "priorities " << code;
        } while (std::next_permutation(owners.begin(), owners.end()));
    }
}

// All sequences of six arrivals of any owners, several ACLs of each.
TEST_F(ClientPriorityTest, EverySequenceOfSixArrivalsIsAStableSort) {
    set_priorities({1, 2, 0, 3});
    for (uint32_t code = 0; code < 4 * 4 * 4 * 4 * 4 * 4; code++) {
        uint32_t used[OWNERS_NUM] = {};
        Ids arriving;
        for (uint32_t i = 0, rest = code; i < 6; i++, rest /= 4)
            arriving.push_back(acl_of(rest % 4, std::min(used[rest % 4]++, ACLS_PER_OWNER - 1)));
        expect_sorted_after_each(arriving);
        ASSERT_FALSE(HasFatalFailure()) << "sequence " << code;
    }
}

TEST_F(ClientPriorityTest, GroupFillsUpToSixteen) {
    set_priorities({1, 2, 0, 3});
    Ids arriving;
    for (uint32_t number = 0; number < ACLS_PER_OWNER; number++)
        for (uint32_t owner = OWNERS_NUM; owner-- > 0;)
            arriving.push_back(acl_of(owner, number));
    ASSERT_EQ(arriving.size(), 16u);
    expect_sorted_after_each(arriving);
}

TEST_F(ClientPriorityTest, SeventeenthAclFindsNoRoom) {
    sdk_grp_info group = group_of(Ids(16, acl_of(0, 0)));
    uint32_t index = 99;
    EXPECT_EQ(sortAclsByClientPriority(&group, cached_acl(acl_of(1, 0)), &index),
              ZV_ACL_RM_STATUS_NO_BUFFER_SPACE);
    EXPECT_EQ(take_lines(), Lines{failure(8,
                                          "No more buffer space in ACL ID array of ACL group "
                                          "for ACL 104")});
    EXPECT_EQ(listed(group), Ids(16, acl_of(0, 0)));
}

TEST_F(ClientPriorityTest, LengthPastTheArrayFindsNoRoom) {
    sdk_grp_info group = {};
    group.acl_id_arr_len = 4294967295u;
    uint32_t index = 99;
    EXPECT_EQ(sortAclsByClientPriority(&group, cached_acl(acl_of(1, 0)), &index),
              ZV_ACL_RM_STATUS_NO_BUFFER_SPACE);
}

TEST_F(ClientPriorityTest, EachMissingArgumentIsReported) {
    sdk_grp_info group = {};
    uint32_t index = 99;
    const acl_id_info *info = cached_acl(acl_of(0, 0));
    EXPECT_EQ(sortAclsByClientPriority(nullptr, info, &index), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(sortAclsByClientPriority(&group, nullptr, &index), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(sortAclsByClientPriority(&group, info, nullptr), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(take_lines(), Lines(3, passed_up(3)));
    EXPECT_EQ(group.acl_id_arr_len, 0u);
}

TEST_F(ClientPriorityTest, ListedAclThatTheCacheDoesNotKnowEndsTheSearch) {
    set_priorities({1, 2, 0, 3});
    // The first, and the one after the place that is looked at.
    for (const Ids &ids : {Ids{5, acl_of(0, 0)}, Ids{acl_of(0, 0), 5}}) {
        sdk_grp_info group = group_of(ids);
        uint32_t index = 99;
        EXPECT_EQ(sortAclsByClientPriority(&group, cached_acl(acl_of(1, 0)), &index),
                  ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
        EXPECT_EQ(take_lines(), Lines{passed_up(5)});
        EXPECT_EQ(listed(group), ids);
    }
}

TEST_F(ClientPriorityTest, UnknownAclBehindThePlaceIsNotLookedAt) {
    set_priorities({1, 2, 0, 3});
    sdk_grp_info group = group_of({acl_of(0, 0), 5});
    EXPECT_EQ(insert(&group, acl_of(2, 0)), 0u);
    EXPECT_EQ(listed(group), (Ids{acl_of(2, 0), acl_of(0, 0), 5}));
}

}  // namespace
