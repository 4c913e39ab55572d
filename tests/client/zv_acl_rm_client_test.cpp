/* The client library against a stub of the daemon: every errno value it promises, and connections.
 */
#include "zv_acl_rm/zv_acl_rm_client.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tests/client/client_connection.h"
#include "tests/client/failing_socket.h"
#include "tests/client/stub_daemon.h"

extern "C" int zv_test_client_from_c(void);

namespace {

using namespace zv_test;

/* The library's errors, shown with the shortest of commands. */
int init(const Client &client, zv_acl_rm_status_t *status) {
    return zv_acl_rm_api_init(client.get(), 1, status);
}

void expect_error(StubReply reply, int error) {
    StubDaemon daemon(always(reply));
    const Client client = connect(daemon);
    zv_acl_rm_status_t status = kUntouched;
    EXPECT_EQ(init(client, &status), error);
    EXPECT_EQ(status, kUntouched);
}

TEST(ClientErrors, SaysThatTheDaemonFoundTheMessageMalformed) {
    expect_error({.transport = 1}, EBADMSG);
}

TEST(ClientErrors, SaysThatTheDaemonHasNoSuchCommand) {
    expect_error({.transport = 2}, EOPNOTSUPP);
}

TEST(ClientErrors, SaysThatTheMessageIsTooLongForTheDaemon) {
    expect_error({.transport = 3}, EMSGSIZE);
}

TEST(ClientErrors, SaysThatTheDaemonIsShuttingDown) {
    expect_error({.transport = 4}, ESHUTDOWN);
}

TEST(ClientErrors, SaysThatTheDaemonHungUp) {
    expect_error({.hang_up = true}, ECONNRESET);
}

TEST(ClientErrors, SaysThatTheAnswerIsNone) {
    expect_error({.garbage = true}, EPROTO);
}

TEST(ClientErrors, GivesUpAfterTheTimeLimit) {
    StubDaemon daemon(always({.silent = true}));
    const Client client = connect(daemon);
    ASSERT_EQ(zv_acl_rm_client_set_timeout_ms(client.get(), 20), 0);
    zv_acl_rm_status_t status = kUntouched;
    EXPECT_EQ(init(client, &status), ETIMEDOUT);
    EXPECT_EQ(status, kUntouched);
}

/* What the system has no room for is no fault of the daemon's protocol. */
TEST(ClientErrors, NamesTheSystemsOwnErrors) {
    StubDaemon daemon;
    const Client client = connect(daemon);
    for (const int error : {ENOBUFS, ENOMEM}) {
        zv_acl_rm_status_t status = kUntouched;
        {
            const FailingSocket failing(SocketCall::send, error);
            EXPECT_EQ(init(client, &status), error);
        }
        EXPECT_EQ(status, kUntouched);
        EXPECT_EQ(init(client, &status), 0) << "the connection can be used further";
    }
    EXPECT_EQ(daemon.requests().size(), 2u);
    const FailingSocket failing(SocketCall::receive, ENOMEM);
    zv_acl_rm_status_t status = kUntouched;
    EXPECT_EQ(init(client, &status), ENOMEM);
}

TEST(ClientErrors, CallsAReplyLongerThanAnyAProtocolError) {
    StubReply reply;
    reply.body.resize(8000);
    StubDaemon daemon(always(reply));
    const Client client = connect(daemon);
    zv_acl_rm_status_t status = kUntouched;
    EXPECT_EQ(init(client, &status), EPROTO);
    EXPECT_EQ(status, kUntouched);
}

TEST(ClientErrors, NeverTakesALateAnswerForTheNextCalls) {
    StubDaemon daemon(always({.status = 6}));
    const Client client = connect(daemon);
    daemon.set_deaf(true);
    zv_acl_rm_client_set_timeout_ms(client.get(), 1);
    zv_acl_rm_status_t status = kUntouched;
    ASSERT_EQ(init(client, &status), ETIMEDOUT);
    zv_acl_rm_client_set_timeout_ms(client.get(), 10000);
    daemon.set_deaf(false);
    zv_acl_rm_counter_get_params_t params{};
    params.cmd = ZV_ACL_RM_ACCESS_CMD_READ;
    ASSERT_EQ(zv_acl_rm_api_counter_get(client.get(), &params, &status), 0);
    EXPECT_EQ(status, 6u);
    const auto requests = daemon.requests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[1].command, 12u);
}

TEST(ClientConnect, SaysThatThereIsNoSocket) {
    zv_acl_rm_client_t *client = reinterpret_cast<zv_acl_rm_client_t *>(1);
    EXPECT_EQ(zv_acl_rm_client_connect("/nonexistent/socket", 1, &client), ENOENT);
    EXPECT_EQ(client, nullptr);
}

