// What the C++ layer reads from answers, what it refuses to send, and its Result, Span and Client.
#include <gtest/gtest.h>

#include <vector>

#include "tests/client/failing_socket.h"
#include "tests/languages/cpp_connection.h"

namespace {

using namespace zv_test;
namespace zv = zv_acl_rm;

template <typename Record>
StubReply reply_with(const Record &record) {
    const auto *bytes = reinterpret_cast<const uint8_t *>(&record);
    StubReply reply;
    reply.body.assign(bytes, bytes + sizeof(record));
    return reply;
}

acl_rm_rule stored_rule() {
    acl_rm_rule rule{};
    rule.offset = 9;
    rule.valid = 1;
    rule.key.key_type = 2;
    rule.key.data[127] = 0x11;
    rule.mask.data[127] = 0x22;
    rule.action[12] = 2;
    rule.readout.counter_id = 77;
    return rule;
}

zv::StoredRule read_one(const acl_rm_rule &rule) {
    zv_acl_rm_acl_rule_get_params_t record{};
    record.rules[0] = rule;
    record.rules_num = 1;
    StubDaemon daemon(always_reply(reply_with(record)));
    zv::Client client = connect_cpp(daemon);
    const auto rules = client.read_rules(1, {9});
    EXPECT_TRUE(rules) << rules.failure().words();
    EXPECT_EQ(rules->size(), 1u);
    return (*rules)[0];
}

TEST(CppAnswer, OfARuleHasItsFields) {
    const zv::StoredRule rule = read_one(stored_rule());
    EXPECT_EQ(rule.offset, 9u);
    EXPECT_TRUE(rule.valid);
    EXPECT_EQ(rule.key_type, 2u);
    EXPECT_EQ(rule.key[127], 0x11);
    EXPECT_EQ(rule.mask[127], 0x22);
    EXPECT_EQ(rule.verdict, zv::Verdict::kTrap);
    EXPECT_EQ(rule.counter_id, 77u);
    EXPECT_EQ(rule.action[12], 2);
    EXPECT_FALSE(rule.active || rule.forward_port || rule.forward_mc_pbs);
}

TEST(CppAnswer, OfARuleTellsActivityOnlyWhereItWasAskedFor) {
    acl_rm_rule rule = stored_rule();
    rule.readout.activity = 1;
    EXPECT_EQ(read_one(rule).active, std::nullopt);
    rule.readout.activity_request = 1;
    EXPECT_EQ(read_one(rule).active, true);
    rule.readout.activity = 0;
    EXPECT_EQ(read_one(rule).active, false);
}

TEST(CppAnswer, OfARuleTellsWhereItForwards) {
    acl_rm_rule rule = stored_rule();
    rule.readout.forwarding_type = 1;
    rule.readout.log_port = 65537;
    EXPECT_EQ(read_one(rule).forward_port, 65537u);
    EXPECT_EQ(read_one(rule).forward_mc_pbs, std::nullopt);
    rule.readout.forwarding_type = 2;
    rule.readout.mc_pbs_id = 6;
    EXPECT_EQ(read_one(rule).forward_port, std::nullopt);
    EXPECT_EQ(read_one(rule).forward_mc_pbs, 6u);
}

TEST(CppAnswer, OfACounterIsTheValueThatItsKindSelects) {
    zv_acl_rm_counter_get_params_t record{};
    record.values[0] = 111;
    record.values[1] = 222;
    record.counter_type = {0, 1};
    StubDaemon packets(always_reply(reply_with(record)));
    zv::Client client = connect_cpp(packets);
    auto value = client.read_counter(5);
    ASSERT_TRUE(value);
    EXPECT_EQ(value->kind, zv::CounterKind::kPackets);
    EXPECT_EQ(value->value, 222u);
    record.counter_type = {1, 0};
    StubDaemon bytes(always_reply(reply_with(record)));
    client = connect_cpp(bytes);
    value = client.read_counter(5);
    ASSERT_TRUE(value);
    EXPECT_EQ(value->kind, zv::CounterKind::kBytes);
    EXPECT_EQ(value->value, 111u);
}

TEST(CppAnswer, OfAGroupIsItsPortsAndNeverMoreThanARecordHolds) {
    zv_acl_rm_mc_group_get_params_t record{};
    record.log_ports[1] = 65538;
    record.ports_num = 2;
    EXPECT_EQ(zv::replies::ports(record).size(), 2u);
    EXPECT_EQ(zv::replies::ports(record)[1], 65538u);
    record.ports_num = 101;
    EXPECT_EQ(zv::replies::ports(record).size(), 100u);
}

TEST(CppAnswer, OfACreationIsTheNewId) {
    acl_rm_acl acl{};
    acl.acl_id = 41;
    acl.region_id = 42;
    StubDaemon acls(always_reply(reply_with(acl)));
    zv::Client client = connect_cpp(acls);
    const auto created = client.create_acl(1);
    ASSERT_TRUE(created);
    EXPECT_EQ(created->acl_id, 41u);
    EXPECT_EQ(created->region_id, 42u);
    EXPECT_EQ(client.edit_acl(1, zv::Direction::kEgress).value_or(0), 41u);
    zv_acl_rm_counter_set_params_t counter{};
    counter.counter_id = 43;
    StubDaemon counters(always_reply(reply_with(counter)));
    client = connect_cpp(counters);
    EXPECT_EQ(client.create_counter(zv::CounterKind::kBytes).value_or(0), 43u);
    zv_acl_rm_mc_group_set_params_t group{};
    group.mc_group_id = 44;
    StubDaemon groups(always_reply(reply_with(group)));
    client = connect_cpp(groups);
    EXPECT_EQ(client.create_mc_group().value_or(0), 44u);
}

TEST(CppArguments, ThatDoNotFitARecordAreNotSent) {
    StubDaemon daemon;
    zv::Client client = connect_cpp(daemon);
    const std::vector<zv::Rule> rules(21);
    const std::vector<uint32_t> numbers(101);
    const std::vector<uint16_t> rifs(101);
    const std::vector<uint8_t> key(129);
    expect_error(client.write_rules(1, rules), EINVAL);
    expect_error(client.write_rules(1, {zv::Rule(0).match(key, {})}), EINVAL);
    expect_error(client.write_rules(1, {zv::Rule(0).match({}, key)}), EINVAL);
    expect_error(client.delete_rules(1, {numbers.data(), 21}), EINVAL);
    expect_error(client.read_rules(1, {numbers.data(), 21}), EINVAL);
    expect_error(client.bind_ports(1, numbers), EINVAL);
    expect_error(client.unbind_ports(1, numbers), EINVAL);
    expect_error(client.bind_rifs(1, rifs), EINVAL);
    expect_error(client.add_ports(numbers), EINVAL);
    expect_error(client.create_mc_group(numbers), EINVAL);
    expect_error(client.mc_group_ports(1, 101), EINVAL);
    expect_error(client.open(static_cast<zv::Owner>(4)), EINVAL);
    expect_error(client.dump(nullptr), EINVAL);
    expect_error(client.dump(""), EINVAL);
    expect_error(client.submit(zv::requests::write_rules(1, rules)), EINVAL);
    EXPECT_TRUE(daemon.requests().empty());
}

TEST(CppArguments, AtTheirLimitsAreSent) {
    StubDaemon daemon;
    zv::Client client = connect_cpp(daemon);
    EXPECT_TRUE(client.write_rules(1, std::vector<zv::Rule>(20)));
    EXPECT_TRUE(client.bind_ports(1, std::vector<uint32_t>(100)));
    EXPECT_TRUE(client.bind_rifs(1, std::vector<uint16_t>(100)));
    EXPECT_TRUE(client.write_rules(1, {zv::Rule(0).match(std::vector<uint8_t>(128), {})}));
    EXPECT_EQ(daemon.requests().size(), 4u);
}

TEST(CppRule, ForwardsWhereTheLaterCallSaysAndKeepsItsCounter) {
    const acl_rm_rule port =
        zv::Rule(1).counter(5).forward_to_mc_group(3).forward_to_port(65537).record();
    EXPECT_EQ(port.forwarding.type, 1u);
    EXPECT_EQ(port.forwarding.log_port, 65537u);
    EXPECT_EQ(port.forwarding.mc_group_id, 0u);
    EXPECT_EQ(port.forwarding.counter_id, 5u);
    const acl_rm_rule group = zv::Rule(1).forward_to_port(65537).forward_to_mc_group(3).record();
    EXPECT_EQ(group.forwarding.type, 2u);
    EXPECT_EQ(group.forwarding.log_port, 0u);
}

TEST(CppRule, MatchesAnewWithoutTheBytesOfAnEarlierMatch) {
    const acl_rm_rule rule = zv::Rule(1).match({1, 2, 3}, {4, 5, 6}).match({7}, {8}).record();
    EXPECT_EQ(rule.key.data[0], 7);
    EXPECT_EQ(rule.key.data[1], 0);
    EXPECT_EQ(rule.mask.data[2], 0);
}

TEST(CppFailure, IsPutInWords) {
    EXPECT_EQ(zv::Failure::refusal(ZV_ACL_RM_STATUS_NO_HW_RESOURCES).words(),
              "ZV_ACL_RM_STATUS_NO_HW_RESOURCES: the switch hardware has no room left");
    EXPECT_EQ(zv::Failure::no_answer(ESHUTDOWN).words(),
              "the daemon is shutting down and did not carry the command out");
    EXPECT_EQ(zv::Failure::no_answer(EACCES).words(), "Permission denied");
    EXPECT_EQ(std::string(zv::name_of(zv::Status::kError)), "ZV_ACL_RM_STATUS_ERROR");
}

TEST(CppResultDeathTest, EndsTheProgramThatAsksForWhatItDoesNotHold) {
    const zv::Result<int> failed = zv::Failure::no_answer(EPROTO);
    const zv::Result<int> good = 3;
    const zv::Result<void> done;
    EXPECT_DEATH((void)failed.value(), "");
    EXPECT_DEATH((void)good.failure(), "");
    EXPECT_DEATH((void)done.failure(), "");
    EXPECT_EQ(failed.value_or(4), 4);
    EXPECT_EQ(good.value_or(4), 3);
}

TEST(CppClient, MovesItsConnection) {
    StubDaemon daemon;
    zv::Client first = connect_cpp(daemon);
    const int fd = first.fd();
    zv::Client second = std::move(first);
    EXPECT_EQ(second.fd(), fd);
    EXPECT_EQ(second.handle(), kCppHandle);
    EXPECT_EQ(first.get(), nullptr);  // NOLINT(bugprone-use-after-move): what a move leaves
    EXPECT_TRUE(second.init(1));
    first = std::move(second);
    EXPECT_TRUE(first.init(1));
    expect_error(second.init(1), EINVAL);  // NOLINT(bugprone-use-after-move)
}

TEST(CppClient, IsNotMadeWithoutADaemon) {
    expect_error(zv::Client::connect(1, "/no/such/socket"), ENOENT);
}

TEST(CppClient, CollectsAnswersInOrderWithTheOutcomeOfEach) {
    StubDaemon daemon([](const StubRequest &request) {
        StubReply refused;
        refused.status = 6;
        return request.command == 6 ? refused : echo_reply(request);
    });
    zv::Client client = connect_cpp(daemon);
    auto edit = zv::requests::edit_acl(7, zv::Direction::kEgress);
    const auto first = client.submit(*edit);
    const auto second = client.submit(zv::requests::write_rules(7, {zv::Rule(0)}));
    ASSERT_TRUE(first && second);
    expect_error(client.init(1), EBUSY);
    const auto edited = client.collect(*edit);
    ASSERT_TRUE(edited && edited->outcome);
    EXPECT_EQ(edited->sequence, *first);
    EXPECT_EQ(zv::replies::acl(*edit).acl_id, 7u);
    const auto refused = client.collect();
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->sequence, *second);
    ASSERT_FALSE(refused->outcome);
    EXPECT_EQ(refused->outcome.failure().status(), zv::Status::kNoResources);
    expect_error(client.collect(), ENOMSG);
}

