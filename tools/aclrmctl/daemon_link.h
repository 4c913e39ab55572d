/* The tool's connection to the daemon, and the words for everything that can go wrong with it. */
#ifndef ACLRMCTL_DAEMON_LINK_H
#define ACLRMCTL_DAEMON_LINK_H

#include <memory>
#include <optional>
#include <string>

#include "answer.h"
#include "request.h"
#include "zv_acl_rm/zv_acl_rm_client.h"

namespace aclrmctl {

struct ClientCloser {
    void operator()(zv_acl_rm_client_t *client) const { zv_acl_rm_client_close(client); }
};
using Client = std::unique_ptr<zv_acl_rm_client_t, ClientCloser>;

/* Connects at once or not at all. */
std::optional<Failure> connect_daemon(const Settings &settings, Client *client);

/* A path as it is opened: with ZV_PLATFORM_ROOT before it. */
std::string rooted_path(const std::string &path);

/* The failure of a call of the client library: `error` as it returned, or a status that is not
 * success. `what` names the command and its input ("creating an ACL of 512 rules"). Nothing is
 * returned where the call succeeded. */
std::optional<Failure> call_failure(const Settings &settings, const std::string &what, int error,
                                    zv_acl_rm_status_t status);

}  // namespace aclrmctl

#endif
