// From the clients' commands to the packet: which rule of which owner a packet hits.
#include <gtest/gtest.h>

#include "tests/commands_e2e/requests.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

using Ids = std::vector<uint32_t>;
using nlohmann::json;

constexpr uint32_t kDrop = 1;
constexpr uint32_t kTrap = 2;

struct Hit {
    uint32_t acl_id, offset, verdict;
    bool operator==(const Hit &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Hit &hit) {
    return out << "ACL " << hit.acl_id << " offset " << hit.offset << " verdict " << hit.verdict;
}

constexpr Hit kMiss = {0, 0, 0};

class PacketPath : public testing::Test {
  protected:
    // A packet whose first byte is `first`, at a port.
    json send(const std::string &first, uint32_t port = kPort, uint32_t direction = 0,
              uint32_t key_type = 0) {
        return daemon_.control().packet("log_port", port, direction, key_type, first);
    }
    Hit hit(const std::string &first, uint32_t port = kPort, uint32_t direction = 0,
            uint32_t key_type = 0) {
        const json answer = send(first, port, direction, key_type);
        if (!answer.value("matched", false)) {
            return kMiss;
        }
        return {answer.at("acl_id"), answer.at("offset"), answer.at("verdict")};
    }
    // An ACL of one client with rules, bound to the port.
    uint32_t bound_acl(TestClient &client, const std::vector<acl_rm_rule> &rules) {
        const acl_rm_acl acl = client.make_acl(16);
        EXPECT_EQ(client.write_rules(acl.acl_id, rules), ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(client.bind_ports(kBind, acl.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
        return acl.acl_id;
    }

    DaemonProcess daemon_;
};

TEST_F(PacketPath, TheLowestOffsetThatMatchesDecides) {
    TestClient client(daemon_);
    bound_acl(client, {with_verdict(match_byte(make_rule(9), 0, 0xaa), kDrop),
                       with_verdict(make_rule(12), kTrap),
                       with_verdict(match_byte(make_rule(3), 0, 0xbb), kTrap)});
    EXPECT_EQ(hit("aa"), (Hit{1, 9, kDrop}));
    EXPECT_EQ(hit("bb"), (Hit{1, 3, kTrap}));
    EXPECT_EQ(hit("cc"), (Hit{1, 12, kTrap}));
    EXPECT_EQ(hit("aa", kPort + 1), kMiss);
    EXPECT_EQ(hit("aa", kPort, 1), kMiss);
    EXPECT_EQ(hit("aa", kPort, 0, 1), kMiss);
}

TEST_F(PacketPath, RulesOfFourKeyTypesInOneAclAreApart) {
    TestClient client(daemon_);
    bound_acl(client, {make_rule(3, 0), make_rule(2, 1), make_rule(1, 2), make_rule(0, 3)});
    for (uint32_t key_type = 0; key_type < 4; ++key_type) {
        EXPECT_EQ(hit("00", kPort, 0, key_type), (Hit{1, 3 - key_type, 0}));
    }
}

TEST_F(PacketPath, AnInvalidRuleIsPassedOver) {
    TestClient client(daemon_);
    acl_rm_rule invalid = with_verdict(make_rule(0), kDrop);
    invalid.valid = 0;
    bound_acl(client, {invalid, with_verdict(make_rule(1), kTrap)});
    EXPECT_EQ(hit("00"), (Hit{1, 1, kTrap}));
}

TEST_F(PacketPath, TheOwnersPrioritiesDecideBetweenAcls) {
    TestClient of13(daemon_, ZV_ACL_RM_OWNER_OF13);
    TestClient tarn_os(daemon_, ZV_ACL_RM_OWNER_TARN_OS);
    TestClient open_flow(daemon_, ZV_ACL_RM_OWNER_OPEN_FLOW);
    TestClient pra(daemon_, ZV_ACL_RM_OWNER_PRA);
    // Bound in the order opposite to the one in which they are asked; what one leaves reaches the
    // next.
    const auto catch_all = with_verdict(make_rule(0), kDrop);
    const auto catch_byte = [](uint8_t value) { return match_byte(make_rule(5), 0, value); };
    ASSERT_EQ(bound_acl(of13, {catch_all}), 1u);
    EXPECT_EQ(hit("03"), (Hit{1, 0, kDrop}));
    ASSERT_EQ(bound_acl(tarn_os, {catch_byte(2)}), 2u);
    ASSERT_EQ(bound_acl(open_flow, {catch_byte(1), match_byte(make_rule(6), 0, 7)}), 3u);
    ASSERT_EQ(bound_acl(pra, {catch_byte(0), match_byte(make_rule(6), 0, 7)}), 4u);
    EXPECT_EQ(hit("00"), (Hit{4, 5, 0}));
    EXPECT_EQ(hit("01"), (Hit{3, 5, 0}));
    EXPECT_EQ(hit("02"), (Hit{2, 5, 0}));
    EXPECT_EQ(hit("03"), (Hit{1, 0, kDrop}));
    EXPECT_EQ(hit("07"), (Hit{4, 6, 0}));
    check_cache(daemon_);
}

TEST_F(PacketPath, ALaterAclOfAPrivilegedOwnerTakesPacketsOver) {
    TestClient open_flow(daemon_, ZV_ACL_RM_OWNER_OPEN_FLOW);
    TestClient pra(daemon_, ZV_ACL_RM_OWNER_PRA);
    bound_acl(open_flow, {make_rule(0)});
    EXPECT_EQ(hit("00"), (Hit{1, 0, 0}));
    bound_acl(open_flow, {with_verdict(make_rule(0), kTrap)});
    EXPECT_EQ(hit("00"), (Hit{1, 0, 0}));
    bound_acl(pra, {with_verdict(make_rule(15), kDrop)});
    EXPECT_EQ(hit("00"), (Hit{3, 15, kDrop}));
}

TEST_F(PacketPath, AForwardingRuleSendsToItsPort) {
    TestClient client(daemon_);
    bound_acl(client, {forward_to_port(match_byte(make_rule(0), 0, 1), 4000),
                       forward_to_port(match_byte(make_rule(1), 0, 2), 4001),
                       forward_to_port(match_byte(make_rule(2), 0, 3), 4000), make_rule(3)});
    EXPECT_EQ(send("01").at("ports").get<Ids>(), Ids{4000});
    EXPECT_EQ(send("02").at("ports").get<Ids>(), Ids{4001});
    EXPECT_EQ(send("03").at("ports").get<Ids>(), Ids{4000});
    EXPECT_EQ(send("04").value("ports", Ids{}), Ids());
}

TEST_F(PacketPath, RulesWrittenAfterTheBindCountToo) {
    TestClient client(daemon_);
    const uint32_t acl_id = bound_acl(client, {});
    EXPECT_EQ(hit("00"), kMiss);
    ASSERT_EQ(client.write_rules(acl_id, {make_rule(4)}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(hit("00"), (Hit{1, 4, 0}));
}

TEST_F(PacketPath, AfterAFailedJoinTheGroupDecidesAsBefore) {
    TestClient open_flow(daemon_, ZV_ACL_RM_OWNER_OPEN_FLOW);
    TestClient pra(daemon_, ZV_ACL_RM_OWNER_PRA);
    bound_acl(open_flow, {make_rule(0)});
    const acl_rm_acl acl = pra.make_acl(4);
    ASSERT_EQ(pra.write_rules(acl.acl_id, {make_rule(0)}), ZV_ACL_RM_STATUS_SUCCESS);
    daemon_.control().fail("zv_api_acl_group_set", 5);
    EXPECT_EQ(pra.bind_ports(kBind, acl.acl_id, {kPort}), ZV_ACL_RM_STATUS_NO_HW_RESOURCES);
    EXPECT_EQ(hit("00"), (Hit{1, 0, 0}));
    EXPECT_EQ(pra.bind_ports(kBind, acl.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(hit("00"), (Hit{2, 0, 0}));
    check_cache(daemon_);
}

}  // namespace
}  // namespace zv_test
