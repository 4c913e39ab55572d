#include "platform/switch/status.h"

#include <array>

namespace zv_switch {

const char *status_text(zv_status_t status) {
    static constexpr std::array<const char *, 10> kTexts = {
        "Success",         "Internal error",      "Invalid handle",  "Null parameter",
        "Out of range",    "No resources",        "Entry not found", "Entry exists",
        "Resource in use", "Command unsupported",
    };
    return status < kTexts.size() ? kTexts[status] : "Unknown status";
}

}  // namespace zv_switch
