// Multicast groups: made, changed, read and deleted by their owners, and forwarded to by rules.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/commands_e2e/digest.h"
#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

using Ports = std::vector<uint32_t>;
using SetRequest = zv_acl_rm_mc_group_set_params_t;
using GetRequest = zv_acl_rm_mc_group_get_params_t;

constexpr uint32_t kAdd = ZV_ACL_RM_ACCESS_CMD_ADD;
constexpr uint32_t kDelete = ZV_ACL_RM_ACCESS_CMD_DELETE;
constexpr uint32_t kLaterCommands[] = {kAddPorts, kDeletePorts, kDelete};

SetRequest set_request(uint64_t handle, uint32_t cmd, uint32_t mc_group_id,
                       const Ports &log_ports) {
    auto request = patterned<SetRequest>();
    request.client_handle = handle;
    request.cmd = cmd;
    request.mc_group_id = mc_group_id;
    std::copy_n(log_ports.begin(), std::min<size_t>(log_ports.size(), ZV_ACL_RM_PORTS_PER_RECORD),
                request.log_ports);
    request.ports_num = static_cast<uint32_t>(log_ports.size());
    return request;
}

GetRequest get_request(uint64_t handle, uint32_t mc_group_id, uint32_t room) {
    auto request = patterned<GetRequest>();
    request.client_handle = handle;
    request.mc_group_id = mc_group_id;
    request.ports_num = room;
    return request;
}

Lines too_many_ports(uint32_t ports_num) {
    return failed(
        4, "Wrong ports number [" + std::to_string(ports_num) + "], the record holds [100]", 1);
}

Lines unknown_client(uint64_t handle) {
    return failed(4,
                  "Wrong owner of the handle[" + std::to_string(handle) +
                      "] toward ACL_RM, trying to control another owner resource",
                  1);
}

Lines another_owner(uint32_t requester, uint32_t owner) {
    return failed(1,
                  "Wrong owner[" + std::to_string(requester) +
                      "] trying to control another owner[" + std::to_string(owner) + "] resource",
                  1);
}

class McGroups : public testing::Test {
  protected:
    Answer set(const SetRequest &request, Here here = Here::now()) {
        return send_record(daemon_, ZV_ACL_RM_API_INT_CMD_MC_GRP_SET, request, here);
    }
    Answer set(uint32_t cmd, uint32_t mc_group_id, const Ports &log_ports,
               Here here = Here::now()) {
        return set(set_request(client_.handle(), cmd, mc_group_id, log_ports), here);
    }
    Answer get(const GetRequest &request, Here here = Here::now()) {
        return send_record(daemon_, ZV_ACL_RM_API_INT_CMD_MC_GRP_GET, request, here);
    }
    uint32_t create(TestClient &client, const Ports &log_ports, Here here = Here::now()) {
        uint32_t mc_group_id = 0;
        if (client.mc_group_set(kAdd, mc_group_id, log_ports, here) != ZV_ACL_RM_STATUS_SUCCESS) {
            ADD_FAILURE_AT(here.file, here.line) << "no group";
        }
        return mc_group_id;
    }
    uint32_t create(const Ports &log_ports, Here here = Here::now()) {
        return create(client_, log_ports, here);
    }
    // The three later commands and the get, refused alike, without a call.
    void expect_out_of_reach(uint64_t handle, uint32_t mc_group_id, uint32_t status,
                             const Lines &lines, Here here = Here::now()) {
        for (const uint32_t cmd : kLaterCommands) {
            const Watch watch(daemon_);
            expect_refused(set(set_request(handle, cmd, mc_group_id, {kPort}), here), status, here);
            watch.expect_lines(lines, here);
            watch.expect_calls({}, here);
        }
        const Watch watch(daemon_);
        expect_refused(get(get_request(handle, mc_group_id, 100), here), status, here);
        watch.expect_lines(lines, here);
        watch.expect_calls({}, here);
    }
    static void expect_refused(const Answer &answer, uint32_t status, Here here = Here::now()) {
        testing::ScopedTrace trace(here.file, here.line, "refused");
        EXPECT_EQ(answer.status, status);
        EXPECT_EQ(answer.body, Bytes());
    }
    static void expect_echo(const Answer &answer, const SetRequest &request,
                            Here here = Here::now()) {
        testing::ScopedTrace trace(here.file, here.line, "echo");
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(answer.body, bytes_of(request));
    }

