/* A load that is stopped by hand, or because its terminal has gone. */
#ifndef ACLRMCTL_RULE_INTERRUPT_H
#define ACLRMCTL_RULE_INTERRUPT_H

#include <csignal>

namespace aclrmctl {

/* While it lives the first SIGINT, SIGTERM or SIGHUP is noted instead of ending the program; a
 * second one of the same kind ends it. What was ignored before stays so. A handler of before gets
 * the signal when the watch ends. One at a time. */
class InterruptWatch {
  public:
    InterruptWatch();
    ~InterruptWatch();
    InterruptWatch(const InterruptWatch &) = delete;
    InterruptWatch &operator=(const InterruptWatch &) = delete;

    /* The name of the signal that came, null for none. */
    static const char *caught();

  private:
    static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
    struct sigaction before_[3];
};

}  // namespace aclrmctl

#endif
