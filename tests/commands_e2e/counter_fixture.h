// counter_fixture.h - a daemon, a client, and flow counters by requests whose bytes are looked at.
#ifndef ZV_TESTS_COMMANDS_E2E_COUNTER_FIXTURE_H
#define ZV_TESTS_COMMANDS_E2E_COUNTER_FIXTURE_H

#include <gtest/gtest.h>

#include <ostream>

#include "tests/commands_e2e/digest.h"
#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

inline void PrintTo(const acl_rm_counter_type &type, std::ostream *out) {
    *out << "flags " << type.first << " and " << type.second;
}

namespace zv_test {

using CounterType = acl_rm_counter_type;
using Names = std::vector<std::string>;

constexpr CounterType kFirst = {1, 0};   // the switch's type 0
constexpr CounterType kSecond = {0, 1};  // and 1
constexpr uint32_t kRead = ZV_ACL_RM_ACCESS_CMD_READ;
constexpr uint32_t kReadClear = ZV_ACL_RM_ACCESS_CMD_READ_CLEAR;
constexpr uint32_t kClear = ZV_ACL_RM_ACCESS_CMD_CLEAR;

inline zv_acl_rm_counter_set_params_t set_request(uint32_t cmd, CounterType type,
                                                  uint32_t counter_id) {
    return {0x1122334455667788, cmd, type, counter_id};
}

inline zv_acl_rm_counter_get_params_t get_request(uint32_t cmd, uint32_t counter_id) {
    auto request = patterned<zv_acl_rm_counter_get_params_t>();
    request.cmd = cmd;
    request.counter_id = counter_id;
    return request;
}

inline Lines not_found(uint32_t counter_id) {
    return failed(
        5, "Could not find counter id (" + std::to_string(counter_id) + ") in Counters DB.", 0);
}

// Where the database was asked for something of the counter, it says so first.
inline Lines not_found_in_db(uint32_t counter_id) {
    return Lines{error_line(
               5, "Could not find counter (" + std::to_string(counter_id) + ") in counter DB.",
               "ACL_RM_DB")} +
           not_found(counter_id);
}

class CounterFixture : public testing::Test {
  protected:
    Answer set(uint32_t cmd, CounterType type, uint32_t counter_id, Here here = Here::now()) {
        return send_record(daemon_, ZV_ACL_RM_API_INT_CMD_COUNTER_SET,
                           set_request(cmd, type, counter_id), here);
    }
    Answer get(uint32_t cmd, uint32_t counter_id, Here here = Here::now()) {
        return send_record(daemon_, ZV_ACL_RM_API_INT_CMD_COUNTER_GET, get_request(cmd, counter_id),
                           here);
    }
    uint32_t create(CounterType type = kFirst, Here here = Here::now()) {
        uint32_t counter_id = 0;
        if (client_.create_counter(type, counter_id, here) != ZV_ACL_RM_STATUS_SUCCESS) {
            ADD_FAILURE_AT(here.file, here.line) << "no counter";
        }
        return counter_id;
    }
    Names in_switch() {
        Names counters;
        for (const std::string &line : switch_digest(daemon_)) {
            if (line.starts_with("counter ")) {
                counters.push_back(line);
            }
        }
        return counters;
    }
    void expect_refused(const Answer &answer, uint32_t status, Here here = Here::now()) {
        testing::ScopedTrace trace(here.file, here.line, "refused");
        EXPECT_EQ(answer.status, status);
        EXPECT_EQ(answer.body, Bytes());
    }

    DaemonProcess daemon_;
    TestClient client_{daemon_};
};

}  // namespace zv_test

#endif
