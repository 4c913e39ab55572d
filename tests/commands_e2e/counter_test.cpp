// Flow counters: made, destroyed, read and cleared by clients.
#include "tests/commands_e2e/counter_fixture.h"

namespace zv_test {
namespace {

constexpr const char *kCounterProblem =
    "Counter problem: One and only one counter type is supported in the current release.";

class Counters : public CounterFixture {};

// --- create

struct AcceptedType : Counters, testing::WithParamInterface<std::pair<CounterType, uint32_t>> {};

TEST_P(AcceptedType, IsCreatedAndAnsweredWithItsId) {
    const auto [type, sdk_type] = GetParam();
    auto request = set_request(kCreate, type, 0xdeadbeef);
    const Watch watch(daemon_);
    const Answer answer = send_record(daemon_, ZV_ACL_RM_API_INT_CMD_COUNTER_SET, request);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
    request.counter_id = 1;
    EXPECT_EQ(answer.body, bytes_of(request));
    EXPECT_EQ(answer.body.size(), 24u);
    watch.expect_lines({});
    watch.expect_calls({counter_created(sdk_type, 1, 0xdeadbeef)});
    EXPECT_EQ(in_switch(), Names{"counter 1: type " + std::to_string(sdk_type)});
    check_cache(daemon_);
}

TEST_P(AcceptedType, IsDestroyedWithTheSwitchsType) {
    const auto [type, sdk_type] = GetParam();
    const uint32_t counter_id = create(type);
    const auto request = set_request(kDestroy, {7, 7}, counter_id);  // the type is not looked at
    const Watch watch(daemon_);
    const Answer answer = send_record(daemon_, ZV_ACL_RM_API_INT_CMD_COUNTER_SET, request);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(answer.body, bytes_of(request));
    watch.expect_lines({});
    watch.expect_calls({counter_destroyed(sdk_type, counter_id)});
    EXPECT_EQ(in_switch(), Names());
    check_cache(daemon_);
}

INSTANTIATE_TEST_SUITE_P(Counters, AcceptedType,
                         testing::Values(std::pair{kFirst, 0u}, std::pair{kSecond, 1u}));

TEST_F(Counters, ATypeThatIsNotExactlyOneFlagIsRefusedWithoutACall) {
    constexpr uint32_t kAll = 0xffffffff;
    for (const CounterType type :
         {CounterType{0, 0}, CounterType{1, 1}, CounterType{2, 0}, CounterType{0, 2},
          CounterType{1, 2}, CounterType{2, 1}, CounterType{1, kAll}, CounterType{kAll, 0},
          CounterType{0, kAll}, CounterType{0x101, 0}}) {
        const Watch watch(daemon_);
        expect_refused(set(kCreate, type, 5), ZV_ACL_RM_STATUS_ERROR);
        watch.expect_lines(failed(1, kCounterProblem, 0));
        watch.expect_calls({});
    }
}

TEST_F(Counters, IdsAreTheSwitchsAndNeverComeAgain) {
    EXPECT_EQ(create(kFirst), 1u);
    EXPECT_EQ(create(kSecond), 2u);
    EXPECT_EQ(client_.destroy_counter(2), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(create(kFirst), 3u);
    EXPECT_EQ(in_switch(), (Names{"counter 1: type 0", "counter 3: type 0"}));
}

// --- destroy

TEST_F(Counters, DestroyingAnUnknownIdIsRefusedWithoutACall) {
    create();
    for (const uint32_t counter_id : {0u, 2u, 0xffffffffu}) {
        const Watch watch(daemon_);
        expect_refused(set(kDestroy, kFirst, counter_id), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
        watch.expect_lines(not_found(counter_id));
        watch.expect_calls({});
    }
    EXPECT_EQ(in_switch(), Names{"counter 1: type 0"});
}

TEST_F(Counters, DestroyingTwiceIsRefusedTheSecondTime) {
    const uint32_t counter_id = create();
    EXPECT_EQ(client_.destroy_counter(counter_id), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.destroy_counter(counter_id), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    watch.expect_lines(not_found(counter_id));
    watch.expect_calls({});
}

TEST_F(Counters, OtherCommandsOfTheSetAreUnsupported) {
    create();
    for (const uint32_t cmd : {0u, 1u, 3u, 6u, 7u, 8u, 12u, 13u, 15u, 0xffffffffu}) {
        const Watch watch(daemon_);
        expect_refused(set(cmd, {1, 1}, 77), ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
        watch.expect_lines(failed(2, "Command (" + std::to_string(cmd) + ") is unsupported.", 0));
        watch.expect_calls({});
    }
}

// --- read and clear

// The record's words are the switch's two values crosswise: bytes first, packets second. Only the
// selected one is written.
class CountingRule : public Counters {
  protected:
    uint32_t counting(CounterType type) {
        const uint32_t counter_id = create(type);
        const acl_rm_acl acl = client_.make_acl(4);
        EXPECT_EQ(client_.write_rules(acl.acl_id, {count_with(make_rule(0), counter_id)}),
                  ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(client_.bind_ports(ZV_ACL_RM_ACCESS_CMD_BIND, acl.acl_id, {kPort}),
                  ZV_ACL_RM_STATUS_SUCCESS);
        for (const uint32_t length : {100u, 200u, 300u}) {
            daemon_.control().packet("log_port", kPort, 0, 0, "", length);
        }
        return counter_id;
    }
};

TEST_F(CountingRule, ReadWithTheFirstFlagGivesTheSecondValueFirst) {
    const uint32_t counter_id = counting(kFirst);
    auto request = get_request(kRead, counter_id);
    const Watch watch(daemon_);
    const Answer answer = send_record(daemon_, ZV_ACL_RM_API_INT_CMD_COUNTER_GET, request);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
    request.counter_type = kFirst;
    request.values[0] = 600;
    EXPECT_EQ(answer.body, bytes_of(request));
    EXPECT_EQ(answer.body.size(), 40u);
    watch.expect_lines({});
    watch.expect_calls({counter_read(counter_id, 3, 600)});
    check_cache(daemon_);
}

TEST_F(CountingRule, ReadWithTheSecondFlagGivesTheFirstValueSecond) {
    const uint32_t counter_id = counting(kSecond);
    auto request = get_request(kRead, counter_id);
    const Watch watch(daemon_);
    const Answer answer = send_record(daemon_, ZV_ACL_RM_API_INT_CMD_COUNTER_GET, request);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
    request.counter_type = kSecond;
    request.values[1] = 3;
    EXPECT_EQ(answer.body, bytes_of(request));
    watch.expect_lines({});
    watch.expect_calls({counter_read(counter_id, 3, 600)});
}

TEST_F(CountingRule, ReadingLeavesTheValues) {
    const uint32_t counter_id = counting(kFirst);
    EXPECT_EQ(get(kRead, counter_id).body, get(kRead, counter_id).body);
}

TEST_F(CountingRule, ClearWritesTheTypeAndLeavesTheWordsOfTheValues) {
    const uint32_t counter_id = counting(kSecond);
    auto request = get_request(kClear, counter_id);
    const Watch watch(daemon_);
    const Answer answer = send_record(daemon_, ZV_ACL_RM_API_INT_CMD_COUNTER_GET, request);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
    request.counter_type = kSecond;
    EXPECT_EQ(answer.body, bytes_of(request));
    watch.expect_lines({});
    watch.expect_calls({counter_cleared(counter_id)});
    EXPECT_EQ(daemon_.control().state().at("counters").at(0).at("values"),
              nlohmann::json::parse("[0,0]"));
    check_cache(daemon_);
}

TEST_F(CountingRule, ReadAndClearIsRefusedAndClearsNothing) {
    const uint32_t counter_id = counting(kFirst);
    const Watch watch(daemon_);
    expect_refused(get(kReadClear, counter_id), ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
    watch.expect_lines(failed(2, "Read & Clear is not supported in the current release.", 0));
    watch.expect_calls({});
    EXPECT_EQ(daemon_.control().state().at("counters").at(0).at("values"),
              nlohmann::json::parse("[3,600]"));
}

TEST_F(Counters, OtherCommandsOfTheGetAreUnsupported) {
    const uint32_t counter_id = create();
    for (const uint32_t cmd : {0u, 4u, 5u, 12u, 16u, 31u, 32u, 0xffffffffu}) {
        const Watch watch(daemon_);
        expect_refused(get(cmd, counter_id), ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
        watch.expect_lines(failed(2, "Command (" + std::to_string(cmd) + ") is unsupported.", 0));
        watch.expect_calls({});
    }
}

TEST_F(Counters, AnUnknownIdIsRefusedBeforeTheCommandOfTheGetIsLookedAt) {
    create();
    for (const uint32_t cmd : {kRead, kReadClear, kClear, 0u}) {
        for (const uint32_t counter_id : {0u, 2u, 0xffffffffu}) {
            const Watch watch(daemon_);
            expect_refused(get(cmd, counter_id), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
            watch.expect_lines(not_found_in_db(counter_id));
            watch.expect_calls({});
        }
    }
}

// --- who may, and when

TEST_F(Counters, AnyClientMayDoAnythingToAnyCounter) {
    TestClient of13(daemon_, ZV_ACL_RM_OWNER_OF13);
    TestClient stranger = TestClient::unopened(daemon_, 0x77);
    uint32_t counter_id = 0;
    EXPECT_EQ(stranger.create_counter(kFirst, counter_id), ZV_ACL_RM_STATUS_SUCCESS);
    for (const uint32_t cmd : {kRead, kClear}) {
        zv_acl_rm_counter_get_params_t params = get_request(cmd, counter_id);
        EXPECT_EQ(of13.counter_get(params), ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(stranger.counter_get(params), ZV_ACL_RM_STATUS_SUCCESS);
    }
    EXPECT_EQ(of13.destroy_counter(counter_id), ZV_ACL_RM_STATUS_SUCCESS);
    counter_id = create();
    EXPECT_EQ(stranger.destroy_counter(counter_id), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(in_switch(), Names());
}

TEST(CountersBeforeOpen, AreRefusedWhateverTheRequestSays) {
    DaemonProcess daemon;
    const Watch watch(daemon);
    for (const uint32_t cmd : {kCreate, kDestroy, 99u}) {
        EXPECT_EQ(
            send_record(daemon, ZV_ACL_RM_API_INT_CMD_COUNTER_SET, set_request(cmd, {1, 1}, 1))
                .status,
            ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(
            send_record(daemon, ZV_ACL_RM_API_INT_CMD_COUNTER_GET, get_request(cmd, 1)).status,
            ZV_ACL_RM_STATUS_ERROR);
    }
    const LogLine refused = error_line(1, "ACL RM is not initialized");
    watch.expect_lines(Lines(6, refused));
    watch.expect_calls({});
}

TEST_F(Counters, ARecordOfAnotherLengthIsRefused) {
    const auto refuse = [&](uint32_t command, size_t length, const std::string &text) {
        const Watch watch(daemon_);
        expect_refused(send_bytes(daemon_, command, Bytes(length)), ZV_ACL_RM_STATUS_ERROR);
        watch.expect_lines({{"ACL_RM_RPC", "ERROR", text + std::to_string(length) + "."}});
        watch.expect_calls({});
    };
    for (const size_t length : {23u, 25u}) {
        refuse(ZV_ACL_RM_API_INT_CMD_COUNTER_SET, length,
               "failed to received zv_acl_rm_api_counter_bind_params_t len ");
    }
    for (const size_t length : {39u, 41u}) {
        refuse(ZV_ACL_RM_API_INT_CMD_COUNTER_GET, length,
               "failed to received zv_acl_rm_api_counter_get len ");
    }
}

// --- how many

Lines database_full(uint32_t counter_id) {
    return {error_line(6, "Could not find free counter in counter DB.", "ACL_RM_DB"),
            error_line(6, "Fail to allocate new counter ID (" + std::to_string(counter_id) +
                              ") in counter DB."),
            error_line(6, "Fail to allocate new counter.")};
}

TEST_F(Counters, The256thIsMadeInTheSwitchAndDestroyedAgain) {
    for (uint32_t i = 1; i <= 255; ++i) {
        ASSERT_EQ(create(kFirst), i);
    }
    for (const auto &[type, sdk_type] : {std::pair{kFirst, 0u}, std::pair{kSecond, 1u}}) {
        const uint32_t next_id = 256 + sdk_type;
        const Watch watch(daemon_);
        expect_refused(set(kCreate, type, 9), ZV_ACL_RM_STATUS_NO_RESOURCES);
        watch.expect_lines(database_full(next_id));
        watch.expect_calls(
            {counter_created(sdk_type, next_id, 9), counter_destroyed(sdk_type, next_id)});
    }
    EXPECT_EQ(in_switch().size(), 255u);
    EXPECT_EQ(get(kRead, 255).status, ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(get(kRead, 256).status, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    watch.expect_lines(not_found_in_db(256));
    check_cache(daemon_);
}

TEST_F(Counters, ADestroyedCounterMakesRoomForOneMore) {
    for (uint32_t i = 1; i <= 255; ++i) {
        ASSERT_EQ(create(kSecond), i);
    }
    ASSERT_EQ(client_.destroy_counter(100), ZV_ACL_RM_STATUS_SUCCESS);  // 254 are in use
    EXPECT_EQ(create(kFirst), 256u);
    const Watch watch(daemon_);
    expect_refused(set(kCreate, kFirst, 0), ZV_ACL_RM_STATUS_NO_RESOURCES);
    watch.expect_lines(database_full(257));
}

TEST_F(Counters, WithAFullDatabaseTheTypeIsStillLookedAtFirst) {
    for (uint32_t i = 1; i <= 255; ++i) {
        ASSERT_EQ(create(), i);
    }
    const Watch watch(daemon_);
    expect_refused(set(kCreate, {1, 1}, 0), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, kCounterProblem, 0));
    watch.expect_calls({});
}

}  // namespace
}  // namespace zv_test
