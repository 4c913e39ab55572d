// A client in C++17: a flow counter is made, read and destroyed, on two connections of one handle.
// Prints what it did; ends with 1 where anything went otherwise.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

#include "zv_acl_rm/zv_acl_rm_client.h"

namespace {

constexpr std::uint64_t kHandle = 0xc17;

struct Closer {
    void operator()(zv_acl_rm_client_t *client) const { zv_acl_rm_client_close(client); }
};
using Client = std::unique_ptr<zv_acl_rm_client_t, Closer>;

Client connect() {
    zv_acl_rm_client_t *client = nullptr;
    const int error = zv_acl_rm_client_connect(nullptr, kHandle, &client);
    if (error != 0) {
        std::fprintf(stderr, "connect: %s\n", std::strerror(error));
    }
    return Client(client);
}

bool is_done(const char *what, int error, zv_acl_rm_status_t status) {
    if (error == 0 && status == ZV_ACL_RM_STATUS_SUCCESS) {
        return true;
    }
    std::fprintf(stderr, "%s: %s\n", what,
                 error != 0 ? std::strerror(error) : zv_acl_rm_status_meaning(status));
    return false;
}

bool tell_story(zv_acl_rm_client_t *first, zv_acl_rm_client_t *second) {
    zv_acl_rm_status_t status = 0;
    int error = zv_acl_rm_api_open(first, ZV_ACL_RM_OWNER_PRA, &status);
    if (!is_done("open", error, status)) {
        return false;
    }
    zv_acl_rm_counter_set_params_t counter = {};
    counter.cmd = ZV_ACL_RM_ACCESS_CMD_CREATE;
    counter.counter_type.first = 1;
    error = zv_acl_rm_api_counter_set(first, &counter, &status);
    if (!is_done("create", error, status)) {
        return false;
    }
    zv_acl_rm_counter_get_params_t read = {};
    read.cmd = ZV_ACL_RM_ACCESS_CMD_READ;
    read.counter_id = counter.counter_id;
    error = zv_acl_rm_api_counter_get(second, &read, &status);
    if (!is_done("read", error, status)) {
        return false;
    }
    counter.cmd = ZV_ACL_RM_ACCESS_CMD_DESTROY;
    error = zv_acl_rm_api_counter_set(second, &counter, &status);
    if (!is_done("destroy", error, status)) {
        return false;
    }
    error = zv_acl_rm_api_counter_get(first, &read, &status);
    if (error != 0 || status != ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND) {
        return false;
    }
    std::printf("%s\n", zv_acl_rm_status_name(status));
    return true;
}

}  // namespace

int main() {
    const Client first = connect();
    const Client second = connect();
    return first && second && tell_story(first.get(), second.get()) ? 0 : 1;
}