TEST(CppClient, TellsAnAnswerThatIsLateFromOneThatWillNotCome) {
    StubDaemon silent(always_reply({.silent = true}));
    zv::Client client = connect_cpp(silent);
    ASSERT_TRUE(client.set_timeout_ms(1));
    ASSERT_TRUE(client.submit(zv::requests::init(1)));
    expect_error(client.collect(), ETIMEDOUT);
    StubDaemon stopping(always_reply({.transport = 4}));
    client = connect_cpp(stopping);
    const auto sequence = client.submit(zv::requests::init(1));
    const auto answer = client.collect();
    ASSERT_TRUE(sequence && answer);
    EXPECT_EQ(answer->sequence, *sequence);
    expect_error(answer->outcome, ESHUTDOWN);
}

/* The system's own error takes no answer: the request is outstanding as before. */
TEST(CppClient, TakesNoAnswerWhereTheSystemFails) {
    StubDaemon daemon;
    zv::Client client = connect_cpp(daemon);
    const auto sequence = client.submit(zv::requests::init(1));
    ASSERT_TRUE(sequence);
    {
        const FailingSocket failing(SocketCall::receive, ENOMEM);
        expect_error(client.collect(), ENOMEM);
    }
    const auto answer = client.collect();
    ASSERT_TRUE(answer && answer->outcome);
    EXPECT_EQ(answer->sequence, *sequence);
    expect_error(client.collect(), ENOMSG);
}

TEST(CppClient, TellsADaemonThatTooManyWaitForFromOneWithTooManyRequests) {
    StubDaemon daemon;
    const FailingSocket failing(SocketCall::connect, EAGAIN);
    const auto client = zv::Client::connect(kCppHandle, daemon.socket_path().c_str());
    expect_error(client, EAGAIN);
    EXPECT_EQ(client.failure().words(),
              "as many connections wait for the daemon as may; try again later");
    EXPECT_EQ(zv::Failure::no_answer(EAGAIN).words(),
              "as many answers are outstanding as may be; collect one first");
}

TEST(CppClient, SubmitsAsManyAsMayBeUnderWay) {
    StubDaemon daemon;
    zv::Client client = connect_cpp(daemon);
    for (uint32_t i = 0; i < ZV_ACL_RM_MAX_IN_FLIGHT; i++) {
        ASSERT_TRUE(client.submit(zv::requests::init(1)));
    }
    expect_error(client.submit(zv::requests::init(1)), EAGAIN);
}

}  // namespace
