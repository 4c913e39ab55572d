// The records' golden bytes: what a client in another language has to produce.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "zv_acl_rm/zv_acl_rm_records.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

namespace {

constexpr uint64_t kHandle = 0x1122334455667788;
const std::string kHandleBytes = "8877665544332211";

template <class Record>
std::string hex_of(const Record &record) {
    const auto *bytes = reinterpret_cast<const unsigned char *>(&record);
    std::string hex;
    for (size_t i = 0; i < sizeof(record); i++) {
        constexpr char digits[] = "0123456789abcdef";
        hex += digits[bytes[i] >> 4];
        hex += digits[bytes[i] & 15];
    }
    return hex;
}

std::string zeros(size_t bytes) {
    return std::string(2 * bytes, '0');
}

template <class Record>
Record zeroed() {
    Record record;
    std::memset(&record, 0, sizeof(record));
    record.client_handle = kHandle;
    return record;
}

TEST(Records, OpenCarriesHandleAndOwner) {
    auto record = zeroed<zv_acl_rm_open_params_t>();
    record.owner = ZV_ACL_RM_OWNER_OF13;
    EXPECT_EQ(hex_of(record), kHandleBytes + "03000000" + zeros(4));
}

TEST(Records, InitCarriesHandleAndChipType) {
    auto record = zeroed<zv_acl_rm_init_params_t>();
    record.chip_type = 11;
    EXPECT_EQ(hex_of(record), kHandleBytes + "0b000000" + zeros(4));
}

TEST(Records, AclSetCarriesTheAclFromByte12) {
    auto record = zeroed<zv_acl_rm_acl_set_params_t>();
    record.cmd = ZV_ACL_RM_ACCESS_CMD_CREATE;
    record.acl = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(hex_of(record), kHandleBytes + "04000000" + "01000000" + "02000000" + "03000000" +
                                  "04000000" + "05000000" + "06000000" + "07000000" + "08000000" +
                                  zeros(4));
}

TEST(Records, ResizeCarriesAclAndSize) {
    auto record = zeroed<zv_acl_rm_acl_resize_params_t>();
    record.acl_id = 9;
    record.new_size = 0x01020304;
    EXPECT_EQ(hex_of(record), kHandleBytes + "09000000" + "04030201");
}

TEST(Records, RuleSetCarriesTwentyRulesAndTheirNumberBehindThem) {
    auto record = zeroed<zv_acl_rm_acl_rule_set_params_t>();
    record.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE;
    record.acl_id = 2;
    record.rules[19].forwarding.counter_id = 0x0a0b0c0d;
    record.rules_num = 20;
    EXPECT_EQ(hex_of(record), kHandleBytes + "06000000" + "02000000" + zeros(7196) + "0d0c0b0a" +
                                  "14000000" + zeros(4));
}

TEST(Records, RuleHasItsBlocksWhereTheWireHasThem) {
    acl_rm_rule rule;
    std::memset(&rule, 0, sizeof(rule));
    rule.priority = 1;
    rule.offset = 2;
    rule.valid = 3;
    rule.key.key_type = 4;
    rule.key.data[127] = 5;
    rule.mask.key_type = 6;
    rule.mask.data[127] = 7;
    rule.action[0] = 8;
    rule.action[55] = 9;
    rule.forwarding = {10, 11, 12, {13, 14}, 15};
    EXPECT_EQ(hex_of(rule),
              "01000000"
              "02000000"
              "03000000"
              "04000000" +
                  zeros(127) + "05" + "06000000" + zeros(127) + "07" + zeros(4) + "08" + zeros(54) +
                  "09"
                  "0a000000"
                  "0b000000"
                  "0c000000"
                  "0d000000"
                  "0e000000"
                  "0f000000");
}

TEST(Records, ReadoutUsesTheRulesTailInItsOwnWay) {
    acl_rm_rule rule;
    std::memset(&rule, 0, sizeof(rule));
    rule.readout.activity_request = 1;
    rule.readout.activity = 2;
    rule.readout.forwarding_type = 3;
    rule.readout.log_port = 4;
    rule.readout.mc_pbs_id = 5;
    rule.readout.counter_id = 6;
    EXPECT_EQ(hex_of(rule), zeros(336) +
                                "01000000"
                                "02000000"
                                "03000000"
                                "04000000"
                                "05000000"
                                "06000000");
}

TEST(Records, RuleGetCarriesTheAclWhereRuleSetHasItsCommand) {
    auto record = zeroed<zv_acl_rm_acl_rule_get_params_t>();
    record.acl_id = 3;
    record.rules_num = 1;
    EXPECT_EQ(hex_of(record), kHandleBytes + "03000000" + zeros(4 + 7200) + "01000000" + zeros(4));
}

TEST(Records, MoveBlockCarriesFourNumbers) {
    auto record = zeroed<zv_acl_rm_acl_rule_move_block_params_t>();
    record.acl_id = 1;
    record.block_start = 2;
    record.block_size = 3;
    record.new_start = 4;
    EXPECT_EQ(hex_of(record), kHandleBytes +
                                  "01000000"
                                  "02000000"
                                  "03000000"
                                  "04000000");
}

TEST(Records, PortBindCarriesHundredPortsOfFourBytes) {
    auto record = zeroed<zv_acl_rm_acl_port_bind_params_t>();
    record.cmd = ZV_ACL_RM_ACCESS_CMD_BIND;
    record.acl_id = 1;
    record.log_ports[0] = 65537;
    record.log_ports[99] = 65600;
    record.ports_num = 100;
    EXPECT_EQ(hex_of(record), kHandleBytes +
                                  "07000000"
                                  "01000000"
                                  "01000100" +
                                  zeros(392) +
                                  "40000100"
                                  "64000000" +
                                  zeros(4));
}

TEST(Records, RifBindCarriesHundredRifsOfTwoBytes) {
    auto record = zeroed<zv_acl_rm_acl_rif_bind_params_t>();
    record.cmd = ZV_ACL_RM_ACCESS_CMD_UNBIND;
    record.acl_id = 1;
    record.rifs[0] = 0x0102;
    record.rifs[99] = 0x0304;
    record.rifs_num = 100;
    EXPECT_EQ(hex_of(record), kHandleBytes +
                                  "08000000"
                                  "01000000"
                                  "0201" +
                                  zeros(196) +
                                  "0403"
                                  "64000000" +
                                  zeros(4));
}

TEST(Records, CounterRecordsCarryTheTypeAsTwoFlags) {
    auto set = zeroed<zv_acl_rm_counter_set_params_t>();
    set.cmd = ZV_ACL_RM_ACCESS_CMD_DESTROY;
    set.counter_type = {1, 0};
    set.counter_id = 7;
    EXPECT_EQ(hex_of(set), kHandleBytes +
                               "05000000"
                               "01000000"
                               "00000000"
                               "07000000");
    auto get = zeroed<zv_acl_rm_counter_get_params_t>();
    get.cmd = ZV_ACL_RM_ACCESS_CMD_READ;
    get.counter_id = 7;
    get.counter_type = {0, 1};
    get.values[0] = 1;
    get.values[1] = 2;
    EXPECT_EQ(hex_of(get), kHandleBytes +
                               "0d000000"
                               "07000000"
                               "00000000"
                               "01000000"
                               "0100000000000000"
                               "0200000000000000");
}

TEST(Records, McGroupRecordsCarryHundredPorts) {
    auto set = zeroed<zv_acl_rm_mc_group_set_params_t>();
    set.cmd = ZV_ACL_RM_ACCESS_CMD_ADD;
    set.mc_group_id = 5;
    set.log_ports[99] = 6;
    set.ports_num = 100;
    EXPECT_EQ(hex_of(set), kHandleBytes +
                               "01000000"
                               "05000000" +
                               zeros(396) +
                               "06000000"
                               "64000000" +
                               zeros(4));
    auto get = zeroed<zv_acl_rm_mc_group_get_params_t>();
    get.mc_group_id = 5;
    get.log_ports[99] = 6;
    get.ports_num = 100;
    EXPECT_EQ(hex_of(get), kHandleBytes + "05000000" + zeros(396) +
                               "06000000"
                               "64000000");
}

TEST(Records, SystemBindPortSetAndDumpAreAsDocumented) {
    auto bind = zeroed<zv_acl_rm_acl_system_bind_params_t>();
    bind.cmd = ZV_ACL_RM_ACCESS_CMD_BIND;
    bind.acl_id = 4;
    EXPECT_EQ(hex_of(bind), kHandleBytes +
                                "07000000"
                                "04000000");
    auto ports = zeroed<zv_acl_rm_port_set_params_t>();
    ports.cmd = ZV_ACL_RM_ACCESS_CMD_DELETE_PORTS;
    ports.log_ports[0] = 1;
    ports.ports_num = 2;
    EXPECT_EQ(hex_of(ports), kHandleBytes +
                                 "0a000000"
                                 "01000000" +
                                 zeros(396) + "02000000");
    EXPECT_EQ(hex_of(zeroed<zv_acl_rm_dump_params_t>()), kHandleBytes + zeros(8));
}

TEST(Records, StatusesHaveTheirNumbers) {
    const std::vector<uint32_t> statuses = {ZV_ACL_RM_STATUS_SUCCESS,
                                            ZV_ACL_RM_STATUS_ERROR,
                                            ZV_ACL_RM_STATUS_CMD_UNSUPPORTED,
                                            ZV_ACL_RM_STATUS_PARAM_NULL,
                                            ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                                            ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND,
                                            ZV_ACL_RM_STATUS_NO_RESOURCES,
                                            ZV_ACL_RM_STATUS_NO_HW_RESOURCES,
                                            ZV_ACL_RM_STATUS_NO_BUFFER_SPACE,
                                            ZV_ACL_RM_STATUS_LAST};
    for (uint32_t value = 0; value < statuses.size(); value++)
        EXPECT_EQ(statuses[value], value);
}

}  // namespace
