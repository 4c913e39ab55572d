// What every handler has in common: lengths, missing bodies, failures, and their lines.
#include <gtest/gtest.h>

#include <limits>

#include "daemon/logging.h"
#include "tests/rpc/handler_rows.h"

namespace {

using namespace zv_unit;

constexpr size_t LARGEST_RECORD = 7224;

class EveryHandlerTest : public HandlerFixture, public testing::WithParamInterface<HandlerPromise> {
  protected:
    const HandlerPromise &row() const { return GetParam(); }
    // Only the wrong lengths are under test: the body is large enough for each.
    alignas(8) uint8_t body_[LARGEST_RECORD + 8] = {};

    void expect_entry_line(Lines *lines) {
        if (row().entry_text.empty())
            return;
        ASSERT_FALSE(lines->empty());
        EXPECT_EQ(lines->front(), rpc_line(INFO_MASK, row().entry_text));
        lines->erase(lines->begin());
    }
};

TEST_P(EveryHandlerTest, WrongLengthsAreErrorsWithTheReplyUntouched) {
    for (const uint32_t length :
         {0u, row().length - 1, row().length + 1, std::numeric_limits<uint32_t>::max()}) {
        const Reply reply = call(row(), body_, length);
        EXPECT_EQ(reply.status, ZV_ACL_RM_STATUS_ERROR);
        EXPECT_TRUE(reply.is_untouched());
        EXPECT_EQ(take_lines(), Lines{rpc_line(ERROR_MASK, length_text(row(), length))});
    }
}

TEST_P(EveryHandlerTest, WrongLengthIsReportedBeforeAMissingBody) {
    const Reply reply = call(row(), nullptr, row().length - 1);
    EXPECT_EQ(reply.status, ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{rpc_line(ERROR_MASK, length_text(row(), row().length - 1))});
}

TEST_P(EveryHandlerTest, EntryIsToldAtInfoBeforeTheLength) {
    rpc_verbosity_level = 4;
    call(row(), body_, 0);
    Lines lines = take_lines();
    expect_entry_line(&lines);
    EXPECT_EQ(lines, Lines{rpc_line(ERROR_MASK, length_text(row(), 0))});
}

TEST_P(EveryHandlerTest, DaemonsVerbosityDoesNotRaiseTheHandlers) {
    acl_rm_verbosity_level = 5;
    call(row(), body_, 0);
    EXPECT_EQ(take_lines(), Lines{rpc_line(ERROR_MASK, length_text(row(), 0))});
}

TEST_P(EveryHandlerTest, MissingBodyOfTheRightLengthIsRefused) {
    const Reply reply = call(row(), nullptr, row().length);
    EXPECT_EQ(reply.status, row().fails_at_error ? ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND
                                                 : ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_TRUE(reply.is_untouched());
    EXPECT_EQ(take_lines(), Lines{rpc_line(ERROR_MASK, "receive message body is NULL")});
}

// Nothing is connected, so every operation fails: OPEN and INIT because the switch refuses, DUMP
// for want of a path, the others because nobody has opened.
TEST_P(EveryHandlerTest, FailureOfTheOperationIsToldAtItsLevelAndReturned) {
    rpc_verbosity_level = 4;
    acl_rm_verbosity_level = 0;
    fail_call("zv_api_open", 1);
    const Reply reply = call(row(), body_, row().length);
    EXPECT_NE(reply.status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_TRUE(reply.is_untouched());
    Lines lines = take_lines();
    expect_entry_line(&lines);
    EXPECT_EQ(lines, Lines{rpc_line(row().fails_at_error ? ERROR_MASK : INFO_MASK,
                                    failure_text(row(), reply.status))});
}

TEST_P(EveryHandlerTest, FailureOfTheOperationIsSilentAtNoticeUnlessItsPatternSaysError) {
    acl_rm_verbosity_level = 0;
    fail_call("zv_api_open", 1);
    const Reply reply = call(row(), body_, row().length);
    const Lines told = {rpc_line(ERROR_MASK, failure_text(row(), reply.status))};
    EXPECT_EQ(take_lines(), row().fails_at_error ? told : Lines{});
}

TEST_P(EveryHandlerTest, LinesAreTracedWithTheHandlersName) {
    call(row(), body_, 0);
    const std::string trace = newest_trace_line();
    EXPECT_TRUE(
        trace.starts_with("[ERROR  ] [ACL_RM_RPC] - " + std::string(row().handler_name) + "["))
        << trace;
}

INSTANTIATE_TEST_SUITE_P(EachCommand, EveryHandlerTest, testing::ValuesIn(handler_promises()),
                         [](const auto &param) { return short_name(param.param); });

}  // namespace
