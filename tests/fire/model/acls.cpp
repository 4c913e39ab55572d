// ACLs: create, destroy, edit, resize.
#include <algorithm>

#include "tests/fire/model/bytes.h"
#include "tests/fire/model/world.h"

namespace zv_model {

using nlohmann::json;

namespace {

// Places in the ACL_SET record.
constexpr size_t kCmdAt = 8, kAclIdAt = 12, kKeyTypeAt = 16, kActionTypeAt = 20, kAclTypeAt = 24,
                 kDirectionAt = 28, kMinSizeAt = 32, kMaxSizeAt = 36, kRegionIdAt = 40;

}  // namespace

const Call &Service::region_call(uint32_t cmd, const Acl &acl, uint32_t size) {
    json args = {{"cmd", cmd},
                 {"key_type", acl.key_type},
                 {"action_type", acl.action_type},
                 {"region_size", size}};
    if (cmd == kCreate) {
        return calls_.take("zv_api_acl_region_set", args, {"region_id"});
    }
    args["region_id"] = acl.region;
    return calls_.take("zv_api_acl_region_set", args);
}

const Call &Service::acl_call(uint32_t cmd, uint32_t acl_type, uint32_t direction, const Acl &acl) {
    json args = {{"cmd", cmd},
                 {"acl_type", acl_type},
                 {"direction", direction},
                 {"group", {{"type", 0}, {"region_id", acl.region}}}};
    if (cmd == kCreate) {
        return calls_.take("zv_api_acl_set", args, {"acl_id"});
    }
    args["acl_id"] = acl.id;
    return calls_.take("zv_api_acl_set", args);
}

void Service::free_flags(Acl &acl) {
    if (acl.has_flags) {
        calls_.take("cl_free", json::object());
    }
    acl.has_flags = false;
    acl.flags.clear();
}

// An ACL that the cache does not take leaves no memory behind.
void Service::insert_acl(Acl acl) {
    if (!world_.acls.insert(acl.id, acl)) {
        free_flags(acl);
        throw Refusal{kError};
    }
}

void Service::acl_set() {
    need_connection();
    const uint32_t cmd = word(kCmdAt);
    if (cmd != 4 && cmd != 5 && cmd != 2) {
        throw Refusal{kUnsupported};
    }
    const uint32_t owner = owner_by_handle(4, kNotFound);
    switch (cmd) {
        case 4:
            return create_acl(owner);
        case 5:
            return destroy_acl();
        default:
            return edit_acl();
    }
}

void Service::create_acl(uint32_t owner) {
    const uint32_t size = word(kMinSizeAt);
    if (word(kMaxSizeAt) != size) {
        throw Refusal{kOutOfRange};
    }
    if (world_.acls_num == world_.acls_b - 1 || world_.acls_num == world_.acls_a - 1) {
        throw Refusal{kNoResources};
    }
    Acl acl{};
    acl.owner = owner;
    acl.acl_type = word(kAclTypeAt);
    acl.direction = word(kDirectionAt);
    acl.key_type = word(kKeyTypeAt);
    acl.action_type = word(kActionTypeAt);
    acl.size = acl.min_size = acl.max_size = acl.flags_len = size;

    const Call &region = region_call(kCreate, acl, size);
    if (region.status != 0) {
        throw Refusal{kError};
    }
    acl.region = region.out.at("region_id");
    const Call &made = acl_call(kCreate, acl.acl_type, acl.direction, acl);
    if (made.status != 0) {
        throw Refusal{kError};
    }
    acl.id = made.out.at("acl_id");
    ++world_.acls_num;
    if (size != 0) {
        if (calls_.take("cl_malloc", {{"size", uint64_t{size} * 4}}).status != 0) {
            throw Refusal{kNull};
        }
        acl.has_flags = true;
        acl.flags.assign(size, 0);
    }
    put(record_, kRegionIdAt, acl.region);
    put(record_, kAclIdAt, acl.id);
    insert_acl(std::move(acl));
}

void Service::destroy_acl() {
    Acl &acl = owned_acl(word(kAclIdAt));
    for (uint32_t offset = 0; offset < acl.flags.size() && offset < acl.flags_len; ++offset) {
        if (acl.flags[offset] == 1) {
            delete_rules(acl.id, {offset}, false);
        }
    }
    free_flags(acl);
    if (!acl.points.empty()) {
        unbind(acl.id, std::vector<BindPoint>(acl.points));
    }
    if (acl_call(kDestroy, word(kAclTypeAt), word(kDirectionAt), acl).status != 0 ||
        region_call(kDestroy, acl, acl.size).status != 0) {
        throw Refusal{kError};
    }
    --world_.acls_num;
    world_.acls.erase(acl.id);
}

void Service::edit_acl() {
    Acl acl = owned_acl(word(kAclIdAt));
    world_.acls.erase(acl.id);
    if (acl_call(kDestroy, acl.acl_type, acl.direction, acl).status != 0) {
        free_flags(acl);
        throw Refusal{kError};
    }
    acl.direction = word(kDirectionAt);
    const Call &made = acl_call(kCreate, acl.acl_type, acl.direction, acl);
    if (made.status != 0) {
        free_flags(acl);
        throw Refusal{kError};
    }
    acl.id = made.out.at("acl_id");
    put(record_, kAclIdAt, acl.id);
    insert_acl(std::move(acl));
}

// The offset is counted in 16 bits: a new size above that begins at its low half, and where there
// are more offsets than that can count it goes round once.
void Service::scan_before_shrinking(const Acl &acl, uint32_t size) const {
    auto offset = static_cast<uint16_t>(size);
    for (uint32_t steps = 0; steps < 65536 && offset < acl.flags_len; ++steps, ++offset) {
        if (offset < acl.flags.size() && acl.flags[offset] != 0) {
            throw Refusal{kOutOfRange};
        }
    }
}

void Service::acl_resize() {
    need_connection();
    Acl &acl = owned_acl(word(8));
    const uint32_t size = word(12);
    if (size < acl.min_size || (acl.max_size != 0 && size > acl.max_size)) {
        throw Refusal{kOutOfRange};
    }
    if (size == acl.size) {
        return;
    }
    if (size < acl.size) {
        scan_before_shrinking(acl, size);
    }
    if (const uint32_t status = region_call(kEdit, acl, size).status; status != 0) {
        throw Refusal{status == kSwitchFull ? kNoHardware : kError};
    }
    acl.size = size;
    const auto bytes = static_cast<uint16_t>(size * 4);
    const bool got_memory = calls_.take("cl_malloc", {{"size", bytes}}).status == 0;
    if (!got_memory && bytes != 0) {
        throw Refusal{kNull};
    }
    std::vector<uint8_t> flags = acl.flags;
    flags.resize(bytes / 4, 0);
    free_flags(acl);
    acl.has_flags = got_memory;
    acl.flags = std::move(flags);
    acl.flags_len = size;
}

}  // namespace zv_model
