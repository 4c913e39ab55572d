// cpp_connection.h - what every test of the C++ layer begins with: a client of a stub.
#ifndef ZV_TESTS_LANGUAGES_CPP_CONNECTION_H
#define ZV_TESTS_LANGUAGES_CPP_CONNECTION_H

#include <gtest/gtest.h>

#include "tests/client/stub_daemon.h"
#include "zv_acl_rm/zv_acl_rm.hpp"

namespace zv_test {

inline constexpr uint64_t kCppHandle = 0x1122334455667788;

inline zv_acl_rm::Client connect_cpp(const StubDaemon &daemon) {
    auto client = zv_acl_rm::Client::connect(kCppHandle, daemon.socket_path().c_str());
    EXPECT_TRUE(client) << client.failure().words();
    return *std::move(client);
}

inline StubDaemon::Handler always_reply(StubReply reply) {
    return [reply](const StubRequest &) { return reply; };
}

// No answer came, for this reason.
template <typename T>
void expect_error(const zv_acl_rm::Result<T> &result, int error) {
    ASSERT_FALSE(result.ok());
    EXPECT_FALSE(result.failure().refused());
    EXPECT_EQ(result.failure().error(), error) << result.failure().words();
    EXPECT_EQ(result.failure().status(), zv_acl_rm::Status::kSuccess);
}

}  // namespace zv_test

#endif
