// handler_rows.h - what is promised of each handler, written out apart from the code under test.
#ifndef ZV_TESTS_RPC_HANDLER_ROWS_H
#define ZV_TESTS_RPC_HANDLER_ROWS_H

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "tests/daemon/captured_log.h"
#include "tests/daemon/switch_double.h"
#include "tests/support/temp_dir.h"
#include "zv_rpc.h"

namespace zv_unit {

struct HandlerPromise {
    uint32_t command_id;
    const char *command_name;
    const char *handler_name;
    zv_rpc_handler_t handler;
    uint32_t length;
    std::string entry_text;         // "": none
    const char *length_text_head;   // before the received length
    const char *length_text_tail;   // after it
    std::string failure_text_head;  // before the status
    std::string failure_text_tail;  // after it
    bool fails_at_error;            // the pattern of the last three commands
    uint32_t reply_offset;
    uint32_t reply_length;
};
std::ostream &operator<<(std::ostream &out, const HandlerPromise &row);

// In the order of the command table.
const std::vector<HandlerPromise> &handler_promises();
const HandlerPromise &promise_of(uint32_t command_id);

std::string length_text(const HandlerPromise &row, uint32_t length);
std::string failure_text(const HandlerPromise &row, uint32_t status);
// "OPEN", "INIT", ...: the end of a case's name.
std::string short_name(const HandlerPromise &row);

Line rpc_line(uint32_t mask, const std::string &text);

// One call of a handler with a reply that shows whether it was touched.
struct Reply {
    uint32_t status;
    uint8_t *body;
    uint32_t length;
    bool is_untouched() const;
};
Reply call(const HandlerPromise &row, void *body, uint32_t length);

// Captured log, recorded calls; no cache, no connection.
class HandlerFixture : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

  private:
    zv_test::TempDir dir_;
};

// With the cache, and a body of the right length, zero but for what the case writes.
class ServingFixture : public HandlerFixture {
  protected:
    void SetUp() override;
    void TearDown() override;
};

}  // namespace zv_unit

#endif
