#include "daemon/lifecycle.h"

#include <unistd.h>

#include <atomic>

namespace {

enum class Phase : int { starting, serving, tearing_down };

std::atomic<Phase> phase{Phase::starting};

[[noreturn]] void wait_for_process_end() {
    for (;;)
        pause();
}

}  // namespace

void announce_serving() {
    phase.store(Phase::serving);
    phase.notify_all();
}

void begin_teardown_by_main() {
    if (phase.exchange(Phase::tearing_down) == Phase::tearing_down)
        wait_for_process_end();
    phase.notify_all();
}

void begin_teardown_by_terminator() {
    phase.wait(Phase::starting);
    Phase expected = Phase::serving;
    if (!phase.compare_exchange_strong(expected, Phase::tearing_down))
        wait_for_process_end();
}
