/* Each of the sixteen functions: what it sends, and what it makes of every kind of answer. */
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <memory>
#include <ostream>
#include <vector>

#include "tests/client/client_connection.h"
#include "tests/client/stub_daemon.h"

namespace {

using namespace zv_test;

/* A record whose every byte is set and differs from its neighbours, its counts kept small. */
template <typename Params>
Params filled() {
    Params params;
    auto *bytes = reinterpret_cast<uint8_t *>(&params);
    for (size_t i = 0; i < sizeof(params); i++) {
        bytes[i] = static_cast<uint8_t>(i * 7 + 1);
    }
    if constexpr (requires { params.ports_num; }) {
        params.ports_num = 3;
    }
    if constexpr (requires { params.rifs_num; }) {
        params.rifs_num = 3;
    }
    return params;
}

template <typename Params>
std::vector<uint8_t> bytes_of(const Params &params) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(&params);
    return {bytes, bytes + sizeof(params)};
}

/* One of the sixteen functions, called with a filled record; what it left goes to *after. */
struct Function {
    const char *name;
    uint32_t command;
    size_t record_bytes;
    size_t reply_at; /* where in the record the reply goes */
    size_t reply_bytes;
    std::function<int(zv_acl_rm_client_t *, zv_acl_rm_status_t *, std::vector<uint8_t> *)> call;
    std::vector<uint8_t> sent; /* the record, but for its handle */
};

template <typename Params>
Function with_record(const char *name, uint32_t command, size_t reply_at, size_t reply_bytes,
                     int (*function)(zv_acl_rm_client_t *, Params *, zv_acl_rm_status_t *)) {
    return {name,
            command,
            sizeof(Params),
            reply_at,
            reply_bytes,
            [function](auto *client, auto *status, auto *after) {
                auto params = std::make_unique<Params>(filled<Params>());
                const int error = function(client, params.get(), status);
                *after = bytes_of(*params);
                return error;
            },
            bytes_of(filled<Params>())};
}

template <typename Params>
Function whole(const char *name, uint32_t command,
               int (*function)(zv_acl_rm_client_t *, Params *, zv_acl_rm_status_t *)) {
    return with_record(name, command, 0, sizeof(Params), function);
}

Function open_function() {
    return {
        "Open",
        2,
        16,
        0,
        0,
        [](auto *client, auto *status, auto *) { return zv_acl_rm_api_open(client, 3, status); },
        bytes_of(zv_acl_rm_open_params_t{0, 3, 0})};
}

Function init_function() {
    return {
        "Init",
        3,
        16,
        0,
        0,
        [](auto *client, auto *status, auto *) { return zv_acl_rm_api_init(client, 9, status); },
        bytes_of(zv_acl_rm_init_params_t{0, 9, 0})};
}

Function move_function() {
    using Params = zv_acl_rm_acl_rule_move_block_params_t;
    return {"RuleMoveBlock",
            8,
            24,
            0,
            0,
            [](auto *client, auto *status, auto *) {
                const Params params = filled<Params>();
                return zv_acl_rm_api_acl_rule_move_block(client, &params, status);
            },
            bytes_of(filled<Params>())};
}

Function dump_function() {
    return {"Dump",
            17,
            16,
            0,
            16,
            [](auto *client, auto *status, auto *) {
                return zv_acl_rm_api_dump(client, "/tmp/d", status);
            },
            bytes_of(zv_acl_rm_dump_params_t{0, 0})};
}

std::vector<Function> all_functions() {
    return {open_function(),
            init_function(),
            with_record("AclSet", 4, 12, 32, zv_acl_rm_api_acl_set),
            whole("AclResize", 5, zv_acl_rm_api_acl_resize),
            whole("RuleSet", 6, zv_acl_rm_api_acl_rule_set),
            whole("RuleGet", 7, zv_acl_rm_api_acl_rule_get),
            move_function(),
            whole("PortBind", 9, zv_acl_rm_api_acl_port_bind),
            whole("RifBind", 10, zv_acl_rm_api_acl_rif_bind),
            whole("CounterSet", 11, zv_acl_rm_api_counter_set),
            whole("CounterGet", 12, zv_acl_rm_api_counter_get),
            whole("McGroupSet", 13, zv_acl_rm_api_mc_group_set),
            whole("McGroupGet", 14, zv_acl_rm_api_mc_group_get),
            whole("SystemBindSet", 15, zv_acl_rm_api_system_bind_set),
            whole("PortSet", 16, zv_acl_rm_api_port_set),
            dump_function()};
}

/* Else a case is listed with the addresses in its record, which differ from run to run. */
void PrintTo(const Function &each, std::ostream *out) {
    *out << each.name;
}

class EveryFunction : public testing::TestWithParam<Function> {};

