/* complib: threads.
 *
 * A thread is started and then runs on its own: nobody joins it, and its resources go when its
 * function returns. It starts with the signal mask of the thread that started it.
 */
#ifndef CL_THREAD_H
#define CL_THREAD_H

#include <pthread.h>

#include "complib/cl_types.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* Who was started. Filled by cl_thread_init and owned by the caller; the running thread does not
 * look at it, so it may go out of scope at any time. */
typedef struct {
    pthread_t id;  /* valid only while the thread runs */
    char name[16]; /* as the kernel shows it: the first 15 bytes of the name asked for */
} cl_thread_t;

/* Start a thread that calls function(context).
 *
 * name: shown by the kernel from before the function's first statement, cut to 15 bytes; null
 *       leaves the thread with the name of the process. The text is copied.
 * context: handed through as it is (its const is cast away); it stays the caller's and must live
 *       as long as the function uses it.
 * Returns CL_STATUS_SUCCESS; CL_STATUS_NULL_ARGUMENT without a thread record or a function;
 * CL_STATUS_NO_MEMORY; CL_STATUS_THREAD_FAILED when the system refuses another thread. After a
 * failure nothing runs and *thread is unchanged. Any thread may call it.
 */
cl_status_t cl_thread_init(cl_thread_t *thread, void (*function)(void *), const void *context,
                           const char *name);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
