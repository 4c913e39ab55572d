#include "platform/switch/packet.h"

#include "tests/platform/switch/switch_fixture.h"

namespace {

using zv_switch::Packet;
using zv_switch::Verdict;
using zv_test::kAbsentId;
using zv_test::rule_at;

constexpr uint32_t kPort = 65537;
constexpr uint16_t kRif = 12;
constexpr uint32_t kIngress = 0;
constexpr uint32_t kEgress = 1;

zv_acl_rule_t with_action(zv_acl_rule_t rule, uint32_t verdict, uint32_t counter_id = 0) {
    rule.action.counter_id = counter_id;
    std::memcpy(rule.action.data, &verdict, sizeof(verdict));
    return rule;
}

class PacketWalk : public zv_test::SwitchTest {
  protected:
    ~PacketWalk() override {
        for (const uint32_t group_id : bound_ports_) {
            EXPECT_EQ(zv_api_acl_port_bind_set(handle_, ZV_ACCESS_CMD_UNBIND, kPort, group_id), 0u);
        }
    }
    void bind(uint32_t group_id) {
        EXPECT_EQ(zv_api_acl_port_bind_set(handle_, ZV_ACCESS_CMD_BIND, kPort, group_id), 0u);
        bound_ports_.push_back(group_id);
    }
    static Packet packet(uint8_t byte, uint32_t length = 100) {
        Packet sent{};
        sent.point = {false, kPort};
        sent.direction = kIngress;
        sent.key_type = 1;
        sent.key[0] = byte;
        sent.length = length;
        return sent;
    }
    static Verdict send(const Packet &sent) {
        zv_switch::Switch &sw = zv_switch::the_switch();
        const std::lock_guard lock(sw.mutex);
        return zv_switch::packet_send(sw, sent);
    }
    std::pair<uint64_t, uint64_t> values(uint32_t counter_id, uint32_t cmd = ZV_ACCESS_CMD_READ) {
        zv_flow_counter_set_t read{9, 9};
        EXPECT_EQ(zv_api_flow_counter_get(handle_, cmd, counter_id, &read), 0u);
        return {read.first, read.second};
    }
    // One region with these rules in one ACL in one group at the port.
    uint32_t bind_rules(const std::vector<zv_acl_rule_t> &rules) {
        const uint32_t region_id = new_region(200);
        EXPECT_EQ(write(region_id, rules), 0u);
        acl_ = new_acl(region_id);
        bind(new_group({acl_}));
        return region_id;
    }
    std::vector<uint32_t> bound_ports_;
    uint32_t acl_ = 0;
};

using Values = std::pair<uint64_t, uint64_t>;

TEST_F(PacketWalk, WithoutAGroupAPacketIsPermitted) {
    const Verdict result = send(packet(1));
    EXPECT_FALSE(result.matched);
    EXPECT_EQ(result.verdict, 0u);
}

TEST_F(PacketWalk, TheLowestOffsetThatMatchesWins) {
    bind_rules({with_action(rule_at(130, 5), 1), with_action(rule_at(70, 5), 2),
                with_action(rule_at(3, 6), 1)});
    const Verdict result = send(packet(5));
    EXPECT_TRUE(result.matched);
    EXPECT_EQ(result.acl_id, acl_);
    EXPECT_EQ(result.offset, 70u);
    EXPECT_EQ(result.verdict, 2u);
    EXPECT_FALSE(send(packet(7)).matched);
}

TEST_F(PacketWalk, AclsAreWalkedInTheGroupsOrder) {
    const uint32_t low = new_region(4);
    const uint32_t high = new_region(4);
    ASSERT_EQ(write(low, {with_action(rule_at(0, 5), 1)}), 0u);
    ASSERT_EQ(write(high, {with_action(rule_at(3, 5), 2)}), 0u);
    const uint32_t low_acl = new_acl(low);
    const uint32_t high_acl = new_acl(high);
    uint32_t group_id = new_group({high_acl, low_acl});
    bind(group_id);
    EXPECT_EQ(send(packet(5)).acl_id, high_acl);
    ASSERT_EQ(group(ZV_ACCESS_CMD_SET, kIngress, {low_acl, high_acl}, &group_id), 0u);
    EXPECT_EQ(send(packet(5)).acl_id, low_acl);
}

TEST_F(PacketWalk, OnlyBitsOfTheMaskAreCompared) {
    zv_acl_rule_t rule = rule_at(0, 0xf0);
    rule.key.data[127] = 0x01;
    rule.mask.data[0] = 0xc0;
    rule.mask.data[127] = 0x01;
    bind_rules({rule});
    Packet sent = packet(0xc5);
    sent.key[127] = 0xff;
    EXPECT_TRUE(send(sent).matched);
    sent.key[0] = 0x80;
    EXPECT_FALSE(send(sent).matched);
    sent.key[0] = 0xc0;
    sent.key[127] = 0xfe;
    EXPECT_FALSE(send(sent).matched);
}

TEST_F(PacketWalk, AnInvalidRuleIsPassedOver) {
    zv_acl_rule_t invalid = rule_at(0, 5);
    invalid.valid = 0;
    bind_rules({invalid, rule_at(1, 5)});
    EXPECT_EQ(send(packet(5)).offset, 1u);
}

TEST_F(PacketWalk, ARuleOfAnotherKeyTypeIsPassedOver) {
    bind_rules({rule_at(0, 5)});
    Packet sent = packet(5);
    sent.key_type = 2;
    EXPECT_FALSE(send(sent).matched);
}

TEST_F(PacketWalk, AGroupOfAnotherDirectionPermits) {
    bind_rules({rule_at(0, 5)});
    Packet sent = packet(5);
    sent.direction = kEgress;
    EXPECT_FALSE(send(sent).matched);
}

TEST_F(PacketWalk, AnInterfaceIsNotThePortOfItsNumber) {
    const uint32_t region_id = new_region(1);
    ASSERT_EQ(write(region_id, {rule_at(0, 5)}), 0u);
    const uint32_t group_id = new_group({new_acl(region_id)});
    ASSERT_EQ(zv_api_acl_rif_bind_set(handle_, ZV_ACCESS_CMD_BIND, kRif, group_id), 0u);
    Packet sent = packet(5);
    sent.point = {true, kRif};
    EXPECT_TRUE(send(sent).matched);
    sent.point = {false, kRif};
    EXPECT_FALSE(send(sent).matched);
    ASSERT_EQ(zv_api_acl_rif_bind_set(handle_, ZV_ACCESS_CMD_UNBIND, kRif, group_id), 0u);
}

TEST_F(PacketWalk, AMatchSetsActivityWhichReadingClearsOnDemand) {
    const uint32_t region_id = bind_rules({rule_at(0, 5), rule_at(1, 5)});
    EXPECT_EQ(activity(region_id, 0), 0);
    send(packet(5));
    EXPECT_EQ(activity(region_id, 0), 1);
    EXPECT_EQ(activity(region_id, 1), 0);
    EXPECT_EQ(activity(region_id, 0, ZV_ACCESS_CMD_READ_CLEAR), 1);
    EXPECT_EQ(activity(region_id, 0), 0);
}

TEST_F(PacketWalk, ActivityMovesWithItsRuleAndGoesWhenItIsOverwritten) {
    const uint32_t region_id = bind_rules({rule_at(0, 5)});
    send(packet(5));
    ASSERT_EQ(zv_api_acl_rule_block_move_set(handle_, region_id, 0, 2, 100), 0u);
    EXPECT_EQ(activity(region_id, 0), 0);
    EXPECT_EQ(activity(region_id, 100), 1);
    EXPECT_EQ(activity(region_id, 101), 0);
    ASSERT_EQ(write(region_id, {rule_at(100, 5)}), 0u);
    EXPECT_EQ(activity(region_id, 100), 0);
}

TEST_F(PacketWalk, ACounterCountsPacketsAndBytes) {
    const uint32_t counter = new_counter();
    bind_rules({with_action(rule_at(0, 5), 0, counter)});
    EXPECT_EQ(send(packet(5, 100)).counter_id, counter);
    send(packet(5, UINT32_MAX));
    send(packet(6, 1));
    EXPECT_EQ(values(counter), (Values{2, uint64_t{100} + UINT32_MAX}));
    EXPECT_EQ(values(counter, ZV_ACCESS_CMD_READ_CLEAR), (Values{2, uint64_t{100} + UINT32_MAX}));
    EXPECT_EQ(values(counter), (Values{0, 0}));
    send(packet(5, 1));
    EXPECT_EQ(zv_api_flow_counter_clear_set(handle_, counter), 0u);
    EXPECT_EQ(values(counter), (Values{0, 0}));
}

TEST_F(PacketWalk, ARuleMayNameACounterThatIsGone) {
    uint32_t counter = new_counter();
    bind_rules({with_action(rule_at(0, 5), 1, counter)});
    ASSERT_EQ(zv_api_flow_counter_set(handle_, ZV_ACCESS_CMD_DESTROY, 0, &counter), 0u);
    EXPECT_EQ(send(packet(5)).verdict, 1u);
}

TEST_F(PacketWalk, AForwardingRuleNamesTheEntrysPorts) {
    uint32_t pbs_id = new_pbs({8, 4});
    zv_acl_rule_t forwarding = rule_at(0, 5);
    forwarding.action.forward = 6;
    forwarding.action.pbs_id = pbs_id;
    zv_acl_rule_t not_forwarding = rule_at(1, 6);
    not_forwarding.action.pbs_id = pbs_id;
    bind_rules({forwarding, not_forwarding});
    EXPECT_EQ(send(packet(5)).ports, (std::vector<uint32_t>{4, 8}));
    EXPECT_EQ(send(packet(6)).ports, std::vector<uint32_t>{});
    ASSERT_EQ(pbs(ZV_ACCESS_CMD_DELETE, 2, {}, &pbs_id), 0u);
    EXPECT_EQ(send(packet(5)).ports, std::vector<uint32_t>{});
}

}  // namespace
