#include "rule_interrupt.h"

#include <cstddef>
#include <iterator>

namespace aclrmctl {

namespace {

volatile std::sig_atomic_t g_caught = 0;

void note(int number) {
    g_caught = number;
}

}  // namespace

InterruptWatch::InterruptWatch() {
    g_caught = 0;
    struct sigaction noting {};
    noting.sa_handler = note;
    /* Who presses the key again does not want to wait for the report. */
    noting.sa_flags = static_cast<int>(SA_RESETHAND);
    for (size_t i = 0; i < std::size(kSignals); i++) {
        sigaction(kSignals[i], nullptr, &before_[i]);
        if (before_[i].sa_handler != SIG_IGN) {
            sigaction(kSignals[i], &noting, nullptr);
        }
    }
}

/* Whoever noted signals before is told of the one that came meanwhile. */
InterruptWatch::~InterruptWatch() {
    for (size_t i = 0; i < std::size(kSignals); i++) {
        sigaction(kSignals[i], &before_[i], nullptr);
        if (g_caught == kSignals[i] && before_[i].sa_handler != SIG_DFL) {
            std::raise(g_caught);
        }
    }
}

const char *InterruptWatch::caught() {
    switch (g_caught) {
        case SIGINT:
            return "SIGINT";
        case SIGTERM:
            return "SIGTERM";
        case SIGHUP:
            return "SIGHUP";
        default:
            return nullptr;
    }
}

}  // namespace aclrmctl
