/* fault_gate.h - inside the preloaded library: whether this call is one of those to fail. */
#ifndef ZV_TESTS_FIRE_EXHAUSTION_FAULT_GATE_H
#define ZV_TESTS_FIRE_EXHAUSTION_FAULT_GATE_H

#include <stdbool.h>

#include "tests/fire/exhaustion/fault_page.h"

#define EXPORTED __attribute__((visibility("default")))

/* Null until the environment is there, and in a process that has no page. Allocates nothing. */
struct fire_page *fire_page(void);

bool fire_on_main_thread(void);

/* Counts the call; whether it fails. */
bool fire_hits(struct fire_fault *fault);

/* The same for a call of the C library from `caller`; null when it does not fail. */
const struct fire_fault *fire_call_fails(enum fire_call call, const void *caller);

#endif
