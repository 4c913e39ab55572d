/* The tool's connection to the daemon, and the words for everything that can go wrong with it. */
#ifndef ACLRMCTL_DAEMON_LINK_H
#define ACLRMCTL_DAEMON_LINK_H

#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

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

/* One command over an open connection: a function of the client library and its record. */
template <typename Function, typename Params>
std::optional<Failure> call_daemon(const Settings &settings, zv_acl_rm_client_t *client,
                                   const std::string &what, Function *function, Params *params) {
    zv_acl_rm_status_t status = 0;
    const int error = function(client, params, &status);
    return call_failure(settings, what, error, status);
}

/* The same over a connection of its own. */
template <typename Function, typename Params>
std::optional<Failure> call_daemon(const Settings &settings, const std::string &what,
                                   Function *function, Params *params) {
    Client client;
    if (auto failure = connect_daemon(settings, &client)) {
        return failure;
    }
    return call_daemon(settings, client.get(), what, function, params);
}

/* Gives a failure with one of these statuses another hint than the general one. */
void replace_hint(std::optional<Failure> *failure,
                  std::initializer_list<zv_acl_rm_status_t> statuses, const std::string &hint);

/* A list cut into pieces that fit into one record. `send` sends one piece, given as the index of
 * its first number and their count. After a piece that fails none is sent, and the failure tells
 * which numbers were done before: "`done` before that: 100 `noun`s (1-100)". */
using SendPiece = std::function<std::optional<Failure>(size_t first, size_t count)>;
std::optional<Failure> send_in_pieces(const std::vector<uint32_t> &numbers, size_t piece_size,
                                      const std::string &done, const std::string &noun,
                                      const SendPiece &send);

/* "port 5", "ports 5-7 and 2 more": a piece in the words for a failure. */
std::string piece_text(const std::string &noun, const std::vector<uint32_t> &numbers, size_t first,
                       size_t count);

}  // namespace aclrmctl

#endif
