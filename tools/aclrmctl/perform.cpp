#include "perform.h"

#include "daemon_link.h"
#include "demo.h"
#include "names.h"
#include "perform_parts.h"
#include "rule_load.h"
#include "switch_control.h"

namespace aclrmctl {

namespace {

Answer perform_open(const Settings &settings, const OpenRequest &request) {
    Client client;
    if (auto failure = connect_daemon(settings, &client)) {
        return *failure;
    }
    zv_acl_rm_status_t status = 0;
    const int error = zv_acl_rm_api_open(client.get(), request.owner, &status);
    const std::string what =
        "opening as " +
        (settings.numeric ? "owner " + std::to_string(request.owner) : owner_name(request.owner));
    if (auto failure = call_failure(settings, what, error, status)) {
        if (failure->status) {
            zv_acl_rm_open_params_t params{};
            params.owner = request.owner;
            add_why(client.get(), command_of(&params), &params, sizeof(params), &*failure);
        }
        return *failure;
    }
    return OpenAnswer{request.owner, settings.handle};
}

Answer perform_init(const Settings &settings, const InitRequest &request) {
    Client client;
    if (auto failure = connect_daemon(settings, &client)) {
        return *failure;
    }
    zv_acl_rm_status_t status = 0;
    const int error = zv_acl_rm_api_init(client.get(), request.chip, &status);
    const std::string what = "loading the limits of chip type " + std::to_string(request.chip);
    if (auto failure = call_failure(settings, what, error, status)) {
        if (failure->status) {
            zv_acl_rm_init_params_t params{};
            params.chip_type = request.chip;
            add_why(client.get(), command_of(&params), &params, sizeof(params), &*failure);
        }
        return *failure;
    }
    return InitAnswer{request.chip};
}

/* One slot a command: the compiler misses any that is not there. */
struct Performer {
    const Settings &settings;
    const Progress &progress;

    Answer operator()(const OpenRequest &request) const { return perform_open(settings, request); }
    Answer operator()(const InitRequest &request) const { return perform_init(settings, request); }
    Answer operator()(const AclCreateRequest &request) const {
        return perform_acl_create(settings, request);
    }
    Answer operator()(const AclDestroyRequest &request) const {
        return perform_acl_destroy(settings, request);
    }
    Answer operator()(const AclEditRequest &request) const {
        return perform_acl_edit(settings, request);
    }
    Answer operator()(const AclResizeRequest &request) const {
        return perform_acl_resize(settings, request);
    }
    Answer operator()(const RuleCheckRequest &request) const { return perform_rule_check(request); }
    Answer operator()(const RuleLoadRequest &request) const {
        return load_rules(settings, request, progress);
    }
    Answer operator()(const RuleAddRequest &request) const {
        return perform_rule_add(settings, request);
    }
    Answer operator()(const RuleDeleteRequest &request) const {
        return perform_rule_delete(settings, request);
    }
    Answer operator()(const RuleGetRequest &request) const {
        return perform_rule_get(settings, request);
    }
    Answer operator()(const RuleMoveRequest &request) const {
        return perform_rule_move(settings, request);
    }
    Answer operator()(const BindRequest &request) const { return perform_bind(settings, request); }
    Answer operator()(const PortSetRequest &request) const {
        return perform_port_set(settings, request);
    }
    Answer operator()(const CounterCreateRequest &request) const {
        return perform_counter_create(settings, request);
    }
    Answer operator()(const CounterDestroyRequest &request) const {
        return perform_counter_destroy(settings, request);
    }
    Answer operator()(const CounterReadRequest &request) const {
        return perform_counter_read(settings, request);
    }
    Answer operator()(const CounterClearRequest &request) const {
        return perform_counter_clear(settings, request);
    }
    Answer operator()(const McCreateRequest &request) const {
        return perform_mc_create(settings, request);
    }
    Answer operator()(const McPortsRequest &request) const {
        return perform_mc_ports(settings, request);
    }
    Answer operator()(const McDeleteRequest &request) const {
        return perform_mc_delete(settings, request);
    }
    Answer operator()(const McGetRequest &request) const {
        return perform_mc_get(settings, request);
    }
    Answer operator()(const DumpRequest &request) const { return perform_dump(settings, request); }
    Answer operator()(const ShowRequest &request) const { return perform_show(settings, request); }
    Answer operator()(const PacketRequest &request) const { return send_packet(settings, request); }
    Answer operator()(const PcapRequest &request) const { return send_capture(settings, request); }
    Answer operator()(const PortsRequest &request) const {
        return request.set.empty() ? read_ports(settings) : set_ports(settings, request);
    }
    Answer operator()(const StateRequest &request) const { return read_state(settings, request); }
    Answer operator()(const UsageRequest &) const { return read_usage(settings); }
    Answer operator()(const FaultsRequest &request) const { return set_faults(settings, request); }
    Answer operator()(const DemoRequest &request) const {
        return run_demo(settings, request, nullptr);
    }
};

}  // namespace

Answer perform(const Settings &settings, const Request &request, const Progress &progress) {
    return std::visit(Performer{settings, progress}, request);
}

}  // namespace aclrmctl
