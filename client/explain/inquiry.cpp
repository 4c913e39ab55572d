#include "client/explain/inquiry.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <string>

#include "client/dump_place.h"
#include "client/explain/dump_file.h"

namespace zv_acl_rm_lib {

namespace {

/* No region has a rule there: a read of it fails before it finds anything. */
constexpr uint32_t kNoOffset = UINT32_MAX;

constexpr uint32_t kReadAndClear = 2;

int64_t now_ms() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

Known known(bool is_so) {
    return is_so ? Known::yes : Known::no;
}

}  // namespace

/* The client's time limit, which holds for each call, is lent to the whole inquiry. */
Inquiry::Inquiry(zv_acl_rm_client_t *client)
    : client_(client),
      timeout_ms_(client->timeout_ms),
      end_ms_(now_ms() + std::max(client->timeout_ms, 0)),
      error_(client->pending_num == 0 ? 0 : EBUSY) {}

Inquiry::~Inquiry() {
    client_->timeout_ms = timeout_ms_;
}

bool Inquiry::ask(uint32_t command, void *record, uint32_t record_len, zv_acl_rm_status_t *status) {
    if (error_ != 0) {
        return false;
    }
    if (timeout_ms_ >= 0) {
        const int64_t left_ms = std::max<int64_t>(end_ms_ - now_ms(), 0);
        if (left_ms == 0 && timeout_ms_ > 0) {
            error_ = ETIMEDOUT;
            return false;
        }
        client_->timeout_ms = static_cast<int>(left_ms);
    }
    error_ = perform(client_, command, record, record_len, status);
    return error_ == 0;
}

const CacheText &Inquiry::cache() {
    if (!has_dumped_) {
        has_dumped_ = true;
        take_dump();
    }
    return cache_;
}

/* A daemon that cannot write the file would put the text into its log, which helps nobody. */
void Inquiry::take_dump() {
    DumpFile file;
    if (error_ != 0 || !peer_can_write(zv_rpc_client_fd(client_->rpc)) || !file.create()) {
        return;
    }
    zv_acl_rm_dump_params_t record{0, reinterpret_cast<uintptr_t>(file.path())};
    zv_acl_rm_status_t status = 0;
    if (ask(ZV_ACL_RM_API_INT_CMD_DUMP, &record, sizeof(record), &status) && status == 0) {
        cache_ = read_cache_text(file.read());
    }
}

/* Reads from one offset on; the record's offsets after the first are past every region. */
bool Inquiry::read_rules(uint32_t acl_id, uint32_t offset, uint32_t rules_num,
                         zv_acl_rm_status_t *status, uint32_t activity_request) {
    read_.acl_id = acl_id;
    read_.rules_num = rules_num;
    for (acl_rm_rule &rule : read_.rules) {
        rule.offset = kNoOffset;
        rule.readout.activity_request = 0;
    }
    read_.rules[0].offset = offset;
    read_.rules[0].readout.activity_request = activity_request;
    return ask(ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET, &read_, sizeof(read_), status);
}

/* A read of no rules does nothing but look whether the daemon is open and knows the ACL. */
Known Inquiry::is_initialized(uint32_t acl_id) {
    if (!cache().acls.empty()) {
        return Known::yes;
    }
    zv_acl_rm_status_t status = 0;
    if (!read_rules(acl_id, 0, 0, &status)) {
        return Known::unknown;
    }
    return known(status != ZV_ACL_RM_STATUS_ERROR);
}

Known Inquiry::has_acl(uint32_t acl_id) {
    if (find_acl(cache(), acl_id) != nullptr) {
        return Known::yes;
    }
    if (has_all(cache(), "acls")) {
        return Known::no;
    }
    zv_acl_rm_status_t status = 0;
    if (!read_rules(acl_id, 0, 0, &status)) {
        return Known::unknown;
    }
    switch (status) {
        case ZV_ACL_RM_STATUS_SUCCESS:
            return Known::yes;
        case ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND:
            return Known::no;
        default:
            return Known::unknown;
    }
}

Known Inquiry::has_rule(uint32_t acl_id, uint32_t offset) {
    if (find_rule(cache(), acl_id, offset) != nullptr) {
        return Known::yes;
    }
    if (has_all(cache(), "rules")) {
        return Known::no;
    }
    zv_acl_rm_status_t status = 0;
    if (!read_rules(acl_id, offset, 1, &status)) {
        return Known::unknown;
    }
    return known(status == ZV_ACL_RM_STATUS_SUCCESS);
}

Known Inquiry::has_mc_group(uint32_t mc_group_id) {
    if (find_mc_group(cache(), mc_group_id) != nullptr) {
        return Known::yes;
    }
    return has_all(cache(), "mc") ? Known::no : Known::unknown;
}

Known Inquiry::has_counter(uint32_t counter_id) {
    zv_acl_rm_counter_get_params_t record = {};
    record.cmd = ZV_ACL_RM_ACCESS_CMD_READ;
    record.counter_id = counter_id;
    zv_acl_rm_status_t status = 0;
    if (!ask(ZV_ACL_RM_API_INT_CMD_COUNTER_GET, &record, sizeof(record), &status)) {
        return Known::unknown;
    }
    return known(status != ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
}

/* The count is looked at before the ACL, so that any ACL does. */
Known Inquiry::takes_rules(uint32_t rules_num) {
    zv_acl_rm_status_t status = 0;
    if (!read_rules(0, kNoOffset, std::min(rules_num, ZV_ACL_RM_RULES_PER_RECORD), &status)) {
        return Known::unknown;
    }
    return known(status != ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
}

/* The owner is asked for first; then the read fails past the region's end, before any activity. Any
 * ACL will do. */
Known Inquiry::has_owner(uint32_t acl_id) {
    if (takes_rules(1) != Known::yes) {
        return Known::unknown;
    }
    const uint32_t asked = cache().acls.empty() ? acl_id : cache().acls.front().acl_id;
    zv_acl_rm_status_t status = 0;
    if (has_acl(asked) != Known::yes || !read_rules(asked, kNoOffset, 1, &status, kReadAndClear)) {
        return Known::unknown;
    }
    return known(status != ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
}

Known Inquiry::is_same_rule(uint32_t acl_id, uint32_t offset, const acl_rm_rule &rule) {
    zv_acl_rm_status_t status = 0;
    if (!read_rules(acl_id, offset, 1, &status) || status != ZV_ACL_RM_STATUS_SUCCESS) {
        return Known::unknown;
    }
    const acl_rm_rule &there = read_.rules[0];
    return known(std::memcmp(&there.key, &rule.key, sizeof(rule.key)) == 0 &&
                 std::memcmp(&there.mask, &rule.mask, sizeof(rule.mask)) == 0);
}

Known Inquiry::is_gone_from_switch(uint32_t acl_id, uint32_t offset) {
    zv_acl_rm_status_t status = 0;
    if (!read_rules(acl_id, offset, 1, &status) || status != ZV_ACL_RM_STATUS_SUCCESS) {
        return Known::unknown;
    }
    return known(read_.rules[0].valid == 0);
}

/* An offset inside has a rule or has none; past the end the switch refuses the read. */
Known Inquiry::is_past_region(uint32_t acl_id, uint32_t offset) {
    zv_acl_rm_status_t status = 0;
    if (!read_rules(acl_id, offset, 1, &status)) {
        return Known::unknown;
    }
    return known(status == ZV_ACL_RM_STATUS_ERROR);
}

std::optional<uint32_t> Inquiry::find_region_size(uint32_t acl_id, uint32_t past_offset) {
    uint32_t inside = 0;
    uint32_t past = past_offset;
    if (past == 0 || is_past_region(acl_id, 0) != Known::no) {
        return std::nullopt;
    }
    while (past - inside > 1) {
        const uint32_t middle = inside + (past - inside) / 2;
        switch (is_past_region(acl_id, middle)) {
            case Known::yes:
                past = middle;
                break;
            case Known::no:
                inside = middle;
                break;
            case Known::unknown:
                return std::nullopt;
        }
    }
    return past;
}

}  // namespace zv_acl_rm_lib
