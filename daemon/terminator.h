// Stop signals and the thread that tears the daemon down.
//
// The signal handler does no work itself: it unlocks a mutex that main has locked at start-up, and
// the terminator thread, which waits for that mutex, tears everything down and ends the process.
#pragma once

#include "zv_acl_rm/zv_acl_rm_status.h"

// Locks the mutex and starts the terminator thread "aclRm". A thread that cannot be started is only
// logged: the daemon then runs on, without a way to stop on a signal.
void acl_rm_terminator_init();

// Arms SIGINT, SIGTERM, SIGABRT, SIGHUP and SIGUSR1, and ignores SIGPIPE. SUCCESS, or ERROR at the
// first signal that cannot be set, with those before it left set.
zv_acl_rm_status_t __catch_signals();
