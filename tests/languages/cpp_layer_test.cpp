// Every method of the C++ layer against a stub: what it sends, and what it makes of each answer.
#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/client/stub_daemon.h"
#include "tests/languages/cpp_connection.h"

namespace {

using namespace zv_test;
namespace zv = zv_acl_rm;

// One method, called with some arguments; a success turns into Result<void>.
struct Method {
    const char *name;
    uint32_t command;
    std::function<zv::Result<void>(zv::Client &)> call;
};

template <typename T>
zv::Result<void> outcome(const zv::Result<T> &result) {
    return result ? zv::Result<void>() : zv::Result<void>(result.failure());
}

std::vector<Method> session_methods() {
    return {
        {"Open", 2, [](auto &client) { return client.open(zv::Owner::kPra); }},
        {"Init", 3, [](auto &client) { return client.init(9); }},
        {"CreateAcl", 4, [](auto &client) { return outcome(client.create_acl(64)); }},
        {"DestroyAcl", 4, [](auto &client) { return client.destroy_acl(7); }},
        {"EditAcl", 4,
         [](auto &client) { return outcome(client.edit_acl(7, zv::Direction::kEgress)); }},
        {"ResizeAcl", 5, [](auto &client) { return client.resize_acl(7, 128); }},
        {"WriteRules", 6, [](auto &client) { return client.write_rules(7, {zv::Rule(3)}); }},
        {"DeleteRules", 6,
         [](auto &client) {
             return client.delete_rules(7, {3, 4});
         }},
        {"ReadRules", 7, [](auto &client) { return outcome(client.read_rules(7, {3})); }},
        {"MoveRules", 8, [](auto &client) { return client.move_rules(7, 1, 2, 5); }},
        {"Dump", 17, [](auto &client) { return client.dump("/tmp/d"); }},
    };
}

std::vector<Method> binding_methods() {
    return {
        {"BindPorts", 9, [](auto &client) { return client.bind_ports(7, {65537}); }},
        {"UnbindPorts", 9, [](auto &client) { return client.unbind_ports(7, {65537}); }},
        {"BindRifs", 10,
         [](auto &client) {
             return client.bind_rifs(7, {5, 6});
         }},
        {"UnbindRifs", 10,
         [](auto &client) {
             return client.unbind_rifs(7, {5, 6});
         }},
        {"BindSystem", 15, [](auto &client) { return client.bind_system(7); }},
        {"UnbindSystem", 15, [](auto &client) { return client.unbind_system(7); }},
        {"AddPorts", 16, [](auto &client) { return client.add_ports({65537}); }},
        {"RemovePorts", 16, [](auto &client) { return client.remove_ports({65537}); }},
    };
}

std::vector<Method> counter_and_group_methods() {
    return {
        {"CreateCounter", 11,
         [](auto &client) { return outcome(client.create_counter(zv::CounterKind::kBytes)); }},
        {"DestroyCounter", 11, [](auto &client) { return client.destroy_counter(3); }},
        {"ReadCounter", 12, [](auto &client) { return outcome(client.read_counter(3)); }},
        {"ClearCounter", 12, [](auto &client) { return client.clear_counter(3); }},
        {"CreateMcGroup", 13, [](auto &client) { return outcome(client.create_mc_group({1})); }},
        {"AddMcGroupPorts", 13, [](auto &client) { return client.add_mc_group_ports(4, {1}); }},
        {"RemoveMcGroupPorts", 13,
         [](auto &client) { return client.remove_mc_group_ports(4, {1}); }},
        {"DeleteMcGroup", 13, [](auto &client) { return client.delete_mc_group(4); }},
        {"McGroupPorts", 14, [](auto &client) { return outcome(client.mc_group_ports(4)); }},
    };
}

std::vector<Method> all_methods() {
    std::vector<Method> methods = session_methods();
    for (const auto &more : {binding_methods(), counter_and_group_methods()}) {
        methods.insert(methods.end(), more.begin(), more.end());
    }
    return methods;
}

void PrintTo(const Method &each, std::ostream *out) {
    *out << each.name;
}

class CppMethod : public testing::TestWithParam<Method> {};

TEST_P(CppMethod, SendsItsCommandWithTheHandle) {
    StubDaemon daemon;
    zv::Client client = connect_cpp(daemon);
    const auto result = GetParam().call(client);
    ASSERT_TRUE(result) << result.failure().words();
    const auto requests = daemon.requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].command, GetParam().command);
    uint64_t handle = 0;
    std::memcpy(&handle, requests[0].body.data(), sizeof(handle));
    EXPECT_EQ(handle, kCppHandle);
}

TEST_P(CppMethod, FailsWithTheDaemonsRefusal) {
    StubDaemon daemon(always_reply({.status = 5}));
    zv::Client client = connect_cpp(daemon);
    const auto result = GetParam().call(client);
    ASSERT_FALSE(result);
    EXPECT_TRUE(result.failure().refused());
    EXPECT_EQ(result.failure().status(), zv::Status::kEntryNotFound);
    EXPECT_EQ(result.failure().error(), 0);
}

TEST_P(CppMethod, FailsWhenTheDaemonHasGone) {
    StubDaemon daemon(always_reply({.hang_up = true}));
    zv::Client client = connect_cpp(daemon);
    expect_error(GetParam().call(client), ECONNRESET);
}

TEST_P(CppMethod, FailsWhenTheTimeIsOver) {
    StubDaemon daemon(always_reply({.silent = true}));
    zv::Client client = connect_cpp(daemon);
    ASSERT_TRUE(client.set_timeout_ms(1));
    expect_error(GetParam().call(client), ETIMEDOUT);
}

TEST_P(CppMethod, FailsWhereTheAnswerIsNoneOfThisProtocol) {
    StubReply reply;
    reply.body.assign(7, 0);
    StubDaemon daemon(always_reply(reply));
    zv::Client client = connect_cpp(daemon);
    expect_error(GetParam().call(client), EPROTO);
}

TEST_P(CppMethod, FailsOnAClosedClient) {
    StubDaemon daemon;
    zv::Client client = connect_cpp(daemon);
    client.close();
    expect_error(GetParam().call(client), EINVAL);
}

INSTANTIATE_TEST_SUITE_P(Layer, CppMethod, testing::ValuesIn(all_methods()),
                         [](const auto &each) { return std::string(each.param.name); });

}  // namespace
