/* Flow counters.
 *
 * The switch counts packets in its first value and bytes in its second, whatever the counter's
 * type. The daemon reads one of the two, and crosswise: the client's first value, which the first
 * type flag selects, is the switch's second, and the other way round. So the first flag stands for
 * bytes and the second for packets.
 */
#include "daemon_link.h"
#include "perform_parts.h"

namespace aclrmctl {

namespace {

std::string counter_text(uint32_t counter_id) {
    return "counter " + std::to_string(counter_id);
}

}  // namespace

Answer perform_counter_create(const Settings &settings, const CounterCreateRequest &request) {
    zv_acl_rm_counter_set_params_t params{};
    params.cmd = ZV_ACL_RM_ACCESS_CMD_CREATE;
    params.counter_type.first = request.type == CounterType::kBytes ? 1 : 0;
    params.counter_type.second = request.type == CounterType::kPackets ? 1 : 0;
    if (auto failure =
            call_daemon(settings, "creating a counter", zv_acl_rm_api_counter_set, &params)) {
        return *failure;
    }
    return CounterCreateAnswer{params.counter_id, request.type};
}

Answer perform_counter_destroy(const Settings &settings, const CounterDestroyRequest &request) {
    zv_acl_rm_counter_set_params_t params{};
    params.cmd = ZV_ACL_RM_ACCESS_CMD_DESTROY;
    params.counter_id = request.counter_id;
    if (auto failure = call_daemon(settings, "destroying " + counter_text(request.counter_id),
                                   zv_acl_rm_api_counter_set, &params)) {
        return *failure;
    }
    return CounterDestroyAnswer{request.counter_id};
}

Answer perform_counter_read(const Settings &settings, const CounterReadRequest &request) {
    zv_acl_rm_counter_get_params_t params{};
    params.cmd = ZV_ACL_RM_ACCESS_CMD_READ;
    params.counter_id = request.counter_id;
    if (auto failure = call_daemon(settings, "reading " + counter_text(request.counter_id),
                                   zv_acl_rm_api_counter_get, &params)) {
        return *failure;
    }
    const bool bytes = params.counter_type.first != 0;
    return CounterReadAnswer{request.counter_id,
                             bytes ? CounterType::kBytes : CounterType::kPackets,
                             params.values[bytes ? 0 : 1]};
}

Answer perform_counter_clear(const Settings &settings, const CounterClearRequest &request) {
    zv_acl_rm_counter_get_params_t params{};
    params.cmd = ZV_ACL_RM_ACCESS_CMD_CLEAR;
    params.counter_id = request.counter_id;
    if (auto failure = call_daemon(settings, "clearing " + counter_text(request.counter_id),
                                   zv_acl_rm_api_counter_get, &params)) {
        return *failure;
    }
    return CounterClearAnswer{request.counter_id};
}

}  // namespace aclrmctl