    DaemonProcess daemon_;
    TestClient client_{daemon_};
};

// --- create

struct PortsOfAGroup : McGroups, testing::WithParamInterface<uint32_t> {};

TEST_P(PortsOfAGroup, AreGivenToTheSwitchAndTheReplyHasItsId) {
    const Ports ports = ports_from(kPort, GetParam());
    auto request = set_request(client_.handle(), kAdd, 0xdeadbeef, ports);
    const Watch watch(daemon_);
    const Answer answer = set(request);
    request.mc_group_id = 1;
    expect_echo(answer, request);
    EXPECT_EQ(answer.body.size(), 424u);
    watch.expect_lines({});
    watch.expect_calls({mc_pbs_created(ports, 1)});
    EXPECT_EQ(cache_digest(daemon_), (Digest{"acls 0, rules 0", "mc group 1: owner 0"}));
    check_cache(daemon_);
}

TEST_P(PortsOfAGroup, CanBeAdded) {
    const uint32_t mc_group_id = create({1, kPort});
    const Ports ports = ports_from(kPort, GetParam());
    const auto request = set_request(client_.handle(), kAddPorts, mc_group_id, ports);
    const Watch watch(daemon_);
    expect_echo(set(request), request);
    watch.expect_lines({});
    watch.expect_calls({mc_pbs_ports_added(mc_group_id, ports)});
    check_cache(daemon_);
}

TEST_P(PortsOfAGroup, CanBeRemoved) {
    const uint32_t mc_group_id = create(ports_from(kPort, 100));
    const Ports ports = ports_from(kPort, GetParam());
    const auto request = set_request(client_.handle(), kDeletePorts, mc_group_id, ports);
    const Watch watch(daemon_);
    expect_echo(set(request), request);
    watch.expect_lines({});
    watch.expect_calls({mc_pbs_ports_deleted(mc_group_id, ports)});
    check_cache(daemon_);
}

INSTANTIATE_TEST_SUITE_P(McGroups, PortsOfAGroup, testing::Values(0u, 1u, 99u, 100u));

