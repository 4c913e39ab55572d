#include "daemon/terminator.h"

#include <gtest/gtest.h>

#include "daemon/logging.h"
#include "tests/daemon/captured_log.h"
#include "tests/daemon/switch_double.h"

namespace {

using namespace zv_unit;

TEST(TerminatorTest, ThreadThatCannotBeMadeIsReportedAndNothingMore) {
    capture_log();
    fail_call("cl_thread_init", 5);
    acl_rm_terminator_init();
    EXPECT_EQ(take_lines(), (Lines{line(NOTICE_MASK, "Creating Terminator thread done.\n"),
                                   line(ERROR_MASK, "cl_thread_init (terminator) error: 5.\n")}));
}

TEST(TerminatorTest, SaysNothingAtVerbosity0) {
    capture_log();
    acl_rm_verbosity_level = 0;
    fail_call("cl_thread_init", 5);
    acl_rm_terminator_init();
    EXPECT_EQ(take_lines(), Lines{});
}

}  // namespace
