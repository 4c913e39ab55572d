#include "zv_net.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "platform/sim/config.h"
#include "platform/sim/faults.h"

namespace {

constexpr uint32_t kSelector = 2;

class Net : public testing::Test {
  protected:
    Net() { zv_sim::ports_replace({{11, 0, "eth1"}, {12, 0, ""}, {13, 1, "cpu"}}); }
};

TEST_F(Net, WithoutABufferThePortsAreCounted) {
    uint32_t count = 77;
    EXPECT_EQ(zv_net_ports_get_all(kSelector, nullptr, &count), 0u);
    EXPECT_EQ(count, 3u);
}

TEST_F(Net, ALargeBufferIsFilledAsFarAsThereArePorts) {
    std::vector<zv_net_port_t> ports(4, {99, 99, "untouched"});
    uint32_t count = 4;
    ASSERT_EQ(zv_net_ports_get_all(kSelector, ports.data(), &count), 0u);
    EXPECT_EQ(count, 3u);
    EXPECT_EQ(ports[0].log_port, 11u);
    EXPECT_EQ(ports[0].kind, 0u);
    EXPECT_STREQ(ports[0].name, "eth1");
    EXPECT_EQ(ports[2].log_port, 13u);
    EXPECT_EQ(ports[2].kind, 1u);
    EXPECT_STREQ(ports[2].name, "cpu");
    EXPECT_STREQ(ports[3].name, "untouched");
}

TEST_F(Net, ASmallBufferIsNotOverrun) {
    std::vector<zv_net_port_t> ports(3, {99, 99, "untouched"});
    uint32_t count = 2;
    ASSERT_EQ(zv_net_ports_get_all(kSelector, ports.data(), &count), 0u);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(ports[1].log_port, 12u);
    EXPECT_EQ(ports[2].log_port, 99u);
}

TEST_F(Net, ANameIsPaddedWithNuls) {
    zv_net_port_t port;
    std::memset(&port, 0xff, sizeof(port));
    uint32_t count = 1;
    ASSERT_EQ(zv_net_ports_get_all(kSelector, &port, &count), 0u);
    const char padded[24] = "eth1";
    EXPECT_EQ(std::memcmp(port.name, padded, sizeof(padded)), 0);
}

TEST_F(Net, RefusesANullCount) {
    EXPECT_EQ(zv_net_ports_get_all(kSelector, nullptr, nullptr), 3u);
}

TEST_F(Net, UpAndDownSucceed) {
    EXPECT_EQ(zv_net_init(nullptr, 3, 0), 0u);
    EXPECT_EQ(zv_net_deinit(), 0u);
}

TEST_F(Net, AnEarlyFaultLeavesTheCountAsItWas) {
    zv_sim::faults_arm({{"zv_net_ports_get_all", 1, 1, 8, false}});
    uint32_t count = 77;
    EXPECT_EQ(zv_net_ports_get_all(kSelector, nullptr, &count), 8u);
    EXPECT_EQ(count, 77u);
}

TEST_F(Net, ALateFaultLeavesTheCountFilled) {
    zv_sim::faults_arm({{"zv_net_ports_get_all", 1, 1, 8, true}});
    uint32_t count = 77;
    EXPECT_EQ(zv_net_ports_get_all(kSelector, nullptr, &count), 8u);
    EXPECT_EQ(count, 3u);
}

TEST_F(Net, BringingUpAndTakingDownCanFail) {
    zv_sim::faults_arm({{"zv_net_init", 1, 1, 4, false}, {"zv_net_deinit", 1, 1, 5, false}});
    EXPECT_EQ(zv_net_init(nullptr, 3, 0), 4u);
    EXPECT_EQ(zv_net_deinit(), 5u);
}

}  // namespace
