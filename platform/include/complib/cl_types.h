/* complib: statuses shared by the component library's modules.
 *
 * A component reports success as 0. The 21 statuses are numbered without a gap, so that
 * cl_status_text can be indexed with any of them; a reader that is handed a number from
 * elsewhere must compare it with CL_STATUS_COUNT first.
 */
#ifndef CL_TYPES_H
#define CL_TYPES_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

typedef uint32_t cl_status_t;

enum {
    CL_STATUS_SUCCESS = 0,
    CL_STATUS_FAILED = 1,
    CL_STATUS_NO_MEMORY = 2,
    CL_STATUS_NO_RESOURCES = 3,
    CL_STATUS_BAD_ARGUMENT = 4,
    CL_STATUS_NULL_ARGUMENT = 5,
    CL_STATUS_OUT_OF_RANGE = 6,
    CL_STATUS_BAD_STATE = 7,
    CL_STATUS_NOT_READY = 8,
    CL_STATUS_ABSENT = 9,
    CL_STATUS_PRESENT = 10,
    CL_STATUS_EMPTY = 11,
    CL_STATUS_FULL = 12,
    CL_STATUS_BUSY = 13,
    CL_STATUS_TIMED_OUT = 14,
    CL_STATUS_INTERRUPTED = 15,
    CL_STATUS_CANCELLED = 16,
    CL_STATUS_DENIED = 17,
    CL_STATUS_OVERFLOW = 18,
    CL_STATUS_UNSUPPORTED = 19,
    CL_STATUS_THREAD_FAILED = 20,
    CL_STATUS_COUNT = 21
};

/* One line for people per status, index 0 being success; never null, owned by the library. */
extern const char *const cl_status_text[21];

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
