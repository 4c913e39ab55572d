/* The bar that a load draws on a terminal. */
#include "rule_progress.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(ProgressLine, FitsTheTerminal) {
    using aclrmctl::progress_line;
    EXPECT_EQ(progress_line(3200, 6400, 79),
              "3200 of 6400 rules  50% [#########################" + std::string(25, ' ') + "]");
    EXPECT_EQ(progress_line(3200, 6400, 40), "3200 of 6400 rules  50% [#######       ]");
    EXPECT_EQ(progress_line(3200, 6400, 30), "3200 of 6400 rules  50%");
    EXPECT_EQ(progress_line(3200, 6400, 20), "3200 of 6400 rules");
    EXPECT_EQ(progress_line(3200, 6400, 10), "3200 of 64");
    for (size_t columns = 0; columns < 200; columns++) {
        EXPECT_LE(progress_line(6400, 6400, columns).size(), columns);
    }
}

}  // namespace
