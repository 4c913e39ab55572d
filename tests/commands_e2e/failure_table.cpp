#include "tests/commands_e2e/failure_table.h"

#include <algorithm>

namespace zv_test {

namespace {

constexpr uint32_t kFull = 5;

DaemonOptions configured(const nlohmann::json &config) {
    DaemonOptions options;
    options.config = config;
    return options;
}

Lines with_status(Lines lines, uint32_t sdk_status) {
    const std::string mark = "{sdk}";
    for (LogLine &line : lines) {
        const size_t at = line.text.find(mark);
        if (at != std::string::npos) {
            line.text.replace(at, mark.size(), std::to_string(sdk_status));
        }
    }
    return lines;
}

const FailureOutcome &outcome_of(const FailureCase &failure) {
    const FailureRow &row = *failure.row;
    return failure.sdk_status == kFull && row.on_5 ? *row.on_5 : row.on_other;
}

// The status of the call that was to fail; success when it was never made. What allocates returns
// no status: the trace has all ones for its null.
uint32_t status_of_failing_call(World &world, const FailureRow &row, size_t mark) {
    const std::vector<nlohmann::json> calls = world.daemon.calls(row.call, mark);
    const auto nth = static_cast<size_t>(row.nth);
    return calls.size() < nth ? 0 : calls[nth - 1].at("status").get<uint32_t>();
}

}  // namespace

World::World(const nlohmann::json &config)
    : daemon(configured(config)), open_flow(daemon), tarn_os(daemon, ZV_ACL_RM_OWNER_TARN_OS) {}

void PrintTo(const FailureCase &failure, std::ostream *out) {
    *out << failure.row->call << " number " << failure.row->nth << " fails with "
         << failure.sdk_status << (failure.late ? ", late" : ", early");
}

std::vector<FailureCase> failure_cases(const std::vector<FailureRow> &rows, uint32_t other) {
    std::vector<FailureCase> cases;
    for (const FailureRow &row : rows) {
        for (const uint32_t sdk_status : {kFull, other}) {
            cases.push_back({&row, sdk_status, false});
            cases.push_back({&row, sdk_status, true});
        }
    }
    return cases;
}

std::string failure_case_name(const testing::TestParamInfo<FailureCase> &failure) {
    const FailureCase &param = failure.param;
    return param.row->name + "With" + std::to_string(param.sdk_status) +
           (param.late ? "Late" : "Early");
}

void play_failure(const FailureCase &failure) {
    const FailureRow &row = *failure.row;
    const FailureOutcome &expected = outcome_of(failure);
    World world(row.config);
    row.prepare(world);
    world.daemon.control().fail(row.call, failure.sdk_status, row.nth, 1, failure.late);
    const size_t mark = world.daemon.trace_mark();
    const Watch watch(world.daemon);
    const Answer answer = row.request(world);
    EXPECT_EQ(answer.status, expected.status);
    if (expected.status != ZV_ACL_RM_STATUS_SUCCESS) {
        EXPECT_EQ(answer.body, Bytes());
    }
    watch.expect_lines(with_status(expected.lines, failure.sdk_status));
    EXPECT_EQ(world.daemon.call_names_since(mark), expected.calls);
    EXPECT_NE(status_of_failing_call(world, row, mark), 0u) << "the call never failed";
    EXPECT_EQ(cache_digest(world.daemon), expected.cache);
    EXPECT_EQ(switch_digest(world.daemon), failure.late ? expected.late : expected.early);
}

}  // namespace zv_test
