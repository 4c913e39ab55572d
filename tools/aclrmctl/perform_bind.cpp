/* Binding and unbinding, and the ports that come and go. */
#include <algorithm>

#include "daemon_link.h"
#include "perform_parts.h"

namespace aclrmctl {

namespace {

/* One piece of the list under way: the request and where the piece lies in it. */
struct Piece {
    const BindRequest &request;
    size_t first;
    size_t count;
};

template <typename Params, typename Function, typename Number>
std::optional<Failure> send_piece(const Settings &settings, zv_acl_rm_client_t *client,
                                  const std::string &what, const Piece &piece, Function *function,
                                  Number (Params::*numbers)[ZV_ACL_RM_PORTS_PER_RECORD],
                                  uint32_t Params::*numbers_num) {
    Params params{};
    params.cmd = piece.request.bind ? ZV_ACL_RM_ACCESS_CMD_BIND : ZV_ACL_RM_ACCESS_CMD_UNBIND;
    params.acl_id = piece.request.acl_id;
    params.*numbers_num = static_cast<uint32_t>(piece.count);
    const auto start = piece.request.numbers.begin() + static_cast<ptrdiff_t>(piece.first);
    std::transform(start, start + static_cast<ptrdiff_t>(piece.count), params.*numbers,
                   [](uint32_t number) { return static_cast<Number>(number); });
    return call_daemon(settings, client, what, function, &params);
}

bool refused_before_work(const Failure &failure) {
    return *failure.status == ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE ||
           (failure.why_certain && failure.why.front().rfind("there is no ACL ", 0) == 0);
}

/* The daemon goes on from one number to the next and takes none back; the ACL and the client it
 * looks at before the first. */
void tell_of_partial_work(std::optional<Failure> *failure, const char *noun, const char *done,
                          const Piece &piece) {
    if (*failure && (*failure)->status && piece.count > 1 && !refused_before_work(**failure)) {
        (*failure)->details.push_back(std::string("those of these ") + noun +
                                      "s before the failing one may be " + done);
        mark_uncertain(&**failure, done, piece.request.numbers, piece.first + piece.count);
    }
}

Answer perform_bind_list(const Settings &settings, const BindRequest &request) {
    Client client;
    if (auto failure = connect_daemon(settings, &client)) {
        return *failure;
    }
    const bool ports = request.point == BindPoint::kPort;
    const char *noun = ports ? "port" : "router interface";
    const char *done = request.bind ? "bound" : "unbound";
    const std::string verb = (request.bind ? "binding ACL " : "unbinding ACL ") +
                             std::to_string(request.acl_id) + (request.bind ? " to " : " from ");
    const auto send = [&](size_t first, size_t count) {
        const std::string what = verb + piece_text(noun, request.numbers, first, count);
        const Piece piece{request, first, count};
        auto failure =
            ports ? send_piece(settings, client.get(), what, piece, zv_acl_rm_api_acl_port_bind,
                               &zv_acl_rm_acl_port_bind_params_t::log_ports,
                               &zv_acl_rm_acl_port_bind_params_t::ports_num)
                  : send_piece(settings, client.get(), what, piece, zv_acl_rm_api_acl_rif_bind,
                               &zv_acl_rm_acl_rif_bind_params_t::rifs,
                               &zv_acl_rm_acl_rif_bind_params_t::rifs_num);
        tell_of_partial_work(&failure, noun, done, piece);
        return failure;
    };
    if (auto failure =
            send_in_pieces(request.numbers, ZV_ACL_RM_PORTS_PER_RECORD, done, noun, send)) {
        return *failure;
    }
    return BindAnswer{request};
}

Answer perform_bind_system(const Settings &settings, const BindRequest &request) {
    zv_acl_rm_acl_system_bind_params_t params{};
    params.cmd = request.bind ? ZV_ACL_RM_ACCESS_CMD_BIND : ZV_ACL_RM_ACCESS_CMD_UNBIND;
    params.acl_id = request.acl_id;
    const std::string id = std::to_string(request.acl_id);
    if (auto failure = call_daemon(settings,
                                   request.bind ? "binding ACL " + id + " to the system"
                                                : "unbinding ACL " + id + " from the system",
                                   zv_acl_rm_api_system_bind_set, &params)) {
        return *failure;
    }
    return BindAnswer{request};
}

}  // namespace

Answer perform_bind(const Settings &settings, const BindRequest &request) {
    return request.point == BindPoint::kSystem ? perform_bind_system(settings, request)
                                               : perform_bind_list(settings, request);
}

Answer perform_port_set(const Settings &settings, const PortSetRequest &request) {
    Client client;
    if (auto failure = connect_daemon(settings, &client)) {
        return *failure;
    }
    const char *done = request.add ? "added" : "deleted";
    const auto send = [&](size_t first, size_t count) {
        zv_acl_rm_port_set_params_t params{};
        params.cmd =
            request.add ? ZV_ACL_RM_ACCESS_CMD_ADD_PORTS : ZV_ACL_RM_ACCESS_CMD_DELETE_PORTS;
        params.ports_num = static_cast<uint32_t>(count);
        std::copy_n(request.ports.begin() + static_cast<ptrdiff_t>(first), count, params.log_ports);
        auto failure = call_daemon(settings, client.get(),
                                   (request.add ? "adding " : "deleting ") +
                                       piece_text("port", request.ports, first, count),
                                   zv_acl_rm_api_port_set, &params);
        if (failure && failure->status) {
            failure->details.emplace_back("some of the ACLs bound to the system may have followed");
            mark_uncertain(&*failure, done, request.ports, first + count);
        }
        return failure;
    };
    if (auto failure =
            send_in_pieces(request.ports, ZV_ACL_RM_PORTS_PER_RECORD, done, "port", send)) {
        return *failure;
    }
    return PortSetAnswer{request};
}

}  // namespace aclrmctl
