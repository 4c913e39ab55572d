#include "daemon/terminator.h"

#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>

#include "complib/cl_thread.h"
#include "daemon/lifecycle.h"
#include "daemon/logging.h"
#include "daemon/startup.h"
#include "rpc/acl_rm_rpc_server.h"

namespace {

// Plain, because main locks it and whichever thread a signal lands on unlocks it: that hand-off is
// the design, and a mutex that checks its owner would refuse it.
pthread_mutex_t terminator_mutex;
cl_thread_t terminator_thread;

constexpr int stop_signals[] = {SIGINT, SIGTERM, SIGABRT, SIGHUP};

void __signal_handler(int signal_number) {
    const int interrupted_errno = errno;
    LOG_LINE(core_log, notice, "Signal %u caught using thread %u context.\n",
             static_cast<uint32_t>(signal_number), static_cast<uint32_t>(pthread_self()));
    if (signal_number != SIGUSR1) {
        LOG_LINE(core_log, info, "Un-Locking Terminator MUTEX.\n");
        pthread_mutex_unlock(&terminator_mutex);
    }
    errno = interrupted_errno;
}

zv_acl_rm_status_t set_action(int signal_number, const struct sigaction &action) {
    const int result = sigaction(signal_number, &action, nullptr);
    if (result != 0)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "sigaction error: %u\n",
                             static_cast<uint32_t>(result));
    return ZV_ACL_RM_STATUS_SUCCESS;
}

// Whichever thread a signal lands on handles it, but not the one that waits for its effect: a
// thread sanitizer, for one, holds signals back while a thread waits for a mutex.
void leave_signals_to_others() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal_number : stop_signals)
        sigaddset(&signals, signal_number);
    sigaddset(&signals, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

[[noreturn]] void acl_rm_terminator(void * /*context*/) {
    leave_signals_to_others();
    pthread_mutex_lock(&terminator_mutex);
    begin_teardown_by_terminator();
    LOG_LINE(core_log, notice, "starting zv_acl_rm termination...\n");
    zv_rpc_change_main_exit_signal_state(1);
    LOG_LINE(core_log, info, "calling acl_rm_rpc_deinit.\n");
    zv_acl_rm_status_t status = acl_rm_rpc_deinit();
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        LOG_LINE(core_log, error, "acl_rm_rpc_deinit failed.\n");
    else
        status = acl_rm_deinit();
    exit(static_cast<int>(status));
}

}  // namespace

void acl_rm_terminator_init() {
    zv_rpc_change_main_exit_signal_state(0);
    LOG_LINE(core_log, info, "Creating Terminator MUTEX.\n");
    pthread_mutex_init(&terminator_mutex, nullptr);
    LOG_LINE(core_log, info, "Locking Terminator MUTEX.\n");
    pthread_mutex_lock(&terminator_mutex);
    LOG_LINE(core_log, info, "Creating Terminator thread.\n");
    const cl_status_t result =
        cl_thread_init(&terminator_thread, acl_rm_terminator, nullptr, "aclRm");
    LOG_LINE(core_log, notice, "Creating Terminator thread done.\n");
    if (result != CL_STATUS_SUCCESS)
        LOG_LINE(core_log, error, "cl_thread_init (terminator) error: %u.\n", result);
}

zv_acl_rm_status_t __catch_signals() {
    struct sigaction action = {};
    action.sa_handler = __signal_handler;
    sigemptyset(&action.sa_mask);
    for (const int signal_number : stop_signals) {
        const zv_acl_rm_status_t status = set_action(signal_number, action);
        if (status != ZV_ACL_RM_STATUS_SUCCESS)
            return status;
    }
    const zv_acl_rm_status_t status = set_action(SIGUSR1, action);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    action.sa_handler = SIG_IGN;
    return set_action(SIGPIPE, action);
}

#if defined(__SANITIZE_THREAD__)
#define ACL_RM_THREAD_SANITIZER
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ACL_RM_THREAD_SANITIZER
#endif
#endif

#ifdef ACL_RM_THREAD_SANITIZER
// The hand-off of terminator_mutex between threads is reported as a bad unlock; it is meant.
extern "C" ACL_RM_EXPORTED const char *__tsan_default_suppressions();
extern "C" ACL_RM_EXPORTED const char *__tsan_default_suppressions() {
    return "mutex:__signal_handler\n";
}
#endif
