/* What every test of the client library begins with: a client connected to a stub. */
#ifndef ZV_TESTS_CLIENT_CLIENT_CONNECTION_H
#define ZV_TESTS_CLIENT_CLIENT_CONNECTION_H

#include <gtest/gtest.h>

#include <memory>

#include "tests/client/stub_daemon.h"
#include "zv_acl_rm/zv_acl_rm_client.h"

namespace zv_test {

inline constexpr uint64_t kHandle = 0x1122334455667788;
inline constexpr zv_acl_rm_status_t kUntouched = 77;

struct Closer {
    void operator()(zv_acl_rm_client_t *client) const { zv_acl_rm_client_close(client); }
};
using Client = std::unique_ptr<zv_acl_rm_client_t, Closer>;

inline Client connect(const StubDaemon &daemon) {
    zv_acl_rm_client_t *client = nullptr;
    EXPECT_EQ(zv_acl_rm_client_connect(daemon.socket_path().c_str(), kHandle, &client), 0);
    return Client(client);
}

inline StubDaemon::Handler always(StubReply reply) {
    return [reply](const StubRequest &) { return reply; };
}

}  // namespace zv_test

#endif
