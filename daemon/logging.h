// The daemon's log.
//
// Three modules, each with a verbosity of its own; a line of level L is written when its module's
// verbosity is at least L, and then it goes to the log library and to the trace ring. Failures are
// reported through a module too, so that the text, the level that its status calls for and the
// status handed back stand in one expression: `return core_log.fail(STATUS, "text %u", id);`.
//
// Any thread may write a line, also from a signal handler (nothing here locks or allocates).
// error_msg has no lock: failures are reported by the thread that serves commands, and by the
// terminator once that thread serves none.
#pragma once

#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>

#include <cstddef>

#include "zv_acl_rm/zv_acl_rm_status.h"

enum class LogLevel : uint32_t { error = 1, warning = 2, notice = 3, info = 4, debug = 5 };

// What plug-ins may see of the daemon: C names, visible outside the executable.
#define ACL_RM_EXPORTED __attribute__((visibility("default")))

extern "C" {
typedef void (*acl_rm_log_hook_t)(uint32_t severity_mask, const char *module, const char *message);

// Verbosities of the modules "ZV_ACL_RM", "ACL_RM_RPC" and "ACL_RM_DB": 3 until raised. The command
// line sets the first alone; the others are for a plug-in or a debugger to raise.
extern ACL_RM_EXPORTED uint32_t acl_rm_verbosity_level;
extern ACL_RM_EXPORTED uint32_t rpc_verbosity_level;
extern ACL_RM_EXPORTED uint32_t acl_rm_db_verbosity_level;

// Where __acl_rm_log_cb writes instead of syslog: the file, else the hook. The daemon sets neither.
extern ACL_RM_EXPORTED FILE *log_file;
extern ACL_RM_EXPORTED acl_rm_log_hook_t log_hook;

// A log sink for whoever needs one, but not for lines of a signal handler, since file and syslog
// take locks: the line "[module][LEVEL  ] : message" to log_file, else the three arguments to
// log_hook, else the line to syslog. `message` is text, never a format.
ACL_RM_EXPORTED void __acl_rm_log_cb(uint32_t severity_mask, const char *module,
                                     const char *message, ...);
}

constexpr size_t ERROR_MSG_BYTES = 200;
// The text of the newest failure; formatted before it is logged, cut to the buffer.
extern char error_msg[ERROR_MSG_BYTES];

// "NONE   " to "ALL    " for 0 to 8, else "UNKNOWN".
const char *log_level_name(uint32_t level_index);

// "ZV_ACL_RM_STATUS_..." for 0 to 9, else "UNKNOWN".
const char *zv_acl_rm_status_name(zv_acl_rm_status_t status);

// Where a line comes from: printed on debug lines and in the trace ring.
struct LogSite {
    const char *function;
    int line;
};

// A status together with the place that reports it, which the default arguments pick up.
struct StatusHere {
    zv_acl_rm_status_t status;
    LogSite site;
    // Implicit, so that a report reads fail(STATUS, ...).
    StatusHere(zv_acl_rm_status_t reported, const char *function = __builtin_FUNCTION(),
               int line = __builtin_LINE())
        : status(reported), site{function, line} {}
};

class LogModule {
  public:
    constexpr LogModule(const char *name, const char *source_file, const uint32_t *verbosity)
        : name_(name), source_file_(source_file), verbosity_(verbosity) {}

    bool logs(LogLevel level) const { return *verbosity_ >= static_cast<uint32_t>(level); }

    // Writes one line, unless the verbosity is too low. Callers go through LOG_LINE. Cold like the
    // reports below: at the usual verbosity a write of rules writes no line, and its own
    // instructions then lie side by side.
    [[gnu::cold, gnu::format(printf, 4, 5)]] void write(LogLevel level, LogSite site,
                                                        const char *format, ...) const;

    // A failure with a text, where it happens: error line, or notification for NO_HW_RESOURCES,
    // because a full switch is not the daemon's error.
    [[gnu::cold, gnu::format(printf, 3, 4)]] zv_acl_rm_status_t fail(StatusHere at,
                                                                     const char *format, ...) const;

    // The same where a full table of the daemon (NO_RESOURCES) is no error either.
    [[gnu::cold, gnu::format(printf, 3, 4)]] zv_acl_rm_status_t fail_or_notify(StatusHere at,
                                                                               const char *format,
                                                                               ...) const;

    // A callee's failure on its way up, or one without a text: named by its status; notification
    // for NO_RESOURCES and NO_HW_RESOURCES.
    [[gnu::cold]] zv_acl_rm_status_t pass_up(StatusHere at) const;

  private:
    void report(StatusHere at, bool is_error) const;
    [[gnu::noinline]] void write_long(LogLevel level, LogSite site, const char *format,
                                      va_list arguments) const;
    void write_text(LogLevel level, LogSite site, const char *text) const;

    const char *name_;
    const char *source_file_;
    const uint32_t *verbosity_;
};

extern const LogModule core_log;  // start-up, termination, the ACL resource manager
extern const LogModule rpc_log;   // RPC server and handlers
extern const LogModule db_log;    // counter database

// A macro only so that a line that is not written costs one comparison and no arguments.
#define LOG_LINE(module, level, ...)                                                   \
    do {                                                                               \
        if ((module).logs(LogLevel::level))                                            \
            (module).write(LogLevel::level, LogSite{__func__, __LINE__}, __VA_ARGS__); \
    } while (0)
