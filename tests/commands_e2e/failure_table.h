// failure_table.h - the failure of a platform call as one row of a table.
//
// A row names a situation, the request, the platform call that fails in it, and, as data, all that
// is to be seen afterwards. Each row is played four times: with the switch's status 5 (its tables
// are full) and with another one, before the call has done its work ("early") and after ("late").
//
//   const std::vector<FailureRow> &rows() {
//       static const auto &list = *new std::vector<FailureRow>{
//           {.name = "CreateRegion",
//            .prepare = [](World &) {},
//            .request = [](World &world) { return create(world, acl_of_size(8)); },
//            .call = "zv_api_acl_region_set",
//            .on_other = {.status = ZV_ACL_RM_STATUS_ERROR,
//                         .lines = failed(1, "failed to create region in SDK error: {sdk} ...", 1),
//                         .calls = {"zv_api_acl_region_set"},
//                         .cache = {"acls 0, rules 0"},
//                         .early = {},
//                         .late = {"region 1: size 8"}}},
//       };
//       return list;
//   }
//   ZV_FAILURE_TABLE(AclFailures, rows());
//
// "{sdk}" in a line stands for the status that the call returned. The reply of a refused request
// has no body; where the refusal is swallowed (status SUCCESS) the body is not looked at.
#ifndef ZV_TESTS_COMMANDS_E2E_FAILURE_TABLE_H
#define ZV_TESTS_COMMANDS_E2E_FAILURE_TABLE_H

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tests/commands_e2e/digest.h"
#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"

namespace zv_test {

// A daemon with its clients; both are opened, chip type 3.
struct World {
    explicit World(const nlohmann::json &config = nullptr);

    DaemonProcess daemon;
    TestClient open_flow;
    TestClient tarn_os;
};

struct FailureOutcome {
    uint32_t status = ZV_ACL_RM_STATUS_ERROR;
    Lines lines;                     // at the default verbosity, with "{sdk}"
    std::vector<std::string> calls;  // the names of the platform calls made, the failing one too
    Digest cache;                    // digest.h
    Digest early;                    // the switch when the call did nothing,
    Digest late;                     // and when it did its work before it failed
};

struct FailureRow {
    std::string name;                         // of the test case: letters and digits
    std::function<void(World &)> prepare;     // before the fault is armed; must succeed
    std::function<Answer(World &)> request;   // the one request
    std::string call;                         // the platform call that fails
    int nth = 1;                              // which one of the request's
    FailureOutcome on_other;                  // every status but 5
    std::optional<FailureOutcome> on_5 = {};  // where 5 has a meaning of its own
    nlohmann::json config = nullptr;          // the switch's configuration
};

struct FailureCase {
    const FailureRow *row;
    uint32_t sdk_status;
    bool late;
};
void PrintTo(const FailureCase &failure, std::ostream *out);

// Each row with statuses 5 and `other`, early and late.
std::vector<FailureCase> failure_cases(const std::vector<FailureRow> &rows, uint32_t other = 1);
std::string failure_case_name(const testing::TestParamInfo<FailureCase> &failure);

// Plays one case.
void play_failure(const FailureCase &failure);

#define ZV_FAILURE_TABLE(suite, rows)                            \
    class suite : public testing::TestWithParam<FailureCase> {}; \
    TEST_P(suite, IsReportedAndLeavesWhatIsWritten) {            \
        play_failure(GetParam());                                \
    }                                                            \
    INSTANTIATE_TEST_SUITE_P(Each, suite, testing::ValuesIn(failure_cases(rows)), failure_case_name)

}  // namespace zv_test

#endif
