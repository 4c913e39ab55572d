#include "platform/switch/status.h"

#include <iterator>

namespace zv_switch {

const char *status_text(zv_status_t status) {
    static constexpr const char *kTexts[] = {
        "Success",         "Internal error",      "Invalid handle",  "Null parameter",
        "Out of range",    "No resources",        "Entry not found", "Entry exists",
        "Resource in use", "Command unsupported",
    };
    return status < std::size(kTexts) ? kTexts[status] : "Unknown status";
}

}  // namespace zv_switch
