#include "tests/platform/switch/switch_fixture.h"

namespace {

using zv_test::kAbsentId;
using Ports = std::vector<uint32_t>;

class PbsEntries : public zv_test::SwitchTest {
  protected:
    Ports ports_of(uint32_t id, uint32_t room = 16) {
        Ports ports(room, 99);
        zv_acl_pbs_entry_t entry{77, room, ports.data()};
        EXPECT_EQ(zv_api_acl_policy_based_switching_get(handle_, ZV_ACCESS_CMD_GET, 0, id, &entry),
                  0u);
        type_ = entry.entry_type;
        ports.resize(entry.port_count);
        return ports;
    }
    uint32_t type_ = 0;
};

TEST_F(PbsEntries, IdsCountUpAndAreNotReused) {
    uint32_t first = new_pbs({1});
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_DELETE, 0, {}, &first), 0u);
    EXPECT_EQ(new_pbs({1}), first + 1);
}

TEST_F(PbsEntries, PortsAreASetInAscendingOrder) {
    uint32_t id = new_pbs({9, 3, 9});
    EXPECT_EQ(ports_of(id), (Ports{3, 9}));
    EXPECT_EQ(type_, 2u);
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_ADD_PORTS, 2, {5, 3}, &id), 0u);
    EXPECT_EQ(ports_of(id), (Ports{3, 5, 9}));
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_DELETE_PORTS, 2, {9, 100}, &id), 0u);
    EXPECT_EQ(ports_of(id), (Ports{3, 5}));
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_DELETE_PORTS, 2, {3, 5}, &id), 0u);
    EXPECT_EQ(ports_of(id), Ports{});
}

TEST_F(PbsEntries, ReadingFillsAtMostTheRoomGiven) {
    const uint32_t id = new_pbs({1, 2, 3});
    EXPECT_EQ(ports_of(id, 0), Ports{});
    EXPECT_EQ(ports_of(id, 2), (Ports{1, 2}));
    EXPECT_EQ(ports_of(id, 3), (Ports{1, 2, 3}));
    EXPECT_EQ(ports_of(id, 4), (Ports{1, 2, 3}));
}

TEST_F(PbsEntries, TypeZeroHoldsExactlyOnePort) {
    uint32_t id = 0;
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_ADD, 0, {}, &id), 4u);
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_ADD, 0, {1, 2}, &id), 4u);
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_ADD, 0, {1}, &id), 0u);
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_ADD_PORTS, 0, {2}, &id), 4u);
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_ADD_PORTS, 0, {1}, &id), 0u);
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_DELETE_PORTS, 0, {1}, &id), 4u);
    EXPECT_EQ(ports_of(id), Ports{1});
}

TEST_F(PbsEntries, OfTypeZeroTakeAChangeThatChangesNothing) {
    uint32_t id = 0;
    ASSERT_EQ(pbs(ZV_ACCESS_CMD_ADD, 0, {1}, &id), 0u);
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_ADD_PORTS, 0, {}, &id), 0u);
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_ADD_PORTS, 0, {1, 1}, &id), 0u);
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_ADD_PORTS, 0, {1, 2}, &id), 4u);
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_DELETE_PORTS, 0, {}, &id), 0u);
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_DELETE_PORTS, 0, {2, 3}, &id), 0u);
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_DELETE_PORTS, 0, {2, 1}, &id), 4u);
    EXPECT_EQ(ports_of(id), Ports{1});
}

TEST_F(PbsEntries, AreKnownInTheirOwnVirtualSwitchOnly) {
    uint32_t id = 0;
    ASSERT_EQ(pbs(ZV_ACCESS_CMD_ADD, 2, {1}, &id, 3), 0u);
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_ADD_PORTS, 2, {2}, &id, 0), 6u);
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_DELETE, 2, {}, &id, 0), 6u);
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_DELETE, 2, {}, &id, 3), 0u);
}

TEST_F(PbsEntries, Refusals) {
    uint32_t id = kAbsentId;
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_ADD_PORTS, 2, {1}, &id), 6u);
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_DELETE_PORTS, 2, {1}, &id), 6u);
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_DELETE, 2, {}, &id), 6u);
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_SET, 2, {1}, &id), 9u);
    EXPECT_EQ(pbs(ZV_ACCESS_CMD_ADD, 2, {1}, nullptr), 3u);
    const zv_acl_pbs_entry_t no_list{2, 1, nullptr};
    EXPECT_EQ(zv_api_acl_policy_based_switching_set(handle_, ZV_ACCESS_CMD_ADD, 0, &no_list, &id),
              3u);
    EXPECT_EQ(zv_api_acl_policy_based_switching_set(handle_, ZV_ACCESS_CMD_ADD, 0, nullptr, &id),
              3u);
    zv_acl_pbs_entry_t entry{2, 0, nullptr};
    EXPECT_EQ(zv_api_acl_policy_based_switching_get(handle_, ZV_ACCESS_CMD_GET, 0, id, &entry), 6u);
    EXPECT_EQ(zv_api_acl_policy_based_switching_get(handle_, ZV_ACCESS_CMD_GET, 0, id, nullptr),
              3u);
    EXPECT_EQ(zv_api_acl_policy_based_switching_get(handle_, ZV_ACCESS_CMD_SET, 0, id, &entry), 9u);
}

TEST_F(PbsEntries, DeletingNeedsNoEntry) {
    uint32_t id = new_pbs({1});
    EXPECT_EQ(zv_api_acl_policy_based_switching_set(handle_, ZV_ACCESS_CMD_DELETE, 0, nullptr, &id),
              0u);
}

class Counters : public zv_test::SwitchTest {};

TEST_F(Counters, IdsCountUpAndAreNotReused) {
    uint32_t first = new_counter();
    EXPECT_EQ(zv_api_flow_counter_set(handle_, ZV_ACCESS_CMD_DESTROY, 0, &first), 0u);
    EXPECT_EQ(new_counter(), first + 1);
}

TEST_F(Counters, StartAtZero) {
    zv_flow_counter_set_t values{9, 9};
    EXPECT_EQ(zv_api_flow_counter_get(handle_, ZV_ACCESS_CMD_READ, new_counter(), &values), 0u);
    EXPECT_EQ(values.first, 0u);
    EXPECT_EQ(values.second, 0u);
}

TEST_F(Counters, Refusals) {
    uint32_t id = kAbsentId;
    zv_flow_counter_set_t values{9, 9};
    EXPECT_EQ(zv_api_flow_counter_set(handle_, ZV_ACCESS_CMD_DESTROY, 0, &id), 6u);
    EXPECT_EQ(zv_api_flow_counter_set(handle_, ZV_ACCESS_CMD_ADD, 0, &id), 9u);
    EXPECT_EQ(zv_api_flow_counter_set(handle_, ZV_ACCESS_CMD_CREATE, 0, nullptr), 3u);
    EXPECT_EQ(zv_api_flow_counter_get(handle_, ZV_ACCESS_CMD_READ, id, &values), 6u);
    EXPECT_EQ(zv_api_flow_counter_get(handle_, ZV_ACCESS_CMD_GET, id, &values), 9u);
    EXPECT_EQ(zv_api_flow_counter_get(handle_, ZV_ACCESS_CMD_READ, id, nullptr), 3u);
    EXPECT_EQ(zv_api_flow_counter_clear_set(handle_, id), 6u);
    EXPECT_EQ(values.first, 9u);
}

}  // namespace