// The switch would read past the record.
TEST_F(McGroups, MorePortsThanTheRecordHoldsAreRefusedWithoutACall) {
    const uint32_t mc_group_id = create({kPort});
    for (const uint32_t cmd : {kAdd, kAddPorts, kDeletePorts}) {
        for (const uint32_t ports_num : {101u, 102u, 0x40000001u, 0xffffffffu}) {
            auto request = set_request(client_.handle(), cmd, mc_group_id, {});
            request.ports_num = ports_num;
            const Watch watch(daemon_);
            expect_refused(set(request), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
            watch.expect_lines(too_many_ports(ports_num));
            watch.expect_calls({});
        }
    }
    check_cache(daemon_);
}

TEST_F(McGroups, EveryOwnerCreatesItsOwn) {
    for (uint32_t owner = 0; owner < ZV_ACL_RM_OWNER_NUM; ++owner) {
        TestClient client(daemon_, owner);
        EXPECT_EQ(create(client, {kPort}), owner + 1);
    }
    EXPECT_EQ(cache_digest(daemon_),
              (Digest{"acls 0, rules 0", "mc group 1: owner 0", "mc group 2: owner 1",
                      "mc group 3: owner 2", "mc group 4: owner 3"}));
    check_cache(daemon_);
}

TEST_F(McGroups, AnUnknownHandleCannotCreate) {
    const Watch watch(daemon_);
    expect_refused(set(set_request(kNobody, kAdd, 0, {kPort})), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    watch.expect_lines(failed(5, "Can't find handle[119] in acl_rm_clients_handles", 2));
    watch.expect_calls({});
}

TEST_F(McGroups, TheOwnerIsLookedForBeforeThePortsAreCounted) {
    auto request = set_request(kNobody, kAdd, 0, {});
    request.ports_num = 101;
    const Watch watch(daemon_);
    expect_refused(set(request), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    watch.expect_lines(failed(5, "Can't find handle[119] in acl_rm_clients_handles", 2));
}

// Ids are those of all PBS entries, forwarding ports' among them.
TEST_F(McGroups, TheIdIsTheSwitchs) {
    const acl_rm_acl acl = client_.make_acl(4);
    ASSERT_EQ(client_.write_rules(acl.acl_id, {forward_to_port(make_rule(0), kPort)}),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(create({kPort}), 2u);
    EXPECT_EQ(create({}), 3u);
    uint32_t mc_group_id = 3;
    ASSERT_EQ(client_.mc_group_set(kDelete, mc_group_id, {}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(create({}), 4u);
    // Entry 1 is in the switch, but is no group.
    expect_out_of_reach(client_.handle(), 1, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                        failed_by_name(4, 1));
    check_cache(daemon_);
}

// --- who may

TEST_F(McGroups, AnOf13ClientNeverTouchesItsGroupAgain) {
    TestClient of13(daemon_, ZV_ACL_RM_OWNER_OF13);
    const uint32_t mc_group_id = create(of13, {kPort, kPort + 1});
    expect_out_of_reach(of13.handle(), mc_group_id, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                        unknown_client(of13.handle()));
    expect_out_of_reach(client_.handle(), mc_group_id, ZV_ACL_RM_STATUS_ERROR, another_owner(0, 3));
    EXPECT_EQ(cache_digest(daemon_), (Digest{"acls 0, rules 0", "mc group 1: owner 3"}));
    check_cache(daemon_);
}

TEST_F(McGroups, AnOf13ClientThatIsAnotherOwnerTooIsThatOwner) {
    ASSERT_EQ(open_as(daemon_, 0x55, ZV_ACL_RM_OWNER_OF13), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(open_as(daemon_, 0x55, ZV_ACL_RM_OWNER_PRA), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(set(set_request(0x55, kAdd, 0, {kPort})).status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cache_digest(daemon_), (Digest{"acls 0, rules 0", "mc group 1: owner 2"}));
    EXPECT_EQ(set(set_request(0x55, kDelete, 1, {})).status, ZV_ACL_RM_STATUS_SUCCESS);
}

TEST_F(McGroups, AnotherOwnersGroupIsOutOfReach) {
    TestClient tarn_os(daemon_, ZV_ACL_RM_OWNER_TARN_OS);
    TestClient pra(daemon_, ZV_ACL_RM_OWNER_PRA);
    create({kPort});
    create(tarn_os, {kPort});
    create(pra, {kPort});
    const uint64_t handles[] = {client_.handle(), tarn_os.handle(), pra.handle()};
    for (uint32_t requester = 0; requester < 3; ++requester) {
        for (uint32_t owner = 0; owner < 3; ++owner) {
            if (requester != owner) {
                expect_out_of_reach(handles[requester], owner + 1, ZV_ACL_RM_STATUS_ERROR,
                                    another_owner(requester, owner));
            }
        }
    }
    check_cache(daemon_);
}

TEST_F(McGroups, AHandleThatNeverOpenedIsUnknown) {
    create({kPort});
    expect_out_of_reach(kNobody, 1, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, unknown_client(kNobody));
    // The client is looked at first.
    expect_out_of_reach(kNobody, 2, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, unknown_client(kNobody));
}

TEST_F(McGroups, AnOwnersNextClientGetsItsGroups) {
    create({kPort});
    const uint64_t former = client_.handle();
    ASSERT_EQ(open_as(daemon_, 0x55, ZV_ACL_RM_OWNER_OPEN_FLOW), ZV_ACL_RM_STATUS_SUCCESS);
    expect_out_of_reach(former, 1, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, unknown_client(former));
    EXPECT_EQ(set(set_request(0x55, kDelete, 1, {})).status, ZV_ACL_RM_STATUS_SUCCESS);
    check_cache(daemon_);
}

// It equals the slots of owners that never opened.
TEST_F(McGroups, Handle0IsTheFirstOwnerThatNeverOpened) {
    EXPECT_EQ(set(set_request(0, kAdd, 0, {kPort})).status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cache_digest(daemon_), (Digest{"acls 0, rules 0", "mc group 1: owner 1"}));
    EXPECT_EQ(set(set_request(0, kAddPorts, 1, {5})).status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(get(get_request(0, 1, 100)).status, ZV_ACL_RM_STATUS_SUCCESS);
}

TEST_F(McGroups, AnUnknownGroupIsOutOfRange) {
    create({kPort});
    for (const uint32_t mc_group_id : {0u, 2u, 0xffffffffu}) {
        expect_out_of_reach(client_.handle(), mc_group_id, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                            failed_by_name(4, 1));
    }
}

TEST_F(McGroups, TheGroupIsLookedForBeforeThePortsAreCounted) {
    for (const uint32_t cmd : {kAddPorts, kDeletePorts}) {
        auto request = set_request(client_.handle(), cmd, 9, {});
        request.ports_num = 101;
        const Watch watch(daemon_);
        expect_refused(set(request), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
        watch.expect_lines(failed_by_name(4, 1));
    }
    const Watch watch(daemon_);
    expect_refused(get(get_request(client_.handle(), 9, 101)),
                   ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    watch.expect_lines(failed_by_name(4, 1));
}

TEST_F(McGroups, OtherCommandsAreUnsupportedWhateverElseIsWrong) {
    create({kPort});
    for (const uint32_t cmd : {0u, 2u, 4u, 5u, 7u, 8u, 11u, 23u, 0xffffffffu}) {
        auto request = set_request(kNobody, cmd, 9, {});
        request.ports_num = 101;
        const Watch watch(daemon_);
        expect_refused(set(request), ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
        watch.expect_lines(failed(2, "Command unsupported, cmd type is:" + std::to_string(cmd), 0));
        watch.expect_calls({});
    }
}

TEST(McGroupsBeforeOpen, AreRefusedWhateverTheRequestSays) {
    DaemonProcess daemon;
    const Watch watch(daemon);
    for (const uint32_t cmd : {kAdd, kAddPorts, kDeletePorts, kDelete, 2u}) {
        const Answer answer = send_record(daemon, ZV_ACL_RM_API_INT_CMD_MC_GRP_SET,
                                          set_request(0, cmd, 1, Ports(101)));
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
    }
    const Answer answer =
        send_record(daemon, ZV_ACL_RM_API_INT_CMD_MC_GRP_GET, get_request(0, 1, 101));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(Lines(6, error_line(1, "ACL RM is not initialized")));
    watch.expect_calls({});
}

TEST_F(McGroups, ARecordOfAnotherLengthIsRefused) {
    const auto refuse = [&](uint32_t command, size_t length, const std::string &name) {
        const Watch watch(daemon_);
        expect_refused(send_bytes(daemon_, command, Bytes(length)), ZV_ACL_RM_STATUS_ERROR);
        watch.expect_lines({{"ACL_RM_RPC", "ERROR",
                             "failed to receive zv_acl_rm_api_acl_mc_group_" + name + " len " +
                                 std::to_string(length) + "."}});
        watch.expect_calls({});
    };
    for (const size_t length : {423u, 425u, 416u}) {
        refuse(ZV_ACL_RM_API_INT_CMD_MC_GRP_SET, length, "set");
    }
    for (const size_t length : {415u, 417u, 424u}) {
        refuse(ZV_ACL_RM_API_INT_CMD_MC_GRP_GET, length, "get");
    }
}

// --- ports, delete, get

TEST_F(McGroups, PortsThatAreThereOrAbsentAlreadyAreNoFailure) {
    const uint32_t mc_group_id = create({5, 3, 5});
    EXPECT_EQ(switch_digest(daemon_), Digest{"pbs 1: mc 3 5"});
    EXPECT_EQ(set(kAddPorts, mc_group_id, {5, 4}).status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(switch_digest(daemon_), Digest{"pbs 1: mc 3 4 5"});
    EXPECT_EQ(set(kDeletePorts, mc_group_id, {3, 9}).status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(switch_digest(daemon_), Digest{"pbs 1: mc 4 5"});
    EXPECT_EQ(set(kDeletePorts, mc_group_id, {4, 5}).status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(switch_digest(daemon_), Digest{"pbs 1: mc"});
    check_cache(daemon_);
}

TEST_F(McGroups, DeletingRemovesTheGroupFromSwitchAndCache) {
    const uint32_t mc_group_id = create({kPort});
    auto request = set_request(client_.handle(), kDelete, mc_group_id, {});
    request.ports_num = 101;  // not looked at
    const Watch watch(daemon_);
    expect_echo(set(request), request);
    watch.expect_lines({});
    watch.expect_calls({mc_pbs_deleted(mc_group_id)});
    EXPECT_EQ(cache_digest(daemon_), Digest{"acls 0, rules 0"});
    EXPECT_EQ(switch_digest(daemon_), Digest());
    expect_out_of_reach(client_.handle(), mc_group_id, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                        failed_by_name(4, 1));
}

struct RoomOfAGet : McGroups, testing::WithParamInterface<uint32_t> {};

TEST_P(RoomOfAGet, TakesTheLowestPortsAndLeavesTheRestOfTheRecord) {
    const uint32_t room = GetParam();
    const uint32_t mc_group_id = create({7, 3, 5});
    auto request = get_request(client_.handle(), mc_group_id, room);
    const Watch watch(daemon_);
    const Answer answer = get(request);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
    const Ports all = {3, 5, 7};
    const Ports read(all.begin(), all.begin() + std::min(room, 3u));
    std::copy(read.begin(), read.end(), request.log_ports);
    request.ports_num = static_cast<uint32_t>(read.size());
    EXPECT_EQ(answer.body, bytes_of(request));
    EXPECT_EQ(answer.body.size(), 416u);
    watch.expect_lines({});
    watch.expect_calls({mc_pbs_read(mc_group_id, room, read)});
    check_cache(daemon_);
}

INSTANTIATE_TEST_SUITE_P(McGroups, RoomOfAGet, testing::Values(0u, 1u, 2u, 3u, 4u, 99u, 100u));

TEST_F(McGroups, ARoomOfMoreThanTheRecordHoldsIsRefusedWithoutACall) {
    const uint32_t mc_group_id = create({kPort});
    for (const uint32_t room : {101u, 102u, 0x40000001u, 0xffffffffu}) {
        const Watch watch(daemon_);
        expect_refused(get(get_request(client_.handle(), mc_group_id, room)),
                       ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
        watch.expect_lines(too_many_ports(room));
        watch.expect_calls({});
    }
}

TEST_F(McGroups, AGroupOfMorePortsThanTheRecordHoldsIsReadUpToItsEnd) {
    const uint32_t mc_group_id = create(ports_from(1000, 100));
    ASSERT_EQ(set(kAddPorts, mc_group_id, ports_from(500, 50)).status, ZV_ACL_RM_STATUS_SUCCESS);
    Ports read;
    EXPECT_EQ(client_.mc_group_get(mc_group_id, 100, read), ZV_ACL_RM_STATUS_SUCCESS);
    Ports lowest = ports_from(500, 50);
    const Ports next = ports_from(1000, 50);
    lowest.insert(lowest.end(), next.begin(), next.end());
    EXPECT_EQ(read, lowest);
    check_cache(daemon_);
}

// --- rules

class McGroupsOfRules : public McGroups {
  protected:
    // A rule for every packet at kPort, forwarding to the group.
    acl_rm_acl forwarding_acl(uint32_t mc_group_id) {
        const acl_rm_acl acl = client_.make_acl(4);
        EXPECT_EQ(client_.write_rules(acl.acl_id, {forward_to_mc_group(make_rule(0), mc_group_id)}),
                  ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(client_.bind_ports(ZV_ACL_RM_ACCESS_CMD_BIND, acl.acl_id, {kPort}),
                  ZV_ACL_RM_STATUS_SUCCESS);
        return acl;
    }
    Ports ports_of_packet() {
        return daemon_.control().packet("log_port", kPort, 0, 0, "").at("ports").get<Ports>();
    }
};

TEST_F(McGroupsOfRules, ARuleForwardsToTheGroupsPbsEntry) {
    const uint32_t mc_group_id = create({5, 7});
    const acl_rm_acl acl = client_.make_acl(4);
    const acl_rm_rule rule = forward_to_mc_group(make_rule(2), mc_group_id);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.write_rules(acl.acl_id, {rule}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({rules_written(1, {forwarded(sdk_rule(rule), mc_group_id)})});
    watch.expect_lines({});
    check_cache(daemon_);
}

TEST_F(McGroupsOfRules, ARuleForwardsToAnotherOwnersGroup) {
    TestClient of13(daemon_, ZV_ACL_RM_OWNER_OF13);
    forwarding_acl(create(of13, {5, 7}));
    EXPECT_EQ(ports_of_packet(), (Ports{5, 7}));
    check_cache(daemon_);
}

TEST_F(McGroupsOfRules, ChangesOfTheGroupReachPacketsAtOnce) {
    const uint32_t mc_group_id = create({5, 7});
    forwarding_acl(mc_group_id);
    ASSERT_EQ(set(kAddPorts, mc_group_id, {6}).status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(ports_of_packet(), (Ports{5, 6, 7}));
    ASSERT_EQ(set(kDeletePorts, mc_group_id, {5, 7}).status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(ports_of_packet(), Ports{6});
    check_cache(daemon_);
}

TEST_F(McGroupsOfRules, DeletingTheRulesLeavesTheGroup) {
    const uint32_t mc_group_id = create({5});
    const acl_rm_acl acl = forwarding_acl(mc_group_id);
    const size_t mark = daemon_.trace_mark();
    EXPECT_EQ(client_.delete_rules(acl.acl_id, {0}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(daemon_.call_names_since(mark), std::vector<std::string>{"zv_api_acl_rules_set"});
    Ports read;
    EXPECT_EQ(client_.mc_group_get(mc_group_id, 100, read), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(read, Ports{5});
    check_cache(daemon_);
}

// The switch does not mind: the rule stays and forwards nowhere.
TEST_F(McGroupsOfRules, AGroupInUseCanBeDeleted) {
    const uint32_t mc_group_id = create({5});
    const acl_rm_acl acl = forwarding_acl(mc_group_id);
    const Watch watch(daemon_);
    EXPECT_EQ(set(kDelete, mc_group_id, {}).status, ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({mc_pbs_deleted(mc_group_id)});
    EXPECT_EQ(ports_of_packet(), Ports());
    EXPECT_EQ(rule_keys(daemon_.dump()), std::vector<std::string>{"1_0"});
    check_cache(daemon_);
    // No further rule can name it, and the one that does can go.
    const Watch further(daemon_);
    EXPECT_EQ(client_.write_rules(acl.acl_id, {forward_to_mc_group(make_rule(1), mc_group_id)}),
              ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    further.expect_lines(failed(5, "Failed to find MCG id 1", 3));
    EXPECT_EQ(client_.delete_rules(acl.acl_id, {0}), ZV_ACL_RM_STATUS_SUCCESS);
    check_cache(daemon_);
}

}  // namespace
}  // namespace zv_test
