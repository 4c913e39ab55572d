/* complib: memory.
 *
 * A pair of its own, so that what one library allocates another may release, whichever C library
 * either was built with. Any thread may call either function.
 */
#ifndef CL_MEMORY_H
#define CL_MEMORY_H

#include "complib/cl_types.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* Memory of size bytes, aligned for any type, not cleared; null when there is none.
 * Size 0 yields a pointer too, which holds nothing. The caller releases it with cl_free. */
void *cl_malloc(size_t size);

/* Release what cl_malloc returned; null does nothing. */
void cl_free(void *memory);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
