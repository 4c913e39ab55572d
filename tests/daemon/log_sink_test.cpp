// The exported sink. <syslog.h> is not included: where the C library checks formats, it turns
// syslog into an inline function that could not be replaced here.
#include <gtest/gtest.h>
#include <stdarg.h>
#include <stdio.h>

#include <limits>
#include <ostream>

#include "daemon/logging.h"
#include "tests/support/temp_dir.h"

namespace {

struct SyslogLine {
    int priority;
    std::string text;
    bool operator==(const SyslogLine &) const = default;
};

std::vector<SyslogLine> &syslog_lines() {
    static auto &lines = *new std::vector<SyslogLine>;
    return lines;
}

[[gnu::format(printf, 2, 0)]] void keep_syslog_line(int priority, const char *format,
                                                    va_list arguments) {
    char text[1024];
    vsnprintf(text, sizeof(text), format, arguments);
    syslog_lines().push_back({priority, text});
}

}  // namespace

extern "C" {
[[gnu::format(printf, 2, 3)]] void syslog(int priority, const char *format, ...);
[[gnu::format(printf, 3, 4)]] void __syslog_chk(int priority, int flag, const char *format, ...);

void syslog(int priority, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    keep_syslog_line(priority, format, arguments);
    va_end(arguments);
}

void __syslog_chk(int priority, int /*flag*/, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    keep_syslog_line(priority, format, arguments);
    va_end(arguments);
}
}

namespace {

struct HookCall {
    uint32_t mask;
    std::string module;
    std::string message;
    bool operator==(const HookCall &) const = default;
};

std::vector<HookCall> &hook_calls() {
    static auto &calls = *new std::vector<HookCall>;
    return calls;
}

void keep_hook_call(uint32_t mask, const char *module, const char *message) {
    hook_calls().push_back({mask, module, message});
}

struct MaskAndLevel {
    uint32_t mask;
    const char *level;
    int syslog_priority;
};

void PrintTo(const MaskAndLevel &row, std::ostream *out) {
    *out << "mask " << row.mask;
}

class LogSinkTest : public testing::TestWithParam<MaskAndLevel> {
  protected:
    // What the sink writes to a file for one message.
    std::string written_to_file(uint32_t mask, const char *module, const char *message) {
        const std::string path = dir_.file("log");
        log_file = fopen(path.c_str(), "w");
        __acl_rm_log_cb(mask, module, message);
        fclose(log_file);
        log_file = nullptr;
        return zv_test::read_file(path);
    }

  private:
    zv_test::TempDir dir_;
};

TEST_P(LogSinkTest, CountsTheLevelBackFromTheMask) {
    EXPECT_EQ(written_to_file(GetParam().mask, "ZV_ACL_RM", "text\n"),
              "[ZV_ACL_RM           ][" + std::string(GetParam().level) + "] : text\n");
}

TEST_P(LogSinkTest, WritesToSyslogWithThePriorityOfTheLevel) {
    __acl_rm_log_cb(GetParam().mask, "ACL_RM_RPC", "text");
    EXPECT_EQ(syslog_lines(),
              (std::vector<SyslogLine>{
                  {GetParam().syslog_priority,
                   "[ACL_RM_RPC          ][" + std::string(GetParam().level) + "] : text"}}));
}

INSTANTIATE_TEST_SUITE_P(
    EveryMask, LogSinkTest,
    testing::Values(MaskAndLevel{0, "NONE   ", 2}, MaskAndLevel{1, "ERROR  ", 3},
                    MaskAndLevel{3, "WARN   ", 4}, MaskAndLevel{7, "NOTICE ", 5},
                    MaskAndLevel{15, "INFO   ", 6}, MaskAndLevel{31, "DEBUG  ", 7},
                    MaskAndLevel{63, "FUNCS  ", 8}, MaskAndLevel{127, "FRAMES ", 9},
                    MaskAndLevel{255, "ALL    ", 10}, MaskAndLevel{511, "UNKNOWN", 11},
                    MaskAndLevel{std::numeric_limits<uint32_t>::max(), "UNKNOWN", 34},
                    // Only the low ones count.
                    MaskAndLevel{5, "ERROR  ", 3}, MaskAndLevel{8, "NONE   ", 2}));

TEST_F(LogSinkTest, GivesTheHookItsThreeArguments) {
    log_hook = keep_hook_call;
    __acl_rm_log_cb(7, "ACL_RM_DB", "text");
    EXPECT_EQ(hook_calls(), (std::vector<HookCall>{{7, "ACL_RM_DB", "text"}}));
    EXPECT_EQ(syslog_lines(), std::vector<SyslogLine>{});
}

TEST_F(LogSinkTest, PrefersTheFileToTheHook) {
    log_hook = keep_hook_call;
    EXPECT_EQ(written_to_file(1, "ZV_ACL_RM", "text"), "[ZV_ACL_RM           ][ERROR  ] : text");
    EXPECT_EQ(hook_calls(), std::vector<HookCall>{});
    EXPECT_EQ(syslog_lines(), std::vector<SyslogLine>{});
}

TEST_F(LogSinkTest, TakesPercentSignsAsText) {
    EXPECT_EQ(written_to_file(1, "M%s", "%n%s\n"), "[M%s                 ][ERROR  ] : %n%s\n");
    __acl_rm_log_cb(1, "M%s", "%n%s");
    EXPECT_EQ(syslog_lines(),
              (std::vector<SyslogLine>{{3, "[M%s                 ][ERROR  ] : %n%s"}}));
}

TEST_F(LogSinkTest, PadsTheModuleTo20AndNeverCutsIt) {
    const std::string name(19, 'm');
    EXPECT_EQ(written_to_file(1, name.c_str(), "t"), "[" + name + " ][ERROR  ] : t");
    EXPECT_EQ(written_to_file(1, (name + "m").c_str(), "t"), "[" + name + "m][ERROR  ] : t");
    EXPECT_EQ(written_to_file(1, (name + "mm").c_str(), "t"), "[" + name + "mm][ERROR  ] : t");
}

TEST_F(LogSinkTest, HasNeitherFileNorHookUnlessTheyAreSet) {
    EXPECT_EQ(log_file, nullptr);
    EXPECT_EQ(log_hook, nullptr);
}

}  // namespace
