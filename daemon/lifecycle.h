// Who may tear the daemon down, and when.
//
// Two threads can want to: main, when start-up fails or the RPC loop gives up, and the terminator,
// after a stop signal, which may arrive at any moment of start-up. The tear-down must happen once,
// never beside start-up and never beside a handler. Start-up therefore ends by announcing that the
// daemon serves, the terminator waits for that, and whoever comes second waits for the process to
// end. (That no handler runs any more is acl_rm_rpc_deinit's promise.)
#pragma once

// Main: start-up is complete.
void announce_serving();

// Main: starts the tear-down of a start-up that failed, or of a loop that ended. Does not return
// when the terminator has started it.
void begin_teardown_by_main();

// Terminator: waits for start-up to end, then starts the tear-down. Does not return when main has
// started it.
void begin_teardown_by_terminator();
