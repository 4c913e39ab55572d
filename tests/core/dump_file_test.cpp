// Where a dump goes: files that take it, and what happens with those that do not.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

#include "core/acl_rm.h"
#include "daemon/logging.h"
#include "tests/core/core_fixture.h"

namespace {

using namespace zv_unit;

constexpr char TEXT_START[] = "=====ACL_RM Cache dump start:=====\n";
constexpr char TEXT_END[] = "\n=====ACL_RM Cache dump end=====\n";

class DumpFileTest : public CacheFixture {
  protected:
    // The three lines of a dump that goes to the log, the first as given.
    static void expect_dumped_to_log(const Lines &lines, const std::string &warning) {
        ASSERT_EQ(lines.size(), 3u) << testing::PrintToString(lines);
        EXPECT_EQ(lines[0], line(WARNING_MASK, warning));
        expect_start_line(lines[1]);
        expect_text_line(lines[2]);
    }
    static void expect_start_line(const Line &told) {
        EXPECT_EQ(told.mask, NOTICE_MASK);
        EXPECT_TRUE(told.text.starts_with("acl-rm dump data started at: ")) << told;
        // As asctime ends it.
        EXPECT_TRUE(told.text.ends_with("\n")) << told;
    }
    static void expect_text_line(const Line &told) {
        EXPECT_EQ(told.mask, NOTICE_MASK);
        EXPECT_TRUE(told.text.starts_with(std::string("ACL-RM dump data:\n ") + TEXT_START))
            << told;
        EXPECT_TRUE(told.text.ends_with(TEXT_END)) << told;
    }
    static std::string cannot_open(const std::string &path) {
        return "Can't open the acl-rm dump file " + path + ", will print to log";
    }
    static size_t open_files() {
        size_t count = 0;
        for (int fd = 0; fd < 256; fd++)
            count += fcntl(fd, F_GETFD) >= 0 ? 1 : 0;
        return count;
    }
};

TEST_F(DumpFileTest, StartsWithTheLocalTimeAsAsctimeWritesIt) {
    const std::string path = file("dump");
    const time_t before = time(nullptr);
    ASSERT_EQ(acl_rm_dump(path.c_str()), ZV_ACL_RM_STATUS_SUCCESS);
    const time_t after = time(nullptr);
    const std::string text = zv_test::read_file(path);
    bool matches = false;
    for (time_t at = before; at <= after; at++) {
        struct tm local = {};
        char when[64] = "";
        localtime_r(&at, &local);
        asctime_r(&local, when);
        matches =
            matches || text.starts_with("\n====ACL-RM dump data started at: " + std::string(when) +
                                        "====\n" + TEXT_START);
    }
    EXPECT_TRUE(matches) << text.substr(0, 100);
    EXPECT_TRUE(text.ends_with(TEXT_END));
}

TEST_F(DumpFileTest, ReplacesWhatTheFileHeld) {
    const std::string path = file("dump");
    zv_test::write_file(path, std::string(100000, 'x'));
    ASSERT_EQ(acl_rm_dump(path.c_str()), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(zv_test::read_file(path).find('x'), std::string::npos);
}

TEST_F(DumpFileTest, ClosesItsFile) {
    const std::string path = file("dump");
    ASSERT_EQ(acl_rm_dump(path.c_str()), ZV_ACL_RM_STATUS_SUCCESS);
    const size_t before = open_files();
    ASSERT_EQ(acl_rm_dump(path.c_str()), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(acl_rm_dump("/dev/full"), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(open_files(), before);
}

TEST_F(DumpFileTest, NeedsAPath) {
    EXPECT_EQ(acl_rm_dump(nullptr), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(take_lines(), Lines{failure(3, "file_path is NULL")});
}

TEST_F(DumpFileTest, NeedsMemoryBeforeItLooksAtThePath) {
    fail_allocation(1);
    EXPECT_EQ(acl_rm_dump(nullptr), ZV_ACL_RM_STATUS_NO_RESOURCES);
    EXPECT_FALSE(allocation_failure_is_pending());
    EXPECT_EQ(take_lines(), Lines{failure(6, "can't allocate enough memory for dump buffer")});
}

TEST_F(DumpFileTest, GoesToTheLogWhereTheFileCannotBeOpened) {
    for (const std::string &path :
         {std::string(""), file("missing/dump"), file("."), std::string(5000, 'p')}) {
        EXPECT_EQ(acl_rm_dump(path.c_str()), ZV_ACL_RM_STATUS_SUCCESS);
        expect_dumped_to_log(take_lines(), cannot_open(path));
    }
}

TEST_F(DumpFileTest, WholeTextOf65535CharactersGoesToTheLog) {
    for (uint32_t offset = 0; offset < 6400; offset++)
        cache_rule(1, offset);
    EXPECT_EQ(acl_rm_dump(""), ZV_ACL_RM_STATUS_SUCCESS);
    const Lines lines = take_lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[2].text.size(), std::string("ACL-RM dump data:\n ").size() + 65535);
}

TEST_F(DumpFileTest, FullDeviceEndsItAtTheStartLine) {
    EXPECT_EQ(acl_rm_dump("/dev/full"), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "Can't write to acl-rm dump")});
}

TEST_F(DumpFileTest, FifoWithoutAReaderDoesNotHoldItUp) {
    const std::string path = file("fifo");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(acl_rm_dump(path.c_str()), ZV_ACL_RM_STATUS_SUCCESS);
    expect_dumped_to_log(take_lines(), cannot_open(path));
}

TEST_F(DumpFileTest, FifoWithAReaderTakesIt) {
    const std::string path = file("fifo");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    EXPECT_EQ(acl_rm_dump(path.c_str()), ZV_ACL_RM_STATUS_SUCCESS);
    std::string text(65536, '\0');
    const ssize_t length = read(reader, text.data(), text.size());
    ASSERT_GT(length, 0);
    text.resize(static_cast<size_t>(length));
    EXPECT_TRUE(text.ends_with(TEXT_END));
    EXPECT_EQ(take_lines(), Lines{});
    close(reader);
}

TEST_F(DumpFileTest, WriteThatFailsHalfWayIsRepeatedToTheLog) {
    const std::string path = file("fifo");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    // Room for the start line and a part of the text.
    ASSERT_GE(fcntl(reader, F_SETPIPE_SZ, 4096), 0);
    for (uint32_t offset = 0; offset < 1000; offset++)
        cache_rule(1, offset);
    EXPECT_EQ(acl_rm_dump(path.c_str()), ZV_ACL_RM_STATUS_SUCCESS);
    const Lines lines = take_lines();
    ASSERT_EQ(lines.size(), 2u) << testing::PrintToString(lines);
    EXPECT_EQ(lines[0], line(WARNING_MASK, "error=[" + std::to_string(EAGAIN) + "] write to file " +
                                               path + ", will print to log"));
    expect_text_line(lines[1]);
    close(reader);
}

TEST_F(DumpFileTest, TextWithPercentSignsIsText) {
    // Nothing in a cache holds one but the path.
    const std::string path = file("missing/%s%n");
    EXPECT_EQ(acl_rm_dump(path.c_str()), ZV_ACL_RM_STATUS_SUCCESS);
    expect_dumped_to_log(take_lines(), cannot_open(path));
}

TEST_F(DumpFileTest, WorksBeforeTheSwitchIsConnected) {
    EXPECT_EQ(acl_rm_dump(file("dump").c_str()), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(switch_call_names(), std::vector<std::string>{});
}

}  // namespace
