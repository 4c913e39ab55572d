// The sixteen commands as the socket sees them: lengths, texts, replies; and what is no command.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "tests/support/cache_check.h"
#include "tests/support/daemon_process.h"
#include "tests/support/test_client.h"

namespace zv_test {
namespace {

// One row per command. `length_text` and `failure_text` end where the number follows.
struct Row {
    uint32_t command;
    const char *name;
    uint32_t length;
    const char *entry_text;  // null: the command logs no entry
    const char *length_text;
    const char *failure_text;  // null: its failure cannot be had with an unopened switch
    const char *failure_tail;
    const char *failure_level;
    uint32_t reply_length;
};

const Row kRows[] = {
    {2, "OPEN", 16, "got message zv_acl_rm_api_open.", "failed to received zv_acl_rm_api_open len ",
     "failed in acl_rm_open_new_client. acl_ret_status:=", ".", "INFO", 0},
    // INIT has no length text of its own.
    {3, "INIT", 16, "got message zv_acl_rm_api_init.", "failed to received zv_acl_rm_api_open len ",
     "failed in acl_rm_init. acl_ret_status:=", ".", "INFO", 0},
    {4, "ACL_SET", 48, "got message zv_acl_rm_api_acl_set.",
     "failed to receive zv_acl_rm_api_acl_set len ", "failed in acl_rm_set acl_ret_status:=", ".",
     "INFO", 32},
    {5, "ACL_RESIZE", 16, "got message acl_rm_rpc_acl_resize.",
     "failed to receive acl_rm_resize_params len ",
     "failed in acl_rm_acl_resize acl_ret_status:=", ".", "INFO", 16},
    {6, "ACL_RULE_SET", 7224, "got message zv_acl_rm_api_acl_rule_set.",
     "failed to received zv_acl_rm_api_acl_rule_set len ",
     "failed to in acl_rm_acl_rule_set. acl_ret_status:=", ".", "INFO", 7224},
    {7, "ACL_RULE_GET", 7224, "got message zv_acl_rm_api_acl_rule_get",
     "failed to received zv_acl_rm_api_acl_rule_get len ",
     "failed to in acl_rm_acl_rule_get. acl_ret_status:=", "", "INFO", 7224},
    {8, "ACL_RULE_MOVE_BLOCK", 24, "got message zv_acl_rm_api_acl_rule_move_block.",
     "failed to received zv_acl_rm_api_acl_rule_move_block len ",
     "failed to in zv_acl_rm_api_acl_rule_move_block. acl_ret_status:=", "", "INFO", 0},
    {9, "ACL_BIND_PORT_SET", 424, "got message zv_acl_rm_api_acl_port_bind.",
     "failed to received zv_acl_rm_api_acl_port_bind len ",
     "failed in acl_rm_bind. acl_ret_status:=", ".", "INFO", 424},
    {10, "ACL_BIND_RIF_SET", 224, "got message zv_acl_rm_api_acl_rif_bind.",
     "failed to received zv_acl_rm_api_acl_rif_bind len ",
     "failed in acl_rm_rif_bind. acl_ret_status:=", ".", "INFO", 224},
    {11, "COUNTER_SET", 24, "got message acl_rm_rpc_counter_set.",
     "failed to received zv_acl_rm_api_counter_bind_params_t len ",
     "failed in acl_rm_rpc_counter_bind. acl_ret_status:=", ".", "INFO", 24},
    {12, "COUNTER_GET", 40, "got message zv_acl_rm_api_counter_get.",
     "failed to received zv_acl_rm_api_counter_get len ",
     "failed in acl_rm_rpc_counter_get. acl_ret_status:=", ".", "INFO", 40},
    {13, "MC_GRP_SET", 424, nullptr, "failed to receive zv_acl_rm_api_acl_mc_group_set len ",
     "failed in acl_rm_acl_mc_group_set. acl_ret_status:=", ".", "INFO", 424},
    {14, "MC_GRP_GET", 416, nullptr, "failed to receive zv_acl_rm_api_acl_mc_group_get len ",
     "failed in acl_rm_acl_mc_group_get. acl_ret_status:=", ".", "INFO", 416},
    {15, "ACL_BIND_SYSTEM_SET", 16, "got message zv_acl_rm_api_acl_system_bind_set.",
     "received message of size ", "acl_rm_rpc_system_bind_set: error ",
     " performing acl_rm_acl_system_bind_set", "ERROR", 16},
    {16, "PORT_SET", 416, "got message zv_acl_rm_api_port_set.", "received message of size ",
     "acl_rm_rpc_port_set: error ", " performing acl_rm_port_set", "ERROR", 416},
    {17, "DUMP", 16, "got message zv_acl_rm_api_dump.", "received message of size ",
     "acl_rm_rpc_dump: error ", " performing acl_rm_dump", "ERROR", 16},
};

LogLine length_line(const Row &row, size_t length) {
    // Where the text has words after the number, they are a full stop.
    const bool has_stop = std::strstr(row.length_text, "received message of size") == nullptr &&
                          row.command != ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET;
    return {"ACL_RM_RPC", "ERROR",
            row.length_text + std::to_string(length) + (has_stop ? "." : "")};
}

LogLine failure_line(const Row &row, uint32_t status) {
    return {"ACL_RM_RPC", row.failure_level,
            row.failure_text + std::to_string(status) + row.failure_tail};
}

std::ostream &operator<<(std::ostream &out, const Row &row) {
    return out << row.name;
}

std::string row_name(const testing::TestParamInfo<Row> &info) {
    return info.param.name;
}

struct Command : testing::TestWithParam<Row> {
    static DaemonOptions options() {
        DaemonOptions options;
        options.rpc_verbosity = 4;
        return options;
    }
};

TEST_P(Command, OfAnotherLengthNeverReachesTheCore) {
    const Row &row = GetParam();
    DaemonProcess daemon(options());
    RpcConnection connection = daemon.connect();
    const size_t mark = daemon.trace_mark();
    for (const size_t length : {size_t{0}, size_t{1}, size_t{row.length - 1},
                                size_t{row.length + 1}, size_t{2 * row.length} % 7900}) {
        const auto reply = connection.call(row.command, Bytes(length));
        ASSERT_TRUE(reply.has_value()) << length;
        EXPECT_EQ(reply->transport, kDelivered) << length;
        EXPECT_EQ(reply->status, ZV_ACL_RM_STATUS_ERROR) << length;
        EXPECT_TRUE(reply->body.empty()) << length;
        daemon.expect_log(length_line(row, length));
        if (row.entry_text != nullptr) {
            daemon.expect_log({"ACL_RM_RPC", "INFO", row.entry_text});
        }
    }
    daemon.expect_no_error_lines();
    EXPECT_TRUE(daemon.call_names_since(mark).empty());
    EXPECT_EQ(daemon.log("ZV_ACL_RM", "NOTICE").size(), 1u) << "the core has spoken";
}

TEST_P(Command, ThatFailsSendsItsStatusAlone) {
    const Row &row = GetParam();
    DaemonProcess daemon(options());
    daemon.control().fail("zv_api_open", 1, 1, -1);
    // All zero is a well-formed record of every command; nothing works before the switch is open.
    const auto reply = daemon.connect().call(row.command, Bytes(row.length));
    ASSERT_TRUE(reply.has_value());
    EXPECT_EQ(reply->transport, kDelivered);
    EXPECT_NE(reply->status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_TRUE(reply->body.empty());
    if (row.entry_text != nullptr) {
        daemon.expect_log({"ACL_RM_RPC", "INFO", row.entry_text});
    }
    daemon.expect_log(failure_line(row, reply->status));
    daemon.allow_error_lines();  // the core's own words are its tests' concern
}

INSTANTIATE_TEST_SUITE_P(Each, Command, testing::ValuesIn(kRows), row_name);

// --- what a success sends back

template <typename Record>
Bytes bytes_of(const Record &record) {
    Bytes bytes(sizeof(record));
    std::memcpy(bytes.data(), &record, sizeof(record));
    return bytes;
}

// A served daemon with an ACL of 8 rules and an MC group, and one connection to it.
struct Replies : testing::Test {
    DaemonProcess daemon;
    TestClient client{daemon};
    acl_rm_acl acl = client.make_acl(8);
    RpcConnection connection = daemon.connect();

    template <typename Record>
    Bytes reply_to(uint32_t command, Record record,
                   const std::optional<std::string> &attachment = std::nullopt) {
        record.client_handle = client.handle();
        const auto reply = connection.call(command, bytes_of(record), attachment);
        EXPECT_TRUE(reply.has_value());
        EXPECT_EQ(reply ? reply->transport : 99, kDelivered);
        EXPECT_EQ(reply ? reply->status : 99, ZV_ACL_RM_STATUS_SUCCESS);
        return reply ? reply->body : Bytes();
    }
};

TEST_F(Replies, OpenAndInitSendNone) {
    EXPECT_EQ(reply_to(ZV_ACL_RM_API_INT_CMD_OPEN, zv_acl_rm_open_params_t{}), Bytes());
    zv_acl_rm_init_params_t init = {};
    init.chip_type = 3;
    EXPECT_EQ(reply_to(ZV_ACL_RM_API_INT_CMD_INIT, init), Bytes());
}

TEST_F(Replies, AclSetSendsThe32BytesFromOffset12) {
    zv_acl_rm_acl_set_params_t params = {};
    params.cmd = ZV_ACL_RM_ACCESS_CMD_CREATE;
    params.acl = acl_of_size(5, 1, 2);
    const Bytes reply = reply_to(ZV_ACL_RM_API_INT_CMD_ACL_SET, params);
    ASSERT_EQ(reply.size(), sizeof(acl_rm_acl));
    acl_rm_acl created;
    std::memcpy(&created, reply.data(), sizeof(created));
    EXPECT_EQ(created.acl_id, acl.acl_id + 1);
    EXPECT_EQ(created.region_id, acl.region_id + 1);
    EXPECT_EQ(created.key_type, 2u);
    EXPECT_EQ(created.direction, 1u);
    EXPECT_EQ(created.min_size, 5u);
    EXPECT_EQ(created.max_size, 5u);
}

TEST(AclSet, LogsTheIdItSends) {
    DaemonOptions options;
    options.rpc_verbosity = 4;
    DaemonProcess daemon(options);
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(1);
    daemon.expect_log(
        {"ACL_RM_RPC", "INFO", "acl id to send [" + std::to_string(acl.acl_id) + "]."});
}

TEST_F(Replies, RuleSetSendsTheWholeRecordWithTheOffsetsFilledIn) {
    zv_acl_rm_acl_rule_set_params_t write = {};
    write.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE;
    write.acl_id = acl.acl_id;
    write.rules_num = 1;
    write.rules[0] = make_rule(3);
    write.rules[0].offset = 77;  // the daemon's to fill in
    const Bytes written = reply_to(ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, write);
    ASSERT_EQ(written.size(), sizeof(write));
    std::memcpy(&write, written.data(), sizeof(write));
    EXPECT_EQ(write.rules[0].offset, 3u);
}

TEST_F(Replies, PortBindEchoesItsRecord) {
    zv_acl_rm_acl_port_bind_params_t ports = {};
    ports.client_handle = client.handle();
    ports.cmd = ZV_ACL_RM_ACCESS_CMD_BIND;
    ports.acl_id = acl.acl_id;
    ports.log_ports[0] = 65537;
    ports.ports_num = 1;
    EXPECT_EQ(reply_to(ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET, ports), bytes_of(ports));
    check_cache(daemon);
}

TEST_F(Replies, DumpSendsItsRecordWithoutAnAddress) {
    zv_acl_rm_dump_params_t dump = {client.handle(), 0xdeadbeef};
    const Bytes reply = reply_to(ZV_ACL_RM_API_INT_CMD_DUMP, dump, daemon.root().file("dump"));
    dump.path = 0;
    EXPECT_EQ(reply, bytes_of(dump));
}

// --- what is no command

// Whatever arrives, the daemon does not see it: no platform call, no log line, and the next
// request on the same connection is served.
struct Garbage : testing::Test {
    DaemonProcess daemon;
    TestClient client{daemon};
    RpcConnection connection = daemon.connect();
    size_t mark = daemon.trace_mark();
    size_t lines_num = daemon.log().size();

    void expect_transport(uint32_t transport, const Bytes &packet) {
        ASSERT_TRUE(connection.send(packet));
        const auto reply = connection.receive();
        ASSERT_TRUE(reply.has_value());
        EXPECT_EQ(reply->transport, transport);
        EXPECT_EQ(reply->status, 0u);
        EXPECT_TRUE(reply->body.empty());
    }

    void TearDown() override {
        EXPECT_TRUE(daemon.call_names_since(mark).empty());
        EXPECT_EQ(daemon.log().size(), lines_num);
        zv_acl_rm_init_params_t init = {client.handle(), 3, 0};
        const auto reply = connection.call(ZV_ACL_RM_API_INT_CMD_INIT, bytes_of(init));
        ASSERT_TRUE(reply.has_value());
        EXPECT_EQ(reply->status, ZV_ACL_RM_STATUS_SUCCESS);
    }
};

TEST_F(Garbage, UnknownCommandsAreTheLibrarysBusiness) {
    for (const uint32_t command : {0u, 1u, 18u, 255u, 0x80000002u, 0xffffffffu}) {
        expect_transport(kUnknownCommand, make_request(command, Bytes(16)));
    }
}

TEST_F(Garbage, DamagedHeadersAreMalformed) {
    const Bytes good = make_request(ZV_ACL_RM_API_INT_CMD_INIT, Bytes(16));
    for (const size_t at :
         {0u, 4u, 6u, 24u, 28u, 32u}) {  // magic, version, kind, lengths, reserved
        Bytes packet = good;
        packet[at] ^= 0x55;
        expect_transport(kMalformed, packet);
    }
    expect_transport(kMalformed, Bytes(1));
    expect_transport(kMalformed, Bytes(39));
    expect_transport(kMalformed, Bytes(4000, 0xff));
}

TEST_F(Garbage, OnlyDumpMayCarryAnAttachment) {
    for (const Row &row : kRows) {
        if (row.command != ZV_ACL_RM_API_INT_CMD_DUMP) {
            expect_transport(kMalformed, make_request(row.command, Bytes(row.length), "/tmp/x"));
        }
    }
}

TEST_F(Garbage, PacketsPast8000BytesAreTooLong) {
    constexpr size_t kHeader = sizeof(RpcHeader);
    expect_transport(kTooLong,
                     make_request(ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, Bytes(8001 - kHeader)));
    expect_transport(kTooLong, Bytes(20000));
}

TEST(Garbage8000, ThatIsNotTooLongReachesTheHandler) {
    DaemonProcess daemon;
    const auto reply =
        daemon.connect().call(ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, Bytes(8000 - sizeof(RpcHeader)));
    ASSERT_TRUE(reply.has_value());
    EXPECT_EQ(reply->transport, kDelivered);
    EXPECT_EQ(reply->status, ZV_ACL_RM_STATUS_ERROR);
    daemon.expect_log(
        {"ACL_RM_RPC", "ERROR", "failed to received zv_acl_rm_api_acl_rule_set len 7960."});
}

}  // namespace
}  // namespace zv_test
