#include "daemon/logging.h"

#include <stdarg.h>
#include <syslog.h>

#include <bit>

#include "zv_log.h"

// Text is formatted here once, in full, and handed to both outlets as "%s": the sink and the ring
// promise not to cut it. The largest line is a whole cache dump of 64 KiB.

uint32_t acl_rm_verbosity_level = 3;
uint32_t rpc_verbosity_level = 3;
uint32_t acl_rm_db_verbosity_level = 3;
FILE *log_file = nullptr;
acl_rm_log_hook_t log_hook = nullptr;
char error_msg[ERROR_MSG_BYTES];

constexpr LogModule core_log("ZV_ACL_RM", "acl_rm.c", &acl_rm_verbosity_level);
constexpr LogModule rpc_log("ACL_RM_RPC", "acl_rm_rpc_server.c", &rpc_verbosity_level);
constexpr LogModule db_log("ACL_RM_DB", "acl_rm_db.c", &acl_rm_db_verbosity_level);

namespace {

constexpr size_t SHORT_TEXT_BYTES = 1024;
constexpr size_t TEXT_MAX_BYTES = size_t{66} * 1024;

constexpr const char *log_level_names[] = {"NONE   ", "ERROR  ", "WARN   ", "NOTICE ", "INFO   ",
                                           "DEBUG  ", "FUNCS  ", "FRAMES ", "ALL    "};

#define STATUS_NAME(value, name, meaning) #name,
constexpr const char *status_names[] = {ZV_ACL_RM_STATUS_LIST(STATUS_NAME)};
#undef STATUS_NAME

template <size_t N>
const char *name_at(const char *const (&names)[N], uint32_t index, const char *otherwise) {
    return index < N ? names[index] : otherwise;
}

constexpr uint32_t severity_mask(LogLevel level) {
    return (1u << static_cast<uint32_t>(level)) - 1;
}

void format_error_msg(const char *format, va_list arguments) {
    vsnprintf(error_msg, sizeof(error_msg), format, arguments);
}

}  // namespace

const char *log_level_name(uint32_t level_index) {
    return name_at(log_level_names, level_index, "UNKNOWN");
}

const char *zv_acl_rm_status_name(zv_acl_rm_status_t status) {
    return name_at(status_names, status, "UNKNOWN");
}

void LogModule::write(LogLevel level, LogSite site, const char *format, ...) const {
    if (!logs(level))
        return;
    char text[SHORT_TEXT_BYTES];
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int length = vsnprintf(text, sizeof(text), format, arguments);
    if (length < static_cast<int>(sizeof(text)))
        write_text(level, site, text);
    else
        write_long(level, site, format, again);
    va_end(again);
    va_end(arguments);
}

// Apart, so that only a line that needs the large frame takes it: a signal may be handled on a
// plug-in's thread, whose stack is small.
void LogModule::write_long(LogLevel level, LogSite site, const char *format,
                           va_list arguments) const {
    char text[TEXT_MAX_BYTES];
    vsnprintf(text, sizeof(text), format, arguments);
    write_text(level, site, text);
}

void LogModule::write_text(LogLevel level, LogSite site, const char *text) const {
    const uint32_t mask = severity_mask(level);
    if (level < LogLevel::debug)
        zv_log(mask, name_, "%s", text);
    else
        zv_log(mask, name_, "%s[%d]- %s: %s", source_file_, site.line, site.function, text);
    zv_trace_cbuff_log("[%s] [%s] - %s[%d]: %s", log_level_name(static_cast<uint32_t>(level)),
                       name_, site.function, site.line, text);
}

void LogModule::report(StatusHere at, bool is_error) const {
    if (is_error)
        write(LogLevel::error, at.site, "ZV_ACL_RM ERROR error;=%d, error message:=%s\n",
              static_cast<int>(at.status), error_msg);
    else
        write(LogLevel::notice, at.site, "ZV_ACL_RM Notification, error: %d, %s\n",
              static_cast<int>(at.status), error_msg);
}

zv_acl_rm_status_t LogModule::fail(StatusHere at, const char *format, ...) const {
    va_list arguments;
    va_start(arguments, format);
    format_error_msg(format, arguments);
    va_end(arguments);
    report(at, at.status != ZV_ACL_RM_STATUS_NO_HW_RESOURCES);
    return at.status;
}

zv_acl_rm_status_t LogModule::fail_or_notify(StatusHere at, const char *format, ...) const {
    va_list arguments;
    va_start(arguments, format);
    format_error_msg(format, arguments);
    va_end(arguments);
    report(at, at.status != ZV_ACL_RM_STATUS_NO_HW_RESOURCES &&
                   at.status != ZV_ACL_RM_STATUS_NO_RESOURCES);
    return at.status;
}

zv_acl_rm_status_t LogModule::pass_up(StatusHere at) const {
    const int status = static_cast<int>(at.status);
    const char *status_name = zv_acl_rm_status_name(at.status);
    if (at.status == ZV_ACL_RM_STATUS_NO_RESOURCES || at.status == ZV_ACL_RM_STATUS_NO_HW_RESOURCES)
        write(LogLevel::notice, at.site, "ZV_ACL_RM Notification, error: %d, %s\n", status,
              status_name);
    else
        write(LogLevel::error, at.site, "ZV_ACL_RM_ERROR, error: %d, %s\n", status, status_name);
    return at.status;
}

void __acl_rm_log_cb(uint32_t severity_mask, const char *module, const char *message, ...) {
    // A mask is the low L bits of level L, so its low one bits count the level back.
    const auto level_index = static_cast<uint32_t>(std::countr_one(severity_mask));
    const char *level = log_level_name(level_index);
    if (log_file != nullptr)
        fprintf(log_file, "[%-20s][%s] : %s", module, level, message);
    else if (log_hook != nullptr)
        log_hook(severity_mask, module, message);
    else
        syslog(static_cast<int>(level_index) + 2, "[%-20s][%s] : %s", module, level, message);
}
