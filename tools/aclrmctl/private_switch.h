/* A daemon on a simulated switch of its own, under a directory of its own. */
#ifndef ACLRMCTL_PRIVATE_SWITCH_H
#define ACLRMCTL_PRIVATE_SWITCH_H

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>

#include "answer.h"

namespace aclrmctl {

class PrivateSwitch {
  public:
    PrivateSwitch() = default;
    /* Stops the daemon and removes the directory. */
    ~PrivateSwitch();
    PrivateSwitch(const PrivateSwitch &) = delete;
    PrivateSwitch &operator=(const PrivateSwitch &) = delete;

    /* Starts `program` ("": the zv_acl_rm beside this tool, in the neighbouring sbin or in PATH)
     * and waits until it listens, 10 s at most, or until `gave_up` says so. */
    std::optional<Failure> start(const std::string &program, const std::function<bool()> &gave_up);

    /* SIGTERM, and SIGKILL where that does not end it. The exit status, -1 where a signal did it.
     */
    int stop();

    pid_t pid() const { return pid_; }
    const std::string &root() const { return root_; }

  private:
    bool wait_for_end(int timeout_ms, int *status);
    Failure start_failure(const std::string &what) const;

    std::string root_;
    pid_t pid_ = -1;
};

}  // namespace aclrmctl

#endif
