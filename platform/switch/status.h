// Statuses of the simulated switch, as zv_api.h lists them.
#ifndef PLATFORM_SWITCH_STATUS_H
#define PLATFORM_SWITCH_STATUS_H

#include "zv_api.h"

namespace zv_switch {

enum Status : zv_status_t {
    kSuccess = 0,
    kInternalError = 1,
    kInvalidHandle = 2,
    kNullParameter = 3,
    kOutOfRange = 4,
    kNoResources = 5,
    kEntryNotFound = 6,
    kEntryExists = 7,
    kInUse = 8,
    kCommandUnsupported = 9,
};

// A status in words; a static text, also for numbers that are no status.
const char *status_text(zv_status_t status);

}  // namespace zv_switch

#endif
