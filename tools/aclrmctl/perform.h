/* Carrying out a request: through the daemon's socket, or the simulated switch's control socket. */
#ifndef ACLRMCTL_PERFORM_H
#define ACLRMCTL_PERFORM_H

#include <functional>

#include "answer.h"
#include "request.h"

namespace aclrmctl {

/* Called now and then while a long request runs, with rules done and rules in all. */
using Progress = std::function<void(uint32_t done, uint32_t total)>;

/* Never waits longer than the settings' time limit for any one answer, and not at all for a daemon
 * that is not there. Failures come back as a Failure answer. */
Answer perform(const Settings &settings, const Request &request, const Progress &progress);

}  // namespace aclrmctl

#endif
