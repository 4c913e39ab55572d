// Lines of the file logger that meet on the way, as those of a signal handler and of what it
// interrupted do.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <string>

#include "tests/support/temp_dir.h"

namespace {

// What the plug-in's next call is replaced by, once; empty: nothing.
std::function<ssize_t(int fd, const iovec *parts, int num)> g_instead;

ssize_t whole_writev(int fd, const iovec *parts, int num) {
    static ssize_t (*const next)(int, const iovec *, int) = [] {
        void *found = dlsym(RTLD_NEXT, "writev");
        ssize_t (*function)(int, const iovec *, int) = nullptr;
        memcpy(&function, &found, sizeof(function));
        return function;
    }();
    return next(fd, parts, num);
}

// The plug-in, loaded afresh, and its file.
class FileLogger : public testing::Test {
  protected:
    void SetUp() override {
        setenv("ZV_ACL_RM_LOG_FILE", path_.c_str(), 1);
        library_ = dlopen(ZV_TEST_FILE_LOGGER, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library_, nullptr) << dlerror();
        void *found = dlsym(library_, "log_cb");
        ASSERT_NE(found, nullptr) << dlerror();
        memcpy(&log_, &found, sizeof(log_));
    }
    void TearDown() override {
        g_instead = nullptr;
        if (library_ != nullptr) {
            dlclose(library_);
        }
    }
    void log(const char *message) { log_(1, "M", message); }
    // The next line's first four bytes are taken, and then nothing more.
    void tear_next_line() {
        g_instead = [](int fd, const iovec * /*parts*/, int /*num*/) {
            g_instead = [](int /*fd*/, const iovec * /*parts*/, int /*num*/) -> ssize_t {
                errno = ENOSPC;
                return -1;
            };
            return write(fd, "[M  ", 4);
        };
    }
    std::string text() const { return zv_test::read_file(path_); }
    static std::string line_of(const std::string &text) {
        return "[M                   ][ERROR  ] : " + text + "\n";
    }

    zv_test::TempDir place_;
    std::string path_ = place_.file("log");
    void *library_ = nullptr;
    void (*log_)(uint32_t severity_mask, const char *module, const char *message, ...) = nullptr;
};

TEST_F(FileLogger, BeginsALineOfItsOwnAfterATornOne) {
    tear_next_line();
    log("torn");
    log("two");
    EXPECT_EQ(text(), "[M  \n" + line_of("two"));
}

// The handler's line comes before the interrupted one has ended the torn line.
TEST_F(FileLogger, BeginsALineOfItsOwnInASignalHandlerToo) {
    tear_next_line();
    log("torn");
    g_instead = [this](int fd, const iovec *parts, int num) {
        log("handler");
        return whole_writev(fd, parts, num);
    };
    log("two");
    EXPECT_EQ(text(), "[M  \n" + line_of("handler") + "\n" + line_of("two"));
}

}  // namespace

// NOLINTBEGIN: the C library's name
extern "C" [[gnu::visibility("default")]] ssize_t writev(int fd, const iovec *parts, int num) {
    if (!g_instead) {
        return whole_writev(fd, parts, num);
    }
    const auto instead = std::move(g_instead);
    g_instead = nullptr;
    return instead(fd, parts, num);
}
// NOLINTEND
