#include "complib/cl_types.h"

extern "C" const char *const cl_status_text[21] = {
    "success",
    "failed",
    "out of memory",
    "out of resources",
    "bad argument",
    "argument is null",
    "value out of range",
    "not possible in this state",
    "not ready",
    "not found",
    "exists already",
    "empty",
    "full",
    "busy",
    "timed out",
    "interrupted",
    "cancelled",
    "permission denied",
    "overflow",
    "not supported",
    "thread could not be started",
};
static_assert(sizeof(cl_status_text) / sizeof(cl_status_text[0]) == CL_STATUS_COUNT);
