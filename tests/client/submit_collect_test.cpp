/* Several requests under way: what submit sends and refuses, what collect hands over, and what
 * becomes of requests when the daemon goes. */
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "tests/client/client_connection.h"
#include "tests/client/failing_socket.h"
#include "tests/client/stub_daemon.h"

namespace {

using namespace zv_test;

using RuleSet = zv_acl_rm_acl_rule_set_params_t;

template <typename Record>
int submit(const Client &client, uint32_t command, Record *record, uint32_t *sequence) {
    return zv_acl_rm_client_submit(client.get(), command, record, sizeof(*record), sequence);
}

int submit_rules(const Client &client, RuleSet *record, uint32_t *sequence) {
    return submit(client, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, record, sequence);
}

int submit_init(const Client &client, uint32_t *sequence) {
    zv_acl_rm_init_params_t record{0, 1, 0};
    return submit(client, ZV_ACL_RM_API_INT_CMD_INIT, &record, sequence);
}

struct Collected {
    int error = 0;
    uint32_t sequence = 0;
    zv_acl_rm_status_t status = kUntouched;
};

Collected collect(const Client &client) {
    Collected got;
    got.error =
        zv_acl_rm_client_collect(client.get(), &got.sequence, nullptr, nullptr, &got.status);
    return got;
}

TEST(Submit, AnswersComeInTheOrderOfTheRequests) {
    StubDaemon daemon([](const StubRequest &request) {
        StubReply reply = echo_reply(request);
        reply.status = request.body[12] == 2 ? 7 : 0; /* the ACL's id */
        return reply;
    });
    const Client client = connect(daemon);
    RuleSet record{};
    uint32_t sent[3];
    for (uint32_t i = 0; i < 3; i++) {
        record.acl_id = i + 1;
        ASSERT_EQ(submit_rules(client, &record, &sent[i]), 0);
    }
    for (uint32_t i = 0; i < 3; i++) {
        uint32_t sequence = 0;
        uint32_t bytes = sizeof(record);
        zv_acl_rm_status_t status = kUntouched;
        record.acl_id = 99;
        ASSERT_EQ(zv_acl_rm_client_collect(client.get(), &sequence, &record, &bytes, &status), 0);
        EXPECT_EQ(sequence, sent[i]);
        EXPECT_EQ(status, i == 1 ? 7u : 0u);
        EXPECT_EQ(record.acl_id, i == 1 ? 99u : i + 1) << "a refusal brings no record";
        EXPECT_EQ(bytes, i == 1 ? 0u : sizeof(record));
    }
}

TEST(Submit, MixesCommandsAndEachReplyGoesWhereItsOwnFunctionPutsIt) {
    StubDaemon daemon([](const StubRequest &request) {
        StubReply reply = echo_reply(request);
        std::fill(reply.body.begin(), reply.body.end(), uint8_t{0xEE});
        return reply;
    });
    const Client client = connect(daemon);
    zv_acl_rm_acl_set_params_t acl{};
    acl.cmd = ZV_ACL_RM_ACCESS_CMD_CREATE;
    zv_acl_rm_acl_resize_params_t resize{};
    uint32_t sequence = 0;
    ASSERT_EQ(submit_init(client, &sequence), 0);
    ASSERT_EQ(submit(client, ZV_ACL_RM_API_INT_CMD_ACL_SET, &acl, &sequence), 0);
    ASSERT_EQ(submit(client, ZV_ACL_RM_API_INT_CMD_ACL_RESIZE, &resize, &sequence), 0);

    std::array<uint8_t, 64> room;
    const auto collect_into_room = [&](uint32_t *bytes) {
        room.fill(0x11);
        *bytes = room.size();
        zv_acl_rm_status_t status = kUntouched;
        return zv_acl_rm_client_collect(client.get(), &sequence, room.data(), bytes, &status);
    };
    const auto places_replaced = [&] {
        std::string places;
        for (size_t i = 0; i < room.size(); i++) {
            if (room[i] == 0xEE) {
                places += std::to_string(i) + " ";
            }
        }
        return places;
    };
    uint32_t bytes = 0;
    ASSERT_EQ(collect_into_room(&bytes), 0);
    EXPECT_EQ(bytes, 0u);
    EXPECT_EQ(places_replaced(), "");
    ASSERT_EQ(collect_into_room(&bytes), 0);
    EXPECT_EQ(bytes, 32u);
    EXPECT_EQ(room[11], 0x11);
    EXPECT_EQ(room[12], 0xEE);
    EXPECT_EQ(room[43], 0xEE);
    EXPECT_EQ(room[44], 0x11);
    ASSERT_EQ(collect_into_room(&bytes), 0);
    EXPECT_EQ(bytes, 16u);
    EXPECT_EQ(places_replaced(), "0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 ");
}

TEST(Submit, SendsADumpsPathBesideTheRecordAndNoAddress) {
    StubDaemon daemon;
    const Client client = connect(daemon);
    std::string path = "/tmp/dump";
    zv_acl_rm_dump_params_t record{0, reinterpret_cast<uintptr_t>(path.c_str())};
    uint32_t sequence = 0;
    ASSERT_EQ(submit(client, ZV_ACL_RM_API_INT_CMD_DUMP, &record, &sequence), 0);
    path = "overwritten";
    ASSERT_EQ(collect(client).error, 0);
    const auto requests = daemon.requests();
    EXPECT_EQ(std::string(requests[0].attachment.begin(), requests[0].attachment.end()),
              std::string("/tmp/dump", 10));
    EXPECT_EQ(std::vector<uint8_t>(requests[0].body.begin() + 8, requests[0].body.end()),
              std::vector<uint8_t>(8, 0));
}

TEST(Submit, RefusesWhatTheCommandsOwnFunctionRefuses) {
    StubDaemon daemon;
    const Client client = connect(daemon);
    uint32_t sequence = 0;
    zv_acl_rm_open_params_t open{0, ZV_ACL_RM_OWNER_NUM, 0};
    EXPECT_EQ(submit(client, ZV_ACL_RM_API_INT_CMD_OPEN, &open, &sequence), EINVAL);
    zv_acl_rm_acl_port_bind_params_t ports{};
    ports.ports_num = 101;
    EXPECT_EQ(submit(client, ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET, &ports, &sequence), EINVAL);
    zv_acl_rm_acl_rif_bind_params_t rifs{};
    rifs.rifs_num = 101;
    EXPECT_EQ(submit(client, ZV_ACL_RM_API_INT_CMD_ACL_BIND_RIF_SET, &rifs, &sequence), EINVAL);
    zv_acl_rm_mc_group_set_params_t group{};
    group.ports_num = 101;
    EXPECT_EQ(submit(client, ZV_ACL_RM_API_INT_CMD_MC_GRP_SET, &group, &sequence), EINVAL);
    zv_acl_rm_mc_group_get_params_t read{};
    read.ports_num = 101;
    EXPECT_EQ(submit(client, ZV_ACL_RM_API_INT_CMD_MC_GRP_GET, &read, &sequence), EINVAL);
    zv_acl_rm_port_set_params_t port_set{};
    port_set.ports_num = 101;
    EXPECT_EQ(submit(client, ZV_ACL_RM_API_INT_CMD_PORT_SET, &port_set, &sequence), EINVAL);
    zv_acl_rm_dump_params_t dump{};
    EXPECT_EQ(submit(client, ZV_ACL_RM_API_INT_CMD_DUMP, &dump, &sequence), EINVAL);
    dump.path = reinterpret_cast<uintptr_t>("");
    EXPECT_EQ(submit(client, ZV_ACL_RM_API_INT_CMD_DUMP, &dump, &sequence), EINVAL);
    const std::string path(4096, 'x');
    dump.path = reinterpret_cast<uintptr_t>(path.c_str());
    EXPECT_EQ(submit(client, ZV_ACL_RM_API_INT_CMD_DUMP, &dump, &sequence), ENAMETOOLONG);
    EXPECT_EQ(collect(client).error, ENOMSG);
    EXPECT_TRUE(daemon.requests().empty());
}

TEST(Submit, RefusesNullsUnknownCommandsAndRecordsOfAnotherSize) {
    StubDaemon daemon;
    const Client client = connect(daemon);
    RuleSet record{};
    uint32_t sequence = 0;
    const uint32_t command = ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET;
    EXPECT_EQ(zv_acl_rm_client_submit(nullptr, command, &record, sizeof(record), &sequence),
              EINVAL);
    EXPECT_EQ(zv_acl_rm_client_submit(client.get(), command, nullptr, sizeof(record), &sequence),
              EINVAL);
    EXPECT_EQ(zv_acl_rm_client_submit(client.get(), command, &record, sizeof(record), nullptr),
              EINVAL);
    for (const uint32_t none : {0u, 1u, 18u, UINT32_MAX}) {
        EXPECT_EQ(zv_acl_rm_client_submit(client.get(), none, &record, sizeof(record), &sequence),
                  EINVAL);
    }
    for (const uint32_t bytes : {0u, 7223u, 7225u}) {
        EXPECT_EQ(zv_acl_rm_client_submit(client.get(), command, &record, bytes, &sequence),
                  EINVAL);
    }
    EXPECT_EQ(collect(client).error, ENOMSG);
    EXPECT_TRUE(daemon.requests().empty());
}

TEST(Submit, HoldsThirtyTwoRequestsAtMost) {
    StubDaemon daemon;
    const Client client = connect(daemon);
    RuleSet record{};
    uint32_t sequence = 0;
    for (uint32_t i = 0; i < ZV_ACL_RM_MAX_IN_FLIGHT; i++) {
        ASSERT_EQ(submit_rules(client, &record, &sequence), 0) << i;
    }
    EXPECT_EQ(submit_rules(client, &record, &sequence), EAGAIN);
    ASSERT_EQ(collect(client).error, 0);
    EXPECT_EQ(submit_rules(client, &record, &sequence), 0);
}

/* More than the ring has places, so that every place is used again. */
TEST(Submit, HasSentNothingWhereTheSystemHasNoMemory) {
    StubDaemon daemon;
    const Client client = connect(daemon);
    zv_acl_rm_acl_rule_set_params_t record{};
    uint32_t sequence = 0;
    for (const int error : {ENOBUFS, ENOMEM}) {
        const FailingSocket failing(SocketCall::send, error);
        EXPECT_EQ(submit_rules(client, &record, &sequence), error);
    }
    zv_acl_rm_status_t status = kUntouched;
    EXPECT_EQ(zv_acl_rm_client_collect(client.get(), &sequence, nullptr, nullptr, &status), ENOMSG);
    EXPECT_TRUE(daemon.requests().empty());
}

TEST(Submit, KeepsTheOrderOverAHundredRequests) {
    StubDaemon daemon;
    const Client client = connect(daemon);
    RuleSet record{};
    std::vector<uint32_t> sent(100);
    size_t submitted = 0;
    for (size_t collected = 0; collected < sent.size(); collected++) {
        while (submitted < sent.size() && submitted < collected + ZV_ACL_RM_MAX_IN_FLIGHT - 1) {
            ASSERT_EQ(submit_rules(client, &record, &sent[submitted]), 0);
            submitted++;
        }
        const Collected got = collect(client);
        ASSERT_EQ(got.error, 0);
        EXPECT_EQ(got.sequence, sent[collected]);
    }
    EXPECT_EQ(collect(client).error, ENOMSG);
}

TEST(Submit, GivesUpWhereADeafDaemonTakesNothingMoreAndHasSentNothing) {
    StubDaemon daemon;
    const Client client = connect(daemon);
    daemon.set_deaf(true);
    zv_acl_rm_client_set_timeout_ms(client.get(), 0);
    RuleSet record{};
    uint32_t sequence = 0;
    uint32_t submitted = 0;
    int error = 0;
    while (error == 0) {
        error = submit_rules(client, &record, &sequence);
        submitted += error == 0 ? 1 : 0;
    }
    EXPECT_TRUE(error == ETIMEDOUT || error == EAGAIN) << error;
    EXPECT_GT(submitted, 0u);
    zv_acl_rm_client_set_timeout_ms(client.get(), 10000);
    daemon.set_deaf(false);
    for (uint32_t i = 0; i < submitted; i++) {
        ASSERT_EQ(collect(client).error, 0);
    }
    EXPECT_EQ(collect(client).error, ENOMSG);
    EXPECT_EQ(daemon.requests().size(), submitted);
}

TEST(Collect, AnyOtherCommandWaitsUntilTheAnswersAreIn) {
    StubDaemon daemon;
    const Client client = connect(daemon);
    uint32_t sequence = 0;
    zv_acl_rm_status_t status = kUntouched;
    ASSERT_EQ(submit_init(client, &sequence), 0);
    EXPECT_EQ(zv_acl_rm_api_init(client.get(), 1, &status), EBUSY);
    ASSERT_EQ(collect(client).error, 0);
    EXPECT_EQ(zv_acl_rm_api_init(client.get(), 1, &status), 0);
}

TEST(Collect, HasNothingWhereNothingWasSubmitted) {
    StubDaemon daemon;
    const Client client = connect(daemon);
    EXPECT_EQ(collect(client).error, ENOMSG);
}

TEST(Collect, RefusesNulls) {
    StubDaemon daemon;
    const Client client = connect(daemon);
    RuleSet record{};
    uint32_t sequence = 0;
    uint32_t bytes = sizeof(record);
    zv_acl_rm_status_t status = kUntouched;
    ASSERT_EQ(submit_rules(client, &record, &sequence), 0);
    EXPECT_EQ(zv_acl_rm_client_collect(nullptr, &sequence, &record, &bytes, &status), EINVAL);
    EXPECT_EQ(zv_acl_rm_client_collect(client.get(), nullptr, &record, &bytes, &status), EINVAL);
    EXPECT_EQ(zv_acl_rm_client_collect(client.get(), &sequence, &record, nullptr, &status), EINVAL);
    EXPECT_EQ(zv_acl_rm_client_collect(client.get(), &sequence, nullptr, &bytes, &status), EINVAL);
    EXPECT_EQ(zv_acl_rm_client_collect(client.get(), &sequence, &record, &bytes, nullptr), EINVAL);
    EXPECT_EQ(collect(client).error, 0) << "none of them took the answer";
}

TEST(Collect, TakesNothingIntoARoomTooSmall) {
    StubDaemon daemon;
    const Client client = connect(daemon);
    RuleSet record{};
    uint32_t sequence = 0;
    ASSERT_EQ(submit_rules(client, &record, &sequence), 0);
    uint32_t bytes = sizeof(record) - 1;
    zv_acl_rm_status_t status = kUntouched;
    EXPECT_EQ(zv_acl_rm_client_collect(client.get(), &sequence, &record, &bytes, &status), ENOBUFS);
    EXPECT_EQ(status, kUntouched);
    bytes = sizeof(record);
    EXPECT_EQ(zv_acl_rm_client_collect(client.get(), &sequence, &record, &bytes, &status), 0);
}

TEST(Collect, KeepsAnAnswerThatIsLateOutstanding) {
    StubDaemon daemon;
    const Client client = connect(daemon);
    daemon.set_deaf(true);
    uint32_t sent = 0;
    ASSERT_EQ(submit_init(client, &sent), 0);
    zv_acl_rm_client_set_timeout_ms(client.get(), 0);
    EXPECT_EQ(collect(client).error, ETIMEDOUT);
    zv_acl_rm_client_set_timeout_ms(client.get(), 10000);
    daemon.set_deaf(false);
    const Collected got = collect(client);
    EXPECT_EQ(got.error, 0);
    EXPECT_EQ(got.sequence, sent);
}

TEST(Collect, SaysWhoseRequestTheDaemonDidNotCarryOut) {
    StubDaemon daemon([](const StubRequest &request) {
        StubReply reply = echo_reply(request);
        reply.transport = request.sequence == 2 ? 4 : 0;
        if (reply.transport != 0) {
            reply.body.clear();
        }
        return reply;
    });
    const Client client = connect(daemon);
    uint32_t sent[3];
    for (uint32_t &sequence : sent) {
        ASSERT_EQ(submit_init(client, &sequence), 0);
    }
    EXPECT_EQ(collect(client).error, 0);
    const Collected refused = collect(client);
    EXPECT_EQ(refused.error, ESHUTDOWN);
    EXPECT_EQ(refused.sequence, sent[1]);
    EXPECT_EQ(refused.status, kUntouched);
    EXPECT_EQ(collect(client).error, 0);
}

TEST(Collect, NamesEachRequestThatADaemonThatWentAwayLeftUnanswered) {
    StubDaemon daemon([](const StubRequest &request) {
        StubReply reply = echo_reply(request);
        reply.hang_up = request.sequence == 2;
        return reply;
    });
    const Client client = connect(daemon);
    daemon.set_deaf(true);
    uint32_t sent[3];
    for (uint32_t &sequence : sent) {
        ASSERT_EQ(submit_init(client, &sequence), 0);
    }
    daemon.set_deaf(false);
    const Collected answered = collect(client);
    EXPECT_EQ(answered.error, 0);
    EXPECT_EQ(answered.sequence, sent[0]);
    for (const uint32_t unanswered : {sent[1], sent[2]}) {
        const Collected lost = collect(client);
        EXPECT_EQ(lost.error, ECONNRESET);
        EXPECT_EQ(lost.sequence, unanswered);
        EXPECT_EQ(lost.status, kUntouched);
    }
    EXPECT_EQ(collect(client).error, ENOMSG);
    uint32_t sequence = 0;
    EXPECT_EQ(submit_init(client, &sequence), ECONNRESET);
    zv_acl_rm_status_t status = kUntouched;
    EXPECT_EQ(zv_acl_rm_api_init(client.get(), 1, &status), ECONNRESET)
        << "nothing is outstanding any more";
}

TEST(Collect, CallsAReplyOfAnotherSizeAProtocolErrorAndGoesOn) {
    StubDaemon daemon([](const StubRequest &request) {
        StubReply reply = echo_reply(request);
        if (request.sequence == 1) {
            reply.body.push_back(0);
        }
        return reply;
    });
    const Client client = connect(daemon);
    RuleSet record{};
    uint32_t sent[2];
    ASSERT_EQ(submit_rules(client, &record, &sent[0]), 0);
    ASSERT_EQ(submit_rules(client, &record, &sent[1]), 0);
    const Collected wrong = collect(client);
    EXPECT_EQ(wrong.error, EPROTO);
    EXPECT_EQ(wrong.sequence, sent[0]);
    EXPECT_EQ(wrong.status, kUntouched);
    EXPECT_EQ(collect(client).sequence, sent[1]);
}

}  // namespace
