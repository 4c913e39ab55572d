/* The commands one by one: perform.cpp picks, the perform_*.cpp files carry out.
 *
 * Each opens a connection of its own and says in its own words what it was about when it fails.
 */
#ifndef ACLRMCTL_PERFORM_PARTS_H
#define ACLRMCTL_PERFORM_PARTS_H

#include "answer.h"
#include "request.h"

namespace aclrmctl {

Answer perform_acl_create(const Settings &settings, const AclCreateRequest &request);
Answer perform_acl_destroy(const Settings &settings, const AclDestroyRequest &request);
Answer perform_acl_edit(const Settings &settings, const AclEditRequest &request);
Answer perform_acl_resize(const Settings &settings, const AclResizeRequest &request);

Answer perform_rule_add(const Settings &settings, const RuleAddRequest &request);
Answer perform_rule_delete(const Settings &settings, const RuleDeleteRequest &request);
Answer perform_rule_get(const Settings &settings, const RuleGetRequest &request);
Answer perform_rule_move(const Settings &settings, const RuleMoveRequest &request);

/* More than 100 numbers travel in several requests, the first of which that fails is the last. */
Answer perform_bind(const Settings &settings, const BindRequest &request);
Answer perform_port_set(const Settings &settings, const PortSetRequest &request);

Answer perform_counter_create(const Settings &settings, const CounterCreateRequest &request);
Answer perform_counter_destroy(const Settings &settings, const CounterDestroyRequest &request);
Answer perform_counter_read(const Settings &settings, const CounterReadRequest &request);
Answer perform_counter_clear(const Settings &settings, const CounterClearRequest &request);

Answer perform_mc_create(const Settings &settings, const McCreateRequest &request);
Answer perform_mc_ports(const Settings &settings, const McPortsRequest &request);
Answer perform_mc_delete(const Settings &settings, const McDeleteRequest &request);
Answer perform_mc_get(const Settings &settings, const McGetRequest &request);

Answer perform_show(const Settings &settings, const ShowRequest &request);

/* The daemon's cache by way of a dump into a file of the tool's own. */
std::optional<Failure> read_cache(const Settings &settings, CacheText *cache);
Answer perform_dump(const Settings &settings, const DumpRequest &request);

}  // namespace aclrmctl

#endif
