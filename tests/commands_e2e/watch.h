// watch.h - what one request made the daemon do: the lines it wrote and the switch calls it made.
//
//   const Watch watch(daemon);
//   EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
//   watch.expect_lines(failed(4, "Wrong acl size ...", 1));
//   watch.expect_calls({});
//
// Both compare everything since the construction, in order: a line or a call too many fails as
// well. The daemon answers after it has written both, so nothing has to be waited for.
#ifndef ZV_TESTS_COMMANDS_E2E_WATCH_H
#define ZV_TESTS_COMMANDS_E2E_WATCH_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/daemon_process.h"

namespace zv_test {

using Lines = std::vector<LogLine>;
using Calls = std::vector<nlohmann::json>;

// A failure whose text is logged as an error, and the lines of `callers` operations handing it up:
// error lines too, notifications where the status is one of the two that tell of full tables.
Lines failed(uint32_t status, const std::string &text, int callers);
// The same for a status without a text of its own.
Lines failed_by_name(uint32_t status, int callers);
// A failure that is no error: the notification with its text, and those of `callers` operations.
Lines notified(uint32_t status, const std::string &text, int callers);
// The notices of rules of one ACL taken out of the cache, in the order of `offsets`.
Lines rules_gone(uint32_t region_id, const std::vector<uint32_t> &offsets);
// The notice of a bind point that was unbound before; `point` in hexadecimal digits.
LogLine already_unbound(uint32_t acl_id, const std::string &point);
// What is said of a request with the handle 119, 0x77, that no client has.
inline constexpr const char *kForeignHandle =
    "Wrong owner of the handle[119] toward ACL_RM, trying to control another owner resource";
// One list after the other.
Lines operator+(Lines first, const Lines &second);

class Watch {
  public:
    explicit Watch(DaemonProcess &daemon);

    // The lines of every module; at the default verbosity those of level NOTICE and above.
    void expect_lines(const Lines &expected, Here here = Here::now()) const;
    // The calls of sdk_calls.h. What the id argument of a creating call holds before the call is
    // nobody's business and not compared.
    void expect_calls(const Calls &expected, Here here = Here::now()) const;
    // Neither lines nor calls.
    void expect_nothing(Here here = Here::now()) const;

  private:
    DaemonProcess &daemon_;
    size_t lines_num_;
    size_t trace_mark_;
};

}  // namespace zv_test

#endif
