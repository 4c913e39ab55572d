// ZV_TRACE_FILE: the ring in a file, read by another process while its writer lives and after it
// died.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "log_test_support.h"
#include "platform/log/trace_ring.h"

namespace {

class TraceFile : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string pattern = std::filesystem::temp_directory_path() / "trace_file_test.XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        directory_ = pattern;
        path_ = directory_ / "trace";
        setenv("ZV_TRACE_FILE", path_.c_str(), 1);
    }
    void TearDown() override {
        unsetenv("ZV_TRACE_FILE");
        std::filesystem::remove_all(directory_);
    }

    // Runs a program that writes one line and dies of SIGKILL with the log open.
    void write_and_crash(const char *line) {
        pid_t child = fork();
        if (child == 0) {
            zv_log_init(1, 0, nullptr);
            zv_trace_cbuff_log("%s", line);
            kill(getpid(), SIGKILL);
        }
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    }

    static std::string read(const std::string &path) {
        char buffer[4096];
        uint32_t written = 0;
        EXPECT_EQ(zv_trace_file_read(path.c_str(), buffer, sizeof(buffer), 100, &written), 0);
        return {buffer, written};
    }

    std::filesystem::path directory_;
    std::filesystem::path path_;
};

TEST_F(TraceFile, IsReadableAfterACrash) {
    write_and_crash("last words\n");
    EXPECT_EQ(read(path_), "last words");
}

TEST_F(TraceFile, IsReadableWhileItsProgramRuns) {
    log_test::OpenLog log(nullptr);
    zv_trace_cbuff_log("one");
    zv_trace_cbuff_log("two");
    EXPECT_EQ(read(path_), "one\ntwo");
}

TEST_F(TraceFile, KeepsThatOfTheRunBefore) {
    write_and_crash("the first run");
    write_and_crash("the second run");
    EXPECT_EQ(read(path_), "the second run");
    EXPECT_EQ(read(path_.string() + ".old"), "the first run");
}

TEST_F(TraceFile, IsReadableByItsOwnerAlone) {
    write_and_crash("x");
    struct stat info = {};
    ASSERT_EQ(stat(path_.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0600u);
}

TEST_F(TraceFile, HasTheDocumentedLayout) {
    write_and_crash("golden");
    std::ifstream file(path_, std::ios::binary);
    std::string bytes(64 + 64, '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    ASSERT_TRUE(file);
    EXPECT_EQ(bytes.substr(0, 8), "ZVTRACE1");
    EXPECT_EQ(bytes.substr(8, 8), std::string("\x40\0\0\0\0\0\x01\0", 8));
    EXPECT_EQ(bytes.substr(16, 8), std::string("\x01\0\0\0\0\0\0\0", 8));
    EXPECT_EQ(bytes.substr(64, 16), std::string("\x02\0\0\0\0\0\0\0\x06\0\0\0\0\0\0\0", 16));
    EXPECT_EQ(bytes.substr(80, 8), std::string("golden\0\0", 8));
    EXPECT_EQ(std::filesystem::file_size(path_), 64u + 64u * 65536u);
}

TEST_F(TraceFile, GivesWayToAnotherOneAtTheNextInit) {
    zv_log_init(1, 0, nullptr);
    zv_trace_cbuff_log("one");
    zv_log_close();
    zv_log_init(1, 0, nullptr);
    zv_trace_cbuff_log("two");
    zv_log_close();
    EXPECT_EQ(read(path_), "two");
    EXPECT_EQ(read(path_.string() + ".old"), "one");
}

TEST_F(TraceFile, ThatCannotBeMadeIsReportedAndTheRingStaysInMemory) {
    std::filesystem::create_directory(path_);
    log_test::StderrWrites writes;
    log_test::OpenLog log(nullptr);
    EXPECT_EQ(log.status(), 0u);
    EXPECT_EQ(writes.take(), std::vector<std::string>{
                                 "[ZV_LOG              ][WARN   ] : The trace stays in memory, "
                                 "cannot make the file " +
                                 path_.string() + ": File exists.\n"});
    zv_trace_cbuff_log("kept");
    char buffer[16];
    EXPECT_EQ(std::string(buffer, zv_trace_cbuff_read(buffer, sizeof(buffer), 1)), "kept");
    EXPECT_TRUE(std::filesystem::is_directory(path_));
}

// With ".old" behind it a path has at most 4095 characters, as any.
TEST_F(TraceFile, WhoseOldNameIsTooLongStaysAndTheRingIsInMemory) {
    for (const size_t len : {4091u, 4092u}) {
        const std::string name = "/" + std::to_string(len);
        std::string path = directory_.string();
        while (path.size() + name.size() < len) {
            path += path.size() + name.size() + 1 == len ? "/" : "/.";
        }
        path += name;
        setenv("ZV_TRACE_FILE", path.c_str(), 1);
        write_and_crash("the first run");
        write_and_crash("the second run");
        EXPECT_EQ(read(path), len == 4091 ? "the second run" : "the first run") << len;
    }
}

TEST_F(TraceFile, ReaderReportsAMissingFileAndOneOfAnotherKind) {
    char buffer[16];
    uint32_t written = 1;
    EXPECT_EQ(zv_trace_file_read(path_.c_str(), buffer, sizeof(buffer), 1, &written), ENOENT);
    EXPECT_EQ(written, 0u);
    std::ofstream(path_) << "short";
    EXPECT_EQ(zv_trace_file_read(path_.c_str(), buffer, sizeof(buffer), 1, &written), EINVAL);
    std::filesystem::resize_file(path_, 64 + 64 * 65536);
    EXPECT_EQ(zv_trace_file_read(path_.c_str(), buffer, sizeof(buffer), 1, &written), EINVAL);
}

}  // namespace
