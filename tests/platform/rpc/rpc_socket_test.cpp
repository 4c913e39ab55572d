// The socket's file: who has it, with which mode, and what happens to what is found in its place.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "rpc_test_support.h"

namespace {

using namespace rpc_test;

struct FileId {
    dev_t device = 0;
    ino_t inode = 0;
    mode_t mode = 0;
    int64_t changed_ns = 0;
    bool operator==(const FileId &) const = default;
};

FileId file_id(const std::string &path) {
    struct stat info = {};
    EXPECT_EQ(lstat(path.c_str(), &info), 0) << path;
    return {info.st_dev, info.st_ino, info.st_mode,
            info.st_ctim.tv_sec * 1000000000ll + info.st_ctim.tv_nsec};
}

mode_t socket_mode(const Root &root) {
    return file_id(root.path()).mode;
}

class Socket : public ::testing::Test {
  protected:
    Root root_;
};

TEST_F(Socket, IsMadeWithItsDirectoryUnderThePlatformRoot) {
    EXPECT_FALSE(std::filesystem::exists(root_.path("/var")));
    ServerProcess server;
    ASSERT_EQ(server.init_status(), 0u);
    EXPECT_TRUE(S_ISSOCK(socket_mode(root_)));
    EXPECT_FALSE(std::filesystem::exists(root_.path() + ".new"));
}

TEST_F(Socket, HasMode0660WhateverTheUmask) {
    for (mode_t mask : {mode_t{0}, mode_t{022}, mode_t{0777}}) {
        std::filesystem::create_directories(root_.path("/var/run"));
        mode_t saved = umask(mask);
        ServerProcess server;
        umask(saved);
        ASSERT_EQ(server.init_status(), 0u);
        EXPECT_EQ(socket_mode(root_) & 07777, 0660u);
        std::filesystem::remove(root_.path() + ".lock");
    }
}

TEST_F(Socket, HasTheModeOfTheEnvironment) {
    for (const auto &[text, mode] : {std::pair{"0600", 0600u}, {"666", 0666u}, {"0", 0u}}) {
        ServerProcess server(ServerOptions{{{"ZV_RPC_SOCKET_MODE", text}}});
        EXPECT_EQ(socket_mode(root_) & 07777, mode) << text;
        EXPECT_EQ(server.shared().log_lines, 0u);
    }
}

TEST_F(Socket, HasItsOwnModeAndAWarningWhereTheEnvironmentNamesNone) {
    for (const char *text : {"1777", "0660x", "8", "-1", " 600"}) {
        ServerProcess server(ServerOptions{{{"ZV_RPC_SOCKET_MODE", text}}});
        EXPECT_EQ(socket_mode(root_) & 07777, 0660u) << text;
        EXPECT_EQ(server.log(), std::string("3 ZV_RPC ZV_RPC_SOCKET_MODE=") + text +
                                    " is no number up to 511 and is not used.\n");
    }
}

TEST_F(Socket, OfADeadServerIsReplaced) {
    ServerProcess dead;
    FileId left_id = file_id(root_.path());
    dead.kill();
    ASSERT_TRUE(std::filesystem::exists(root_.path()));
    ServerProcess server;
    ASSERT_EQ(server.init_status(), 0u);
    EXPECT_NE(file_id(root_.path()), left_id);
    RawClient client;
    EXPECT_EQ(client.call(packet(kEcho, 1, {1})).body, Bytes{1});
}

TEST_F(Socket, OfALiveServerIsLeftAlone) {
    ServerProcess alive;
    FileId socket_id = file_id(root_.path());
    FileId lock_id = file_id(root_.path() + ".lock");
    ServerProcess second;
    EXPECT_EQ(second.init_status(), 3u);
    EXPECT_EQ(second.log(), "3 ZV_RPC Another server is alive on " + root_.path() + ".\n");
    EXPECT_EQ(file_id(root_.path()), socket_id);
    EXPECT_EQ(file_id(root_.path() + ".lock"), lock_id);
    RawClient client;
    EXPECT_EQ(client.call(packet(kEcho, 1, {1})).body, Bytes{1});
}

TEST_F(Socket, IsFreeForTheNextServerAfterDeinit) {
    ServerProcess first;
    EXPECT_EQ(first.deinit(), 0u);
    ServerProcess second;
    EXPECT_EQ(second.init_status(), 0u);
}

TEST_F(Socket, OfAnotherServerThatGotThePathMeanwhileIsLeftAtDeinit) {
    ServerProcess first;
    std::filesystem::remove(root_.path());
    std::filesystem::remove(root_.path() + ".lock");
    ServerProcess second;
    ASSERT_EQ(second.init_status(), 0u);
    FileId socket_id = file_id(root_.path());
    EXPECT_EQ(first.deinit(), 0u);
    EXPECT_EQ(file_id(root_.path()), socket_id);
    RawClient client;
    EXPECT_EQ(client.call(packet(kEcho, 1, {1})).body, Bytes{1});
}

TEST_F(Socket, PathThatAnotherFileTookIsLeftAtDeinit) {
    ServerProcess server;
    std::ofstream(root_.path("/precious")) << "precious";
    std::filesystem::rename(root_.path("/precious"), root_.path());
    FileId id = file_id(root_.path());
    EXPECT_EQ(server.deinit(), 0u);
    EXPECT_EQ(file_id(root_.path()), id);
}

TEST_F(Socket, DoesNotReplaceAFileOfAnotherType) {
    std::filesystem::create_directories(root_.path("/var/run"));
    std::ofstream(root_.path()) << "precious";
    FileId id = file_id(root_.path());
    ServerProcess server;
    EXPECT_EQ(server.init_status(), 4u);
    EXPECT_EQ(file_id(root_.path()), id);
    EXPECT_NE(server.log().find("Address already in use"), std::string::npos);
}

TEST_F(Socket, IsMadeOverWhatAnInterruptedStartLeft) {
    std::filesystem::create_directories(root_.path("/var/run"));
    std::ofstream(root_.path() + ".new") << "x";
    ServerProcess server;
    EXPECT_EQ(server.init_status(), 0u);
}

TEST_F(Socket, IsRefusedInADirectoryThatCannotBeMade) {
    std::ofstream(root_.path("/var")) << "a file";
    ServerProcess server;
    EXPECT_EQ(server.init_status(), 4u);
    EXPECT_NE(server.log().find("Not a directory"), std::string::npos) << server.log();
}

TEST_F(Socket, PathHasAtMost103Bytes) {
    std::string path = "/" + std::string(103 - root_.path("").size() - 1, 's');
    EXPECT_EQ(in_child([&] { return int(zv_rpc_core_td_init(path.c_str(), kMaxMessage)); }), 0);
    for (const size_t more : {1u, 4095u, 4096u, 100000u}) {
        const std::string longer = path + std::string(more, 's');
        EXPECT_EQ(in_child([&] { return int(zv_rpc_core_td_init(longer.c_str(), kMaxMessage)); }),
                  1);
    }
}

}  // namespace
