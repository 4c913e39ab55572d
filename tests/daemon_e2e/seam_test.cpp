// The daemon on another platform: the same binary, other libraries on the library path.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/daemon_e2e/plugin_paths.h"
#include "tests/support/daemon_process.h"

namespace zv_test {
namespace {

const char kServing[] = "stub platform: serving\n";

// The stub has no socket, so its own line says that start-up is over.
bool serves(DaemonProcess &daemon) {
    for (int i = 0; i < 30000; ++i) {
        if (daemon.err().find(kServing) != std::string::npos) {
            return true;
        }
        if (!daemon.running()) {
            return false;
        }
        usleep(1000);
    }
    return false;
}

DaemonOptions on_stub_platform() {
    DaemonOptions options = ending_run({});
    options.library_path = stub_platform_dir();
    return options;
}

TEST(Seam, TheDaemonStartsAndStopsOnAnotherPlatform) {
    DaemonProcess daemon(on_stub_platform());
    ASSERT_TRUE(serves(daemon)) << daemon.err();
    EXPECT_FALSE(std::filesystem::exists(daemon.socket_path()));
    EXPECT_FALSE(std::filesystem::exists(daemon.root().file("trace"))) << "the software platform";
    daemon.stop(SIGTERM, ExitStatus::exit(0));
    // Its log library writes nothing, so all there is is the loop's own line.
    EXPECT_EQ(daemon.err(), kServing);
}

TEST(Seam, EveryLibraryOfThePlatformIsExchanged) {
    DaemonProcess daemon(on_stub_platform());
    ASSERT_TRUE(serves(daemon)) << daemon.err();
    const std::string maps = read_file("/proc/" + std::to_string(daemon.pid()) + "/maps");
    for (const char *library : {"api", "rpc", "log", "net", "complib"}) {
        const std::string name = std::string("/libzv_") + library + ".so";
        EXPECT_NE(maps.find(stub_platform_dir() + name), std::string::npos) << name;
    }
    EXPECT_EQ(maps.find("libzv_sim"), std::string::npos)
        << "a private part of the software platform";
}

TEST(Seam, PluginsWorkOnAnotherPlatform) {
    const TempDir files;
    DaemonOptions options = on_stub_platform();
    options.arguments = {"--connector=" + connector_path()};
    options.environment = {{"ZV_ACL_RM_CONNECTOR_FILE", files.file("hooks")}};
    DaemonProcess daemon(options);
    ASSERT_TRUE(serves(daemon)) << daemon.err();
    daemon.stop(SIGINT, ExitStatus::exit(0));
    EXPECT_EQ(read_file(files.file("hooks")), "aclrmd_init\naclrmd_deinit\n");
}

}  // namespace
}  // namespace zv_test
