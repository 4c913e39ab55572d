// The server's C functions: what they refuse, and in which order they are to be called.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "rpc_test_support.h"

namespace {

using namespace rpc_test;

uint32_t nothing(uint8_t *, uint32_t, uint8_t **, uint32_t *) {
    return 0;
}

const zv_rpc_command_t kTwo[] = {{2, "A", nothing, 2}, {3, "B", nothing, 2}};

uint32_t init(uint32_t max_message = kMaxMessage) {
    return zv_rpc_core_td_init(kSocketPath, max_message);
}

// Each case runs in a process of its own, as the server's state is the process's.
class Interface : public ::testing::Test {
  protected:
    Root root_;
};

TEST_F(Interface, TakesMessagesOf40To65536Bytes) {
    for (const auto &[max_message, status] :
         {std::pair{39u, 1}, {40u, 0}, {8000u, 0}, {65536u, 0}, {65537u, 1}}) {
        EXPECT_EQ(in_child([size = max_message] { return int(init(size)); }), status)
            << max_message;
    }
}

TEST_F(Interface, RefusesAPathThatIsNullOrNotAbsolute) {
    EXPECT_EQ(in_child([] { return int(zv_rpc_core_td_init(nullptr, 8000)); }), 1);
    EXPECT_EQ(in_child([] { return int(zv_rpc_core_td_init("", 8000)); }), 1);
    EXPECT_EQ(in_child([] { return int(zv_rpc_core_td_init("test.sock", 8000)); }), 1);
}

TEST_F(Interface, OpensOneSocketAtATime) {
    EXPECT_EQ(in_child([] {
                  init();
                  return int(init());
              }),
              2);
}

TEST_F(Interface, CanBeOpenedAgainAfterAFailureAndAfterDeinit) {
    EXPECT_EQ(in_child([] {
                  uint32_t failures = init(39) == 1 ? 0 : 1;
                  for (int i = 0; i < 2; i++) {
                      failures += init();
                      failures += zv_rpc_api_rpc_command_db_init(kTwo, 2);
                      failures += zv_rpc_api_rpc_command_db_deinit();
                  }
                  return int(failures);
              }),
              0);
}

int register_after_init(const zv_rpc_command_t *table, uint32_t count) {
    return in_child([&] {
        init();
        return int(zv_rpc_api_rpc_command_db_init(table, count));
    });
}

TEST_F(Interface, RefusesATableThatIsNullOrEmpty) {
    EXPECT_EQ(register_after_init(nullptr, 2), 1);
    EXPECT_EQ(register_after_init(kTwo, 0), 1);
    EXPECT_EQ(register_after_init(kTwo, 2), 0);
}

TEST_F(Interface, RefusesATableWithOneIdTwice) {
    zv_rpc_command_t table[] = {{7, "A", nothing, 2}, {3, "B", nothing, 2}, {7, "C", nothing, 2}};
    EXPECT_EQ(register_after_init(table, 3), 1);
    table[2].command_id = 2;
    EXPECT_EQ(register_after_init(table, 3), 0);
}

TEST_F(Interface, RefusesACommandWithoutAHandlerOrWithAnEndlessName) {
    zv_rpc_command_t table[] = {{7, "A", nothing, 2}, {3, "B", nullptr, 2}};
    EXPECT_EQ(register_after_init(table, 2), 1);
    table[1].handler = nothing;
    memset(table[1].name, 'n', sizeof(table[1].name));
    EXPECT_EQ(register_after_init(table, 2), 1);
    table[1].name[99] = '\0';
    EXPECT_EQ(register_after_init(table, 2), 0);
}

TEST_F(Interface, RegistersOneTableAndOnlyOnAnOpenSocket) {
    EXPECT_EQ(in_child([] { return int(zv_rpc_api_rpc_command_db_init(kTwo, 2)); }), 2);
    EXPECT_EQ(in_child([] {
                  init();
                  zv_rpc_api_rpc_command_db_init(kTwo, 2);
                  return int(zv_rpc_api_rpc_command_db_init(kTwo, 2));
              }),
              2);
}

TEST_F(Interface, DeinitNeedsATable) {
    EXPECT_EQ(in_child([] { return int(zv_rpc_api_rpc_command_db_deinit()); }), 2);
    EXPECT_EQ(in_child([] {
                  init();
                  return int(zv_rpc_api_rpc_command_db_deinit());
              }),
              2);
}

TEST_F(Interface, TheLoopNeedsATable) {
    EXPECT_EQ(in_child([] {
                  init();
                  return int(zv_rpc_core_td_start_loop());
              }),
              2);
}

TEST_F(Interface, CommandsHaveTheDocumentedSize) {
    EXPECT_EQ(sizeof(zv_rpc_command_t), 120u);
    EXPECT_EQ(offsetof(zv_rpc_command_t, handler), 104u);
}

// Reads the call trace that a process of its own leaves.
TEST_F(Interface, CallsStandInTheTraceWithTheirScalarArguments) {
    std::string trace = root_.path("/trace");
    setenv("ZV_SIM_TRACE", trace.c_str(), 1);
    in_child([] {
        zv_rpc_register_log_function(nullptr);
        zv_rpc_change_main_exit_signal_state(0);
        init();
        zv_rpc_api_rpc_command_db_init(kTwo, 2);
        zv_rpc_api_rpc_command_db_deinit();
        return 0;
    });
    unsetenv("ZV_SIM_TRACE");
    FILE *file = fopen(trace.c_str(), "r");
    ASSERT_NE(file, nullptr);
    char text[4096] = {};
    ASSERT_GT(fread(text, 1, sizeof(text) - 1, file), 0u);
    fclose(file);
    std::string lines = text;
    for (
        const char *expected :
        {R"("call":"zv_rpc_register_log_function","args":{})",
         R"("call":"zv_rpc_change_main_exit_signal_state","args":{"state":0})",
         R"("call":"zv_rpc_core_td_init","args":{"socket_path":"/var/run/test.sock","max_message":8000},"status":0)",
         R"("call":"zv_rpc_api_rpc_command_db_init","args":{"count":2},"status":0)",
         R"("call":"zv_rpc_api_rpc_command_db_deinit","args":{},"status":0)"}) {
        EXPECT_NE(lines.find(expected), std::string::npos) << expected << "\n" << lines;
    }
}

TEST_F(Interface, CallsCanBeMadeToFailBeforeTheyDoAnything) {
    setenv("ZV_SIM_FAULTS", R"([{"call":"zv_rpc_core_td_init","status":9}])", 1);
    EXPECT_EQ(in_child([] { return init() == 9 && init() == 0 ? 0 : 1; }), 0);
    unsetenv("ZV_SIM_FAULTS");
}

}  // namespace