TEST(ClientConnect, SaysThatNobodyListens) {
    const StubDaemon daemon; /* for its directory */
    const std::string path = daemon.directory() + "/dead";
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    ASSERT_EQ(bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)), 0);
    close(fd);
    zv_acl_rm_client_t *client = nullptr;
    EXPECT_EQ(zv_acl_rm_client_connect(path.c_str(), 1, &client), ECONNREFUSED);
}

TEST(ClientConnect, SaysThatTooManyWaitForTheDaemon) {
    StubDaemon daemon;
    const FailingSocket failing(SocketCall::connect, EAGAIN);
    zv_acl_rm_client_t *client = nullptr;
    EXPECT_EQ(zv_acl_rm_client_connect(daemon.socket_path().c_str(), kHandle, &client), EAGAIN);
    EXPECT_EQ(client, nullptr);
}

TEST(ClientConnect, RefusesAPathTooLongForASocket) {
    zv_acl_rm_client_t *client = nullptr;
    const std::string path = "/" + std::string(200, 'x');
    EXPECT_EQ(zv_acl_rm_client_connect(path.c_str(), 1, &client), ENAMETOOLONG);
}

TEST(ClientConnect, RefusesANullPlaceForTheClient) {
    EXPECT_EQ(zv_acl_rm_client_connect("/x", 1, nullptr), EINVAL);
}

TEST(ClientConnect, SendsNothing) {
    StubDaemon daemon;
    const Client client = connect(daemon);
    zv_acl_rm_status_t status = 0;
    ASSERT_EQ(init(client, &status), 0);
    ASSERT_EQ(daemon.requests().size(), 1u);
    EXPECT_EQ(daemon.requests()[0].command, 3u);
}

TEST(ClientObject, TellsItsHandleAndDescriptor) {
    StubDaemon daemon;
    const Client client = connect(daemon);
    EXPECT_EQ(zv_acl_rm_client_handle(client.get()), kHandle);
    EXPECT_GE(zv_acl_rm_client_fd(client.get()), 0);
}

TEST(ClientObject, TakesANullForWhatNeedsNone) {
    zv_acl_rm_client_close(nullptr);
    EXPECT_EQ(zv_acl_rm_client_handle(nullptr), 0u);
    EXPECT_EQ(zv_acl_rm_client_fd(nullptr), -1);
    EXPECT_EQ(zv_acl_rm_client_set_timeout_ms(nullptr, 1), EINVAL);
}

TEST(ClientObject, WorksFromC) {
    EXPECT_EQ(zv_test_client_from_c(), EINVAL);
}

TEST(ClientLimits, SendsNoOwnerThatIsNone) {
    StubDaemon daemon;
    const Client client = connect(daemon);
    zv_acl_rm_status_t status = kUntouched;
    EXPECT_EQ(zv_acl_rm_api_open(client.get(), 3, &status), 0);
    EXPECT_EQ(zv_acl_rm_api_open(client.get(), 4, &status), EINVAL);
    EXPECT_EQ(daemon.requests().size(), 1u);
}

template <typename Params>
int call_with_ports(const Client &client, uint32_t count,
                    int (*function)(zv_acl_rm_client_t *, Params *, zv_acl_rm_status_t *)) {
    zv_acl_rm_status_t status = 0;
    Params params{};
    if constexpr (requires { params.rifs_num; }) {
        params.rifs_num = count;
    } else {
        params.ports_num = count;
    }
    return function(client.get(), &params, &status);
}

TEST(ClientLimits, SendsNoCountPastTheRecordsArray) {
    StubDaemon daemon;
    const Client client = connect(daemon);
    for (const auto &[count, error] : {std::pair{99u, 0}, {100u, 0}, {101u, EINVAL}}) {
        EXPECT_EQ(call_with_ports(client, count, zv_acl_rm_api_acl_port_bind), error) << count;
        EXPECT_EQ(call_with_ports(client, count, zv_acl_rm_api_acl_rif_bind), error) << count;
        EXPECT_EQ(call_with_ports(client, count, zv_acl_rm_api_mc_group_set), error) << count;
        EXPECT_EQ(call_with_ports(client, count, zv_acl_rm_api_mc_group_get), error) << count;
        EXPECT_EQ(call_with_ports(client, count, zv_acl_rm_api_port_set), error) << count;
    }
    EXPECT_EQ(daemon.requests().size(), 10u);
}

TEST(ClientDump, SendsThePathWithOneNulAsTheAttachmentAndNoAddress) {
    StubDaemon daemon;
    const Client client = connect(daemon);
    zv_acl_rm_status_t status = kUntouched;
    ASSERT_EQ(zv_acl_rm_api_dump(client.get(), "/tmp/dump", &status), 0);
    const auto requests = daemon.requests();
    EXPECT_EQ(std::string(requests[0].attachment.begin(), requests[0].attachment.end()),
              std::string("/tmp/dump", 10));
    EXPECT_EQ(std::vector<uint8_t>(requests[0].body.begin() + 8, requests[0].body.end()),
              std::vector<uint8_t>(8, 0));
}

