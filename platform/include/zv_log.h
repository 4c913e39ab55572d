/*
 * zv_log: the platform's log library (libzv_log.so).
 *
 * Two writers that never get in a program's way: zv_log passes a finished line to the program's
 * sink or to standard error, zv_trace_cbuff_log keeps the newest lines in a ring in memory (or in a
 * memory-mapped file). Both may be called from any thread and from a signal handler, even from one
 * that interrupted either of them: they hold no lock, allocate nothing and leave errno alone.
 *
 * Life cycle: zv_log_init ... zv_log_close, any number of times one after the other. Outside of
 * that span both writers do nothing, harmlessly.
 */
#ifndef ZV_LOG_H
#define ZV_LOG_H

#include <stdint.h>

#if defined(__GNUC__)
#define ZV_LOG_PRINTF(format_index, first_argument) \
    __attribute__((format(printf, format_index, first_argument)))
#else
#define ZV_LOG_PRINTF(format_index, first_argument)
#endif

#ifdef __cplusplus
extern "C" {
#endif
#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

/*
 * A program's own receiver of log lines.
 *
 * severity_mask  the mask given to zv_log: its number of low one bits is the level (0 none,
 *                1 error, 2 warning, 3 notice, 4 info, 5 debug, 6 funcs, 7 frames, 8 all)
 * module         the module's name, never null
 * message        the complete text, NUL-terminated, the library's until the sink returns. It is
 *                text and never a format, and no further argument follows it. A newline at its end
 *                is the caller's own: lines come with and without one.
 *
 * Called on the thread that logs, several threads at a time, possibly from a signal handler.
 */
typedef void (*zv_log_cb_t)(uint32_t severity_mask, const char *module, const char *message, ...);

/*
 * Opens the log. From here on lines go to the sink, or, with a null sink, to standard error as
 * "[module padded to 20][LEVEL  ] : text" with exactly one newline at the end, in one write(2).
 *
 * arg0, arg1  not used by this platform (the daemon passes 1 and 0)
 * sink        receiver of the lines, or null; it must stay callable until zv_log_close has returned
 *
 * ZV_TRACE_FILE=<path> in the environment puts the trace ring into that file; the file of an
 * earlier run is kept as <path>.old. Where the file cannot be made the ring stays in memory and a
 * warning line says so. Without the variable the ring is in memory and survives a close and a new
 * init.
 *
 * Returns 0; 1 when the log is open already (nothing changes then).
 * Not to be called at the same time as zv_log_close.
 */
uint32_t zv_log_init(uint32_t arg0, uint32_t arg1, zv_log_cb_t sink);

/*
 * Closes the log. Waits for sink calls under way on other threads; after it has returned the sink
 * is never called again, so that its code may be unloaded. Called from inside the sink it does not
 * wait for the call it is made from.
 *
 * Returns 0; 1 when the log is not open (it waits all the same).
 */
uint32_t zv_log_close(void);

/*
 * Writes one line. Text of up to 256 KiB is passed on complete, what exceeds that is cut. A null
 * module counts as an empty name, a null format writes nothing.
 */
void zv_log(uint32_t severity_mask, const char *module, const char *format, ...)
    ZV_LOG_PRINTF(3, 4);

/*
 * Puts one line into the trace ring, without the newlines at its end. The ring keeps the newest
 * lines, at least 1 MiB of them for lines of 16 characters and more. The same limits as zv_log.
 */
void zv_trace_cbuff_log(const char *format, ...) ZV_LOG_PRINTF(1, 2);

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif
#ifdef __cplusplus
}
#endif

#endif
