// The texts of the simulated switch's environment: ZV_SIM_CONFIG's file and ZV_SIM_FAULTS.
//
// Input: one byte (odd: a configuration, even: a list of faults), then the text. Whatever it is, it
// is taken as a whole or refused as a whole with a complaint that names its place.
#include <algorithm>

#include "fuzz/support/fuzz.h"
#include "platform/sim/call.h"
#include "platform/sim/config.h"
#include "platform/sim/faults.h"
#include "platform/sim/json.h"

namespace {

using zv_fuzz::fail;
using zv_sim::Json;

// The complaint names the field in the text's own bytes, so only its own words are one line.
void check_complaint(const std::string &complaint) {
    if (complaint.find(": ") == std::string::npos) {
        fail("a complaint without a place: %s", complaint.c_str());
    }
}

bool same(const std::vector<zv_sim::Port> &a, const std::vector<zv_sim::Port> &b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const auto &x, const auto &y) {
        return x.log_port == y.log_port && x.kind == y.kind && x.name == y.name;
    });
}

// What the control socket shows of the ports is what it would take.
void check_ports(const std::vector<zv_sim::Port> &ports) {
    std::vector<zv_sim::Port> again;
    const std::string complaint =
        zv_sim::ports_parse(Json(zv_sim::ports_json(ports)), "ports", &again);
    if (!complaint.empty() || !same(again, ports)) {
        fail("ports written down are not read: %s", complaint.c_str());
    }
    for (const zv_sim::Port &port : ports) {
        if (port.name.size() > 23) {
            fail("a port's name has %zu bytes", port.name.size());
        }
    }
}

void try_config(const Json &object) {
    zv_sim::Config config;
    config.acls = 4711;
    const std::string complaint = zv_sim::config_parse(object, &config);
    if (complaint.empty()) {
        check_ports(config.ports);
        return;
    }
    check_complaint(complaint);
    if (config.acls != 4711 || !config.ports.empty()) {
        fail("half a configuration was taken: %s", complaint.c_str());
    }
}

// Faults that were taken must also be countable: calls go on until a few have hit.
void try_faults(const Json &list) {
    std::vector<zv_sim::Fault> faults;
    const std::string complaint = zv_sim::faults_parse(list, "", &faults);
    if (!complaint.empty()) {
        check_complaint(complaint);
        if (!faults.empty()) {
            fail("half a list was taken: %s", complaint.c_str());
        }
        return;
    }
    zv_sim::faults_arm(faults);
    for (const char *name : {"zv_api_open", "cl_malloc", "zv_api_acl_set", "zv_net_init"}) {
        for (int i = 0; i < 4; i++) {
            zv_sim::Call call(name);
            call.finish(0);
        }
    }
    zv_sim::faults_arm({});
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    zv_fuzz::Input input(data, size);
    const bool is_config = (input.u8() & 1) != 0;
    const Json value = Json::parse(input.text(), nullptr, false);
    if (value.is_discarded()) {
        return 0;
    }
    if (is_config) {
        try_config(value);
    } else {
        try_faults(value);
    }
    return 0;
}
