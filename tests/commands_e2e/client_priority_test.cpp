// The order of ACLs in a port's group: by the priorities of their owners, then by arrival.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

using Ids = std::vector<uint32_t>;
using Owners = std::array<uint32_t, 4>;

constexpr uint32_t kOpenFlow = ZV_ACL_RM_OWNER_OPEN_FLOW;
constexpr uint32_t kTarnOs = ZV_ACL_RM_OWNER_TARN_OS;
constexpr uint32_t kPra = ZV_ACL_RM_OWNER_PRA;
constexpr uint32_t kOf13 = ZV_ACL_RM_OWNER_OF13;

// Indexed by owner; smaller goes first.
constexpr uint32_t kPriority[] = {1, 2, 0, 3};

// ACLs are numbered from 1 in the order in which they are made; ACL i is of owners[i - 1].
Ids sorted_by_priority(const std::vector<uint32_t> &owners) {
    Ids ids;
    for (uint32_t id = 1; id <= owners.size(); ++id) {
        ids.push_back(id);
    }
    std::stable_sort(ids.begin(), ids.end(), [&](uint32_t a, uint32_t b) {
        return kPriority[owners[a - 1]] < kPriority[owners[b - 1]];
    });
    return ids;
}

struct FourClients {
    explicit FourClients(DaemonProcess &daemon)
        : clients{TestClient(daemon, 0), TestClient(daemon, 1), TestClient(daemon, 2),
                  TestClient(daemon, 3)} {}
    // Makes an ACL and binds it.
    void bind_one(uint32_t owner) {
        const acl_rm_acl acl = clients[owner].make_acl(1);
        ASSERT_EQ(clients[owner].bind_ports(kBind, acl.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    }
    std::array<TestClient, 4> clients;
};

struct OrderOfOwners : testing::TestWithParam<Owners> {};

TEST_P(OrderOfOwners, DoesNotMatterForTheGroup) {
    DaemonProcess daemon;
    FourClients four(daemon);
    std::vector<uint32_t> bound;
    for (const uint32_t owner : GetParam()) {
        bound.push_back(owner);
        const Watch watch(daemon);
        four.bind_one(owner);
        const Ids expected = sorted_by_priority(bound);
        EXPECT_EQ(acls_of_group(daemon.dump(), 1), expected);
        EXPECT_EQ(daemon.control().state().at("groups").at(0).at("acl_ids").get<Ids>(), expected);
    }
    check_cache(daemon);
}

std::vector<Owners> all_orders() {
    std::vector<Owners> orders;
    Owners order = {0, 1, 2, 3};
    do {
        orders.push_back(order);
    } while (std::next_permutation(order.begin(), order.end()));
    return orders;
}

INSTANTIATE_TEST_SUITE_P(ClientPriority, OrderOfOwners, testing::ValuesIn(all_orders()));

TEST(ClientPriority, EqualOnesKeepTheirArrival) {
    DaemonProcess daemon;
    FourClients four(daemon);
    std::vector<uint32_t> bound;
    for (const uint32_t owner :
         {kTarnOs, kOf13, kTarnOs, kPra, kOf13, kOpenFlow, kPra, kTarnOs, kOpenFlow, kPra, kOf13,
          kTarnOs, kOf13, kOpenFlow, kPra, kTarnOs}) {
        four.bind_one(owner);
        bound.push_back(owner);
    }
    EXPECT_EQ(acls_of_group(daemon.dump(), 1), sorted_by_priority(bound));
    check_cache(daemon);
}

struct JoiningOwner : testing::TestWithParam<std::pair<uint32_t, Ids>> {};

TEST_P(JoiningOwner, GoesToItsPlaceBetweenOpenFlowAndTarnOs) {
    DaemonProcess daemon;
    FourClients four(daemon);
    four.bind_one(kOpenFlow);
    four.bind_one(kTarnOs);
    const acl_rm_acl acl = four.clients[GetParam().first].make_acl(1);
    const Watch watch(daemon);
    EXPECT_EQ(four.clients[GetParam().first].bind_ports(kBind, acl.acl_id, {kPort}),
              ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({group_listed(0, GetParam().second, 1)});
}

INSTANTIATE_TEST_SUITE_P(ClientPriority, JoiningOwner,
                         testing::Values(std::pair{kPra, Ids{3, 1, 2}},
                                         std::pair{kOpenFlow, Ids{1, 3, 2}},
                                         std::pair{kTarnOs, Ids{1, 2, 3}},
                                         std::pair{kOf13, Ids{1, 2, 3}}));

// An owner that never opened can own ACLs all the same: a handle of 0 is that of the first such
// slot. Its priority is the lowest.
class NeverOpened : public testing::Test {
  protected:
    NeverOpened() : of13_(daemon_, kOf13) {
        EXPECT_EQ(open_as(daemon_, 0x99, kOpenFlow), ZV_ACL_RM_STATUS_SUCCESS);
    }

    // ACL 1 of OF13, then ACL 2 of tarn-os through the handle 0.
    Ids group_of_both() {
        of13_.make_acl(1);
        EXPECT_EQ(of13_.bind_ports(kBind, 1, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
        TestClient nobody = TestClient::unopened(daemon_, 0);
        nobody.make_acl(1);
        EXPECT_EQ(nobody.bind_ports(kBind, 2, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(daemon_.dump().acls.size(), 2u);
        return acls_of_group(daemon_.dump(), 1);
    }

    DaemonProcess daemon_;
    TestClient of13_;
};

TEST_F(NeverOpened, SortsAfterAllThatDid) {
    EXPECT_EQ(group_of_both(), (Ids{1, 2}));
}

TEST_F(NeverOpened, GetsItsPriorityWhenAnUnknownOwnerIsRefused) {
    EXPECT_EQ(open_as(daemon_, 0x98, 9), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    daemon_.allow_error_lines();
    EXPECT_EQ(group_of_both(), (Ids{2, 1}));
}

TEST(ClientPriority, OpeningAnOwnerAgainKeepsIt) {
    DaemonProcess daemon;
    FourClients four(daemon);
    ASSERT_EQ(open_as(daemon, four.clients[kPra].handle(), kPra), ZV_ACL_RM_STATUS_SUCCESS);
    four.bind_one(kOf13);
    four.bind_one(kPra);
    EXPECT_EQ(acls_of_group(daemon.dump(), 1), (Ids{2, 1}));
}

// The priority is looked up when an ACL joins, not when it was made.
TEST(ClientPriority, AnAclMadeBeforeItsOwnerOpenedIsSortedByThePriorityOfThatMoment) {
    DaemonProcess daemon;
    TestClient of13(daemon, kOf13);
    ASSERT_EQ(open_as(daemon, 0x99, kOpenFlow), ZV_ACL_RM_STATUS_SUCCESS);
    TestClient nobody = TestClient::unopened(daemon, 0);
    nobody.make_acl(1);
    of13.make_acl(1);
    ASSERT_EQ(of13.bind_ports(kBind, 2, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    TestClient tarn_os(daemon, kTarnOs);
    ASSERT_EQ(tarn_os.bind_ports(kBind, 1, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(acls_of_group(daemon.dump(), 1), (Ids{1, 2}));
}

}  // namespace
}  // namespace zv_test