TEST_P(EveryFunction, SendsItsRecordWithTheClientsHandleUnderItsCommand) {
    const Function &function = GetParam();
    StubDaemon daemon;
    const Client client = connect(daemon);
    zv_acl_rm_status_t status = kUntouched;
    std::vector<uint8_t> after;
    ASSERT_EQ(function.call(client.get(), &status, &after), 0);
    EXPECT_EQ(status, 0u);
    const auto requests = daemon.requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].command, function.command);
    std::vector<uint8_t> expected = function.sent;
    std::memcpy(expected.data(), &kHandle, sizeof(kHandle));
    EXPECT_EQ(requests[0].body.size(), function.record_bytes);
    EXPECT_EQ(requests[0].body, expected);
}

TEST_P(EveryFunction, IsSubmittedWithTheSameBytes) {
    const Function &function = GetParam();
    StubDaemon daemon;
    const Client client = connect(daemon);
    zv_acl_rm_status_t status = kUntouched;
    std::vector<uint8_t> after;
    ASSERT_EQ(function.call(client.get(), &status, &after), 0);
    std::vector<uint8_t> record = function.sent;
    if (function.command == ZV_ACL_RM_API_INT_CMD_DUMP) {
        const auto path = reinterpret_cast<uintptr_t>("/tmp/d"); /* which does not travel */
        std::memcpy(&record[8], &path, sizeof(path));
    }
    uint32_t sequence = 0;
    ASSERT_EQ(zv_acl_rm_client_submit(client.get(), function.command, record.data(),
                                      static_cast<uint32_t>(record.size()), &sequence),
              0);
    ASSERT_EQ(zv_acl_rm_client_collect(client.get(), &sequence, nullptr, nullptr, &status), 0);
    const auto requests = daemon.requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].body, requests[1].body);
    EXPECT_EQ(requests[0].attachment, requests[1].attachment);
    EXPECT_EQ(requests[0].command, requests[1].command);
}

TEST_P(EveryFunction, PutsTheReplyWhereItBelongsInTheRecord) {
    const Function &function = GetParam();
    StubReply reply;
    reply.body.assign(function.reply_bytes, 0xEE);
    StubDaemon daemon(always(reply));
    const Client client = connect(daemon);
    zv_acl_rm_status_t status = kUntouched;
    std::vector<uint8_t> after;
    ASSERT_EQ(function.call(client.get(), &status, &after), 0);
    if (after.empty()) {
        return; /* the caller has no record to see */
    }
    std::vector<uint8_t> expected = function.sent;
    std::memcpy(expected.data(), &kHandle, sizeof(kHandle));
    std::fill_n(expected.begin() + static_cast<ptrdiff_t>(function.reply_at), function.reply_bytes,
                uint8_t{0xEE});
    EXPECT_EQ(after, expected);
}

TEST_P(EveryFunction, HandsTheDaemonsRefusalOnAndKeepsTheRecord) {
    const Function &function = GetParam();
    StubDaemon daemon(always({.status = 5}));
    const Client client = connect(daemon);
    zv_acl_rm_status_t status = kUntouched;
    std::vector<uint8_t> after;
    EXPECT_EQ(function.call(client.get(), &status, &after), 0);
    EXPECT_EQ(status, 5u);
    if (!after.empty()) {
        std::vector<uint8_t> expected = function.sent;
        std::memcpy(expected.data(), &kHandle, sizeof(kHandle));
        EXPECT_EQ(after, expected);
    }
}

TEST_P(EveryFunction, CallsAReplyOfAnotherSizeAProtocolError) {
    const Function &function = GetParam();
    for (const size_t bytes : {function.reply_bytes + 1, function.reply_bytes + 7500}) {
        StubReply reply;
        reply.body.assign(bytes, 0xEE);
        StubDaemon daemon(always(reply));
        const Client client = connect(daemon);
        zv_acl_rm_status_t status = kUntouched;
        std::vector<uint8_t> after;
        EXPECT_EQ(function.call(client.get(), &status, &after), EPROTO);
        EXPECT_EQ(status, kUntouched);
    }
}

TEST_P(EveryFunction, RefusesANullClientOrStatus) {
    const Function &function = GetParam();
    StubDaemon daemon;
    const Client client = connect(daemon);
    zv_acl_rm_status_t status = kUntouched;
    std::vector<uint8_t> after;
    EXPECT_EQ(function.call(nullptr, &status, &after), EINVAL);
    EXPECT_EQ(function.call(client.get(), nullptr, &after), EINVAL);
    EXPECT_EQ(status, kUntouched);
    EXPECT_TRUE(daemon.requests().empty());
}

INSTANTIATE_TEST_SUITE_P(Client, EveryFunction, testing::ValuesIn(all_functions()),
                         [](const auto &each) { return each.param.name; });

}  // namespace
