/* What an explanation asks, and what it makes of daemons that answer strangely, late or not at all:
 * of every command and every status. */
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/client/client_connection.h"
#include "tests/client/stub_daemon.h"
#include "zv_acl_rm/zv_acl_rm_client.h"

namespace {

using namespace zv_test;

struct Explained {
    int error = 0;
    std::string text;
    uint32_t causes_num = 0;
};

uint32_t record_bytes(uint32_t command) {
    constexpr uint32_t kBytes[] = {16,  16, 48, 16,  7224, 7224, 24,  424,
                                   224, 24, 40, 424, 416,  16,   416, 16};
    return kBytes[command - 2];
}

Explained explain(const Client &client, uint32_t command, zv_acl_rm_status_t status,
                  const std::vector<uint8_t> &record) {
    char text[ZV_ACL_RM_EXPLANATION_BYTES] = "nothing was written";
    Explained got;
    got.error = zv_acl_rm_client_explain(client.get(), command, record.data(),
                                         static_cast<uint32_t>(record.size()), status, text,
                                         sizeof(text), &got.causes_num);
    got.text = text;
    return got;
}

/* Every command, every status, and records of three kinds of bytes. */
template <typename Check>
void for_all(Check check) {
    for (uint32_t command = 2; command <= 17; command++) {
        for (zv_acl_rm_status_t status = 1; status <= 10; status++) {
            for (const uint8_t byte : {0x00, 0x01, 0xFF}) {
                SCOPED_TRACE("command " + std::to_string(command) + ", status " +
                             std::to_string(status) + ", bytes " + std::to_string(byte));
                check(command, status, std::vector<uint8_t>(record_bytes(command), byte));
            }
        }
    }
}

/* A question that changes nothing: a dump, a read of a counter, a read of rules without activity,
 * or with activity where no region has an offset. */
void expect_harmless(const StubRequest &request) {
    switch (request.command) {
        case ZV_ACL_RM_API_INT_CMD_DUMP:
            return;
        case ZV_ACL_RM_API_INT_CMD_COUNTER_GET: {
            zv_acl_rm_counter_get_params_t record;
            std::memcpy(&record, request.body.data(), sizeof(record));
            EXPECT_EQ(record.cmd, uint32_t{ZV_ACL_RM_ACCESS_CMD_READ});
            return;
        }
        case ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET: {
            zv_acl_rm_acl_rule_get_params_t record;
            std::memcpy(&record, request.body.data(), sizeof(record));
            for (uint32_t i = 0; i < record.rules_num; i++) {
                const bool asks_activity = record.rules[i].readout.activity_request != 0;
                EXPECT_TRUE(!asks_activity || record.rules[i].offset == UINT32_MAX);
            }
            return;
        }
        default:
            ADD_FAILURE() << "command " << request.command << " was sent";
    }
}

class ExplainOfStub : public testing::TestWithParam<uint32_t> {};

TEST_P(ExplainOfStub, AsksWhatChangesNothingAndEndsWithWords) {
    const uint32_t answer = GetParam();
    StubDaemon daemon([answer](const StubRequest &request) {
        StubReply reply = echo_reply(request);
        reply.status = answer;
        if (answer != 0) {
            reply.body.clear();
        }
        return reply;
    });
    for_all([&](uint32_t command, zv_acl_rm_status_t status, const std::vector<uint8_t> &record) {
        const Client client = connect(daemon);
        const Explained got = explain(client, command, status, record);
        EXPECT_EQ(got.error, 0);
        EXPECT_GT(got.text.size(), 10u);
        EXPECT_NE(got.text, "nothing was written");
    });
    const std::vector<StubRequest> requests = daemon.requests();
    EXPECT_GT(requests.size(), 100u);
    for (const StubRequest &request : requests) {
        expect_harmless(request);
    }
}

INSTANTIATE_TEST_SUITE_P(AnyAnswer, ExplainOfStub, testing::Range(0u, 10u));

std::vector<uint8_t> write_of_20_rules(uint32_t first_offset) {
    zv_acl_rm_acl_rule_set_params_t record{};
    record.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE;
    record.rules_num = 20;
    for (uint32_t i = 0; i < 20; i++) {
        record.rules[i].priority = i == 19 ? UINT32_MAX : first_offset + i;
        record.rules[i].forwarding.counter_id = i + 1;
    }
    const auto *bytes = reinterpret_cast<const uint8_t *>(&record);
    return {bytes, bytes + sizeof(record)};
}

/* 20 offsets, each read at most twice, and a search of 32 steps and one for an end. */
TEST(ExplainCost, StaysWithinItsBoundsWhateverIsAnswered) {
    for (const uint32_t inside : {0u, 1u, 1000u, UINT32_MAX}) {
        StubDaemon daemon([inside](const StubRequest &request) {
            StubReply reply;
            uint32_t offset = 0;
            uint32_t rules_num = 0;
            if (request.command == ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET) {
                std::memcpy(&offset, &request.body[20], sizeof(offset));
                std::memcpy(&rules_num, &request.body[7216], sizeof(rules_num));
            }
            reply.status = rules_num != 0 && offset >= inside ? 1 : 5;
            return reply;
        });
        for (uint32_t round = 0; round < 16; round++) {
            const zv_acl_rm_status_t status = 1 + round % 8;
            const size_t before = daemon.requests().size();
            const Client client = connect(daemon);
            explain(client, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, status,
                    write_of_20_rules(round < 8 ? 0 : UINT32_MAX - 30));
            size_t reads = 0;
            const std::vector<StubRequest> requests = daemon.requests();
            for (size_t i = before; i < requests.size(); i++) {
                reads += requests[i].command == ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET ? 1 : 0;
            }
            EXPECT_LE(reads, 80u) << "status " << status << ", inside " << inside;
        }
    }
}

TEST(ExplainCost, AsksNothingMoreAfterTheFirstSilence) {
    StubDaemon daemon(always({.silent = true}));
    const Client client = connect(daemon);
    zv_acl_rm_client_set_timeout_ms(client.get(), 50);
    const Explained got =
        explain(client, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, 1, std::vector<uint8_t>(7224, 0x01));
    EXPECT_EQ(got.error, ETIMEDOUT);
    EXPECT_EQ(daemon.requests().size(), 1u);
    EXPECT_EQ(got.text.substr(0, 29), "the daemon is not initialised");
}

/* Questions that are answered, but slowly: together they have the limit of one call, so that it is
 * over before half of them are asked. A busy machine asks fewer. */
TEST(ExplainCost, LendsOneTimeLimitToAllQuestionsTogether) {
    StubDaemon daemon([](const StubRequest &request) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        return StubReply{.status = request.command == ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET ? 5u : 1u};
    });
    const Client client = connect(daemon);
    zv_acl_rm_client_set_timeout_ms(client.get(), 250);
    const Explained got =
        explain(client, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, 1, write_of_20_rules(0));
    EXPECT_EQ(got.error, ETIMEDOUT);
    EXPECT_LE(daemon.requests().size(), 3u) << "what 250 ms have room for";
    EXPECT_GT(got.causes_num, 0u);
}

