// What a line looks like where it arrives: on standard error, and in the sink.
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "log_test_support.h"

namespace {

using log_test::OpenLog;
using log_test::StderrWrites;

struct Line {
    uint32_t severity_mask;
    std::string module;
    std::string message;
};

std::vector<Line> *g_lines = nullptr;

void keep_line(uint32_t severity_mask, const char *module, const char *message, ...) {
    g_lines->push_back({severity_mask, module, message});
}

class SinkLine : public ::testing::Test {
  protected:
    void SetUp() override { g_lines = &lines_; }
    std::vector<Line> lines_;
    OpenLog log_{keep_line};
};

TEST(StderrLine, PadsTheModuleAndNamesTheLevel) {
    StderrWrites writes;
    OpenLog log(nullptr);
    zv_log(1, "ACL_RM_RPC", "rules %d of %s", 20, "acl");
    EXPECT_EQ(writes.take(),
              std::vector<std::string>{"[ACL_RM_RPC          ][ERROR  ] : rules 20 of acl\n"});
}

TEST(StderrLine, DoesNotCutAModuleOfMoreThan20Characters) {
    StderrWrites writes;
    OpenLog log(nullptr);
    zv_log(1, "A_MODULE_OF_23_LETTERS_", "x");
    EXPECT_EQ(writes.take(), std::vector<std::string>{"[A_MODULE_OF_23_LETTERS_][ERROR  ] : x\n"});
}

TEST(StderrLine, CutsAModuleAt200Characters) {
    StderrWrites writes;
    OpenLog log(nullptr);
    zv_log(1, std::string(200, 'M').c_str(), "x");
    zv_log(1, std::string(201, 'M').c_str(), "x");
    const std::string line = "[" + std::string(200, 'M') + "][ERROR  ] : x\n";
    EXPECT_EQ(writes.take(), (std::vector<std::string>{line, line}));
}

TEST(StderrLine, NamesEachLevelByTheNumberOfLowOneBits) {
    const std::pair<uint32_t, const char *> levels[] = {
        {0x0, "NONE   "},  {0x1, "ERROR  "},   {0x3, "WARN   "},  {0x7, "NOTICE "},
        {0xf, "INFO   "},  {0x1f, "DEBUG  "},  {0x3f, "FUNCS  "}, {0x7f, "FRAMES "},
        {0xff, "ALL    "}, {0x1ff, "UNKNOWN"}, {0x5, "ERROR  "},  {0xffffffff, "UNKNOWN"}};
    StderrWrites writes;
    OpenLog log(nullptr);
    for (const auto &[mask, name] : levels) {
        zv_log(mask, "M", "x");
        EXPECT_EQ(writes.take(), std::vector<std::string>{"[M                   ][" +
                                                          std::string(name) + "] : x\n"});
    }
}

TEST(StderrLine, EndsWithExactlyOneNewline) {
    StderrWrites writes;
    OpenLog log(nullptr);
    for (const char *text : {"two\nlines", "two\nlines\n", "two\nlines\n\n"}) {
        zv_log(1, "M", "%s", text);
        EXPECT_EQ(writes.take(),
                  std::vector<std::string>{"[M                   ][ERROR  ] : two\nlines\n"});
    }
}

TEST(StderrLine, OfEmptyTextIsThePrefixAlone) {
    StderrWrites writes;
    OpenLog log(nullptr);
    zv_log(1, nullptr, "%s", "");
    EXPECT_EQ(writes.take(), std::vector<std::string>{"[                    ][ERROR  ] : \n"});
}

TEST(StderrLine, IsOneWriteWhateverItsLength) {
    StderrWrites writes;
    OpenLog log(nullptr);
    // The prefix has 35 characters: around the frame of short lines, and a dump of 64 KiB.
    for (size_t len : {size_t{987}, size_t{988}, size_t{989}, size_t{65535}}) {
        std::string text(len, 'd');
        zv_log(7, "M", "%s", text.c_str());
        EXPECT_EQ(writes.take(),
                  std::vector<std::string>{"[M                   ][NOTICE ] : " + text + "\n"});
    }
}

TEST(StderrLine, LeavesErrnoAloneAlsoWhenTheWriteFails) {
    StderrWrites writes;
    OpenLog log(nullptr);
    close(STDERR_FILENO);
    errno = EXDEV;
    zv_log(1, "M", "lost");
    EXPECT_EQ(errno, EXDEV);
    zv_trace_cbuff_log("kept");
    EXPECT_EQ(errno, EXDEV);
}

TEST_F(SinkLine, CarriesMaskModuleAndTextWithItsOwnNewline) {
    zv_log(31, "ACL_RM_DB", "counter %u\n", 7u);
    zv_log(31, "ACL_RM_DB", "no end");
    ASSERT_EQ(lines_.size(), 2u);
    EXPECT_EQ(lines_[0].severity_mask, 31u);
    EXPECT_EQ(lines_[0].module, "ACL_RM_DB");
    EXPECT_EQ(lines_[0].message, "counter 7\n");
    EXPECT_EQ(lines_[1].message, "no end");
}

TEST_F(SinkLine, IsTextAndNoFormat) {
    zv_log(1, "M", "%s", "100%s of %n");
    ASSERT_EQ(lines_.size(), 1u);
    EXPECT_EQ(lines_[0].message, "100%s of %n");
}

TEST_F(SinkLine, KeepsStandardErrorSilent) {
    StderrWrites writes;
    zv_log(1, "M", "x");
    EXPECT_TRUE(writes.take().empty());
}

TEST_F(SinkLine, IsCompleteAtEveryLength) {
    for (size_t len : {0u, 1u, 1022u, 1023u, 1024u, 65535u, 262143u, 262144u}) {
        std::string text(len, 'd');
        zv_log(1, "M", "%s", text.c_str());
        ASSERT_EQ(lines_.size(), 1u);
        EXPECT_EQ(lines_[0].message, text) << len;
        lines_.clear();
    }
}

TEST_F(SinkLine, IsCutAt256Kibibytes) {
    std::string text(262145, 'd');
    zv_log(1, "M", "%s", text.c_str());
    ASSERT_EQ(lines_.size(), 1u);
    EXPECT_EQ(lines_[0].message, text.substr(0, 262144));
}

TEST_F(SinkLine, HasAnEmptyModuleForNullAndNothingForANullFormat) {
    zv_log(1, nullptr, "x");
    // Through a pointer the compiler does not see to be null.
    const char *volatile none = nullptr;
    zv_log(1, "M", none, 0);
    zv_trace_cbuff_log(none, 0);
    ASSERT_EQ(lines_.size(), 1u);
    EXPECT_EQ(lines_[0].module, "");
}

}  // namespace