TEST(ClientDump, TakesAPathOf4095BytesAndNoLongerOne) {
    StubDaemon daemon;
    const Client client = connect(daemon);
    zv_acl_rm_status_t status = kUntouched;
    EXPECT_EQ(zv_acl_rm_api_dump(client.get(), std::string(4094, 'x').c_str(), &status), 0);
    EXPECT_EQ(zv_acl_rm_api_dump(client.get(), std::string(4095, 'x').c_str(), &status), 0);
    EXPECT_EQ(zv_acl_rm_api_dump(client.get(), std::string(4096, 'x').c_str(), &status),
              ENAMETOOLONG);
    EXPECT_EQ(daemon.requests().size(), 2u);
    EXPECT_EQ(daemon.requests()[1].attachment.size(), 4096u);
}

TEST(ClientDump, RefusesNoPath) {
    StubDaemon daemon;
    const Client client = connect(daemon);
    zv_acl_rm_status_t status = kUntouched;
    EXPECT_EQ(zv_acl_rm_api_dump(client.get(), nullptr, &status), EINVAL);
    EXPECT_EQ(zv_acl_rm_api_dump(client.get(), "", &status), EINVAL);
}

TEST(ClientRaw, SendsEverythingAsGiven) {
    StubDaemon daemon(always({.body = {9, 8, 7}}));
    const Client client = connect(daemon);
    uint8_t reply[8] = {};
    uint32_t reply_len = sizeof(reply);
    zv_acl_rm_status_t status = kUntouched;
    ASSERT_EQ(zv_acl_rm_api_raw(client.get(), 99, "body", 4, "att", 3, reply, &reply_len, &status),
              0);
    EXPECT_EQ(status, 0u);
    ASSERT_EQ(reply_len, 3u);
    EXPECT_EQ(reply[0], 9);
    const auto requests = daemon.requests();
    EXPECT_EQ(requests[0].command, 99u);
    EXPECT_EQ(std::string(requests[0].body.begin(), requests[0].body.end()), "body");
    EXPECT_EQ(std::string(requests[0].attachment.begin(), requests[0].attachment.end()), "att");
}

TEST(ClientRaw, SaysHowMuchRoomAReplyWouldHaveNeeded) {
    StubDaemon daemon(always({.body = std::vector<uint8_t>(9, 1)}));
    const Client client = connect(daemon);
    uint8_t reply[8];
    uint32_t reply_len = sizeof(reply);
    zv_acl_rm_status_t status = kUntouched;
    EXPECT_EQ(
        zv_acl_rm_api_raw(client.get(), 5, nullptr, 0, nullptr, 0, reply, &reply_len, &status),
        ENOBUFS);
    EXPECT_EQ(reply_len, 9u);
    EXPECT_EQ(status, 0u);
}

TEST(StatusWords, NamesEveryStatus) {
    const char *const names[] = {"ZV_ACL_RM_STATUS_SUCCESS",
                                 "ZV_ACL_RM_STATUS_ERROR",
                                 "ZV_ACL_RM_STATUS_CMD_UNSUPPORTED",
                                 "ZV_ACL_RM_STATUS_PARAM_NULL",
                                 "ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE",
                                 "ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND",
                                 "ZV_ACL_RM_STATUS_NO_RESOURCES",
                                 "ZV_ACL_RM_STATUS_NO_HW_RESOURCES",
                                 "ZV_ACL_RM_STATUS_NO_BUFFER_SPACE",
                                 "ZV_ACL_RM_STATUS_LAST"};
    for (uint32_t status = 0; status < 10; status++) {
        EXPECT_STREQ(zv_acl_rm_status_name(status), names[status]);
    }
}

TEST(StatusWords, ExplainsEveryStatusInItsOwnWords) {
    for (uint32_t status = 0; status < 10; status++) {
        EXPECT_GT(std::strlen(zv_acl_rm_status_meaning(status)), 20u);
        for (uint32_t other = 0; other < status; other++) {
            EXPECT_STRNE(zv_acl_rm_status_meaning(status), zv_acl_rm_status_meaning(other));
        }
    }
}

TEST(StatusWords, SaysSoOfANumberThatIsNoStatus) {
    EXPECT_STREQ(zv_acl_rm_status_name(10), "unknown status");
    EXPECT_STREQ(zv_acl_rm_status_name(UINT32_MAX), "unknown status");
    EXPECT_STRNE(zv_acl_rm_status_meaning(10), zv_acl_rm_status_meaning(0));
}

}  // namespace
