/* inquiry.h - what can be asked of the daemon without another owner's rights, within a time limit.
 *
 * The dump is asked for once. A rule may be read more than once, for what several checks want to
 * know of it. Nothing is asked any more once an answer stayed out: from then on everything is
 * unknown. No question changes anything.
 */
#ifndef ZV_ACL_RM_EXPLAIN_INQUIRY_H
#define ZV_ACL_RM_EXPLAIN_INQUIRY_H

#include <cstdint>
#include <optional>

#include "client/cache_text.h"
#include "client/client_object.h"

namespace zv_acl_rm_lib {

using namespace zv_cache_text;

enum class Known { no, yes, unknown };

class Inquiry {
  public:
    explicit Inquiry(zv_acl_rm_client_t *client);
    ~Inquiry();
    Inquiry(const Inquiry &) = delete;
    Inquiry &operator=(const Inquiry &) = delete;

    /* The first answer that stayed out, as the interface's functions return it; else 0. */
    int error() const { return error_; }

    /* The daemon's cache, as far as it shows it; one that has reached nothing where it does not. */
    const CacheText &cache();

    Known is_initialized(uint32_t acl_id);
    Known has_acl(uint32_t acl_id);
    Known has_rule(uint32_t acl_id, uint32_t offset);
    Known has_mc_group(uint32_t mc_group_id);
    Known has_counter(uint32_t counter_id);
    /* Whether the daemon takes a command of that many rules (at most 20). */
    Known takes_rules(uint32_t rules_num);
    /* Whether the client is some owner's, asked with a read that would clear a rule's activity,
     * were there a rule where it reads; unknown where there is no ACL to read. */
    Known has_owner(uint32_t acl_id);
    /* Whether the rule at an offset has that key and that mask. */
    Known is_same_rule(uint32_t acl_id, uint32_t offset, const acl_rm_rule &rule);
    /* Whether the daemon has a record of a rule at an offset where the switch has none. */
    Known is_gone_from_switch(uint32_t acl_id, uint32_t offset);
    /* Whether an offset lies past the end of an ACL's region, and where that end is: the number of
     * rules it has room for. Only where at least one offset can be read, as the refusal of a switch
     * that refuses everything looks the same. */
    Known is_past_region(uint32_t acl_id, uint32_t offset);
    std::optional<uint32_t> find_region_size(uint32_t acl_id, uint32_t past_offset);

  private:
    bool ask(uint32_t command, void *record, uint32_t record_len, zv_acl_rm_status_t *status);
    bool read_rules(uint32_t acl_id, uint32_t offset, uint32_t rules_num,
                    zv_acl_rm_status_t *status, uint32_t activity_request = 0);
    void take_dump();

    zv_acl_rm_client_t *client_;
    int timeout_ms_;
    int64_t end_ms_ = 0;
    int error_ = 0;
    bool has_dumped_ = false;
    CacheText cache_;
    zv_acl_rm_acl_rule_get_params_t read_ = {};
};

}  // namespace zv_acl_rm_lib

#endif
