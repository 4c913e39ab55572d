#include "zv_net.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/sim/call.h"
#include "platform/sim/config.h"
#include "platform/sim/json.h"

namespace {

constexpr uint32_t kSuccess = 0;
constexpr uint32_t kInternalError = 1;
constexpr uint32_t kNullParameter = 3;

zv_net_port_t to_record(const zv_sim::Port &port) {
    zv_net_port_t record{};
    record.log_port = port.log_port;
    record.kind = port.kind;
    // The configuration admits no longer name, so the NUL at the end stays.
    std::memcpy(record.name, port.name.data(), std::min(port.name.size(), sizeof(record.name) - 1));
    return record;
}

// Fills `ports` and *count; `reported` receives what was filled, for the trace.
uint32_t ports_get_all(zv_net_port_t *ports, uint32_t *count, std::vector<zv_sim::Port> *reported) {
    if (count == nullptr) {
        return kNullParameter;
    }
    std::vector<zv_sim::Port> all = zv_sim::ports();
    if (ports == nullptr) {
        *count = static_cast<uint32_t>(all.size());
        return kSuccess;
    }
    all.resize(std::min<size_t>(*count, all.size()));
    std::transform(all.begin(), all.end(), ports, to_record);
    *count = static_cast<uint32_t>(all.size());
    *reported = std::move(all);
    return kSuccess;
}

zv_sim::OrderedJson number_at(const uint32_t *number) {
    return number == nullptr ? zv_sim::OrderedJson() : zv_sim::OrderedJson(*number);
}

}  // namespace

uint32_t zv_net_init(zv_log_cb_t /*sink*/, uint32_t verbosity, uint32_t flags) {
    zv_sim::Call call("zv_net_init");
    call.args([&](auto &args) {
        args = zv_sim::object_of({{"verbosity", verbosity}, {"flags", flags}});
    });
    return call.finish(kSuccess);
}

uint32_t zv_net_deinit(void) {
    zv_sim::Call call("zv_net_deinit");
    return call.finish(kSuccess);
}

uint32_t zv_net_ports_get_all(uint32_t selector, zv_net_port_t *ports, uint32_t *count) {
    zv_sim::Call call("zv_net_ports_get_all");
    call.args([&](auto &args) {
        args = zv_sim::object_of(
            {{"selector", selector}, {"buffer", ports != nullptr}, {"count", number_at(count)}});
    });
    std::vector<zv_sim::Port> reported;
    uint32_t status = kSuccess;
    if (!call.fails_early()) {
        try {
            status = ports_get_all(ports, count, &reported);
        } catch (...) {
            // No memory for the copy of the list; exceptions must not reach a C caller.
            status = kInternalError;
        }
    }
    call.out([&](auto &out) {
        out["count"] = number_at(count);
        if (ports != nullptr) {
            out["ports"] = zv_sim::ports_json(reported);
        }
    });
    return call.finish(status);
}