/* The limit is lent to the questions and given back. */
TEST(ExplainCost, LeavesTheTimeLimitAsItWas) {
    StubDaemon daemon([](const StubRequest &request) {
        StubReply reply = echo_reply(request);
        reply.silent = request.command == ZV_ACL_RM_API_INT_CMD_INIT;
        return reply;
    });
    const Client client = connect(daemon);
    zv_acl_rm_client_set_timeout_ms(client.get(), 40);
    explain(client, ZV_ACL_RM_API_INT_CMD_ACL_RESIZE, 4, std::vector<uint8_t>(16, 0x01));
    zv_acl_rm_status_t status = kUntouched;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(zv_acl_rm_api_init(client.get(), 1, &status), ETIMEDOUT);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(40));
}

/* What a daemon writes into the file is read as text that may be anything. */
TEST(ExplainDump, TakesAnyTextForADump) {
    const std::string texts[] = {
        "",
        "\n\n\n",
        std::string(300000, '['),
        std::string(1000, '\0') + "\nacl_id:=[\n",
        "acl_id:=[4294967296]\t acl_owner:=[-1]\t bound_to_system=[\n acl_bound_ports[1, 2\n",
        " acl_bound_ports[1, \ngroup_id:=[1]\tacl_ids:=[,,,,]\tnumber of acls in group[99999999]\n",
        "key_format:=[_]\nkey_format:=[]\nkey_format:=[7]\nkey_format:=\nkey_format:\n",
        "=====ACL_RM Cache dump end=====\n=====ACL_RM Cache dump end=====\n"};
    for (const std::string &text : texts) {
        StubDaemon daemon([&text](const StubRequest &request) {
            if (request.command == ZV_ACL_RM_API_INT_CMD_DUMP) {
                std::ofstream(reinterpret_cast<const char *>(request.attachment.data())) << text;
            }
            return echo_reply(request);
        });
        for_all(
            [&](uint32_t command, zv_acl_rm_status_t status, const std::vector<uint8_t> &record) {
                const Client client = connect(daemon);
                EXPECT_EQ(explain(client, command, status, record).error, 0);
            });
    }
}

}  // namespace
