/* The checks of bindings. Points are bound in the order of the request, and those done stay done:
 * the first that is not bound now is the one that failed. */
#include <algorithm>
#include <vector>

#include "client/explain/cause.h"

namespace zv_acl_rm_lib {

namespace {

constexpr uint32_t kMaxGroups = 128;
constexpr uint32_t kMaxAclsOnPoint = 16;
constexpr uint32_t kMaxBindPoints = 648;
/* A dump's line of bound points holds at least this many, whatever their numbers. */
constexpr uint32_t kBindPointsOfALine = 200;

using PortBind = zv_acl_rm_acl_port_bind_params_t;
using RifBind = zv_acl_rm_acl_rif_bind_params_t;
using PortSet = zv_acl_rm_port_set_params_t;

struct Point {
    bool is_rif;
    uint32_t id;
};

template <typename Id>
std::vector<Point> points_in(const Id *ids, uint32_t ids_num, bool is_rif) {
    std::vector<Point> points;
    for (uint32_t i = 0; i < std::min(ids_num, ZV_ACL_RM_PORTS_PER_RECORD); i++) {
        points.push_back({is_rif, ids[i]});
    }
    return points;
}

/* Of a system bind the ports that carry anything: the switch knows which of them it has. */
std::vector<Point> points_of(const Refusal &refusal) {
    switch (refusal.command) {
        case ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET: {
            const auto &params = refusal.as<PortBind>();
            return points_in(params.log_ports, params.ports_num, false);
        }
        case ZV_ACL_RM_API_INT_CMD_ACL_BIND_RIF_SET: {
            const auto &params = refusal.as<RifBind>();
            return points_in(params.rifs, params.rifs_num, true);
        }
        case ZV_ACL_RM_API_INT_CMD_PORT_SET: {
            const auto &params = refusal.as<PortSet>();
            return points_in(params.log_ports, params.ports_num, false);
        }
        default:
            break;
    }
    std::vector<Point> points;
    for (const CachedBindPoint &point : refusal.ask.cache().bind_points) {
        if (!point.router_interface) {
            points.push_back({false, point.number});
        }
    }
    return points;
}

/* The ACLs that are to be bound: the request's, or every system ACL. */
std::vector<uint32_t> acls_of(const Refusal &refusal) {
    if (!refusal.is(ZV_ACL_RM_API_INT_CMD_PORT_SET)) {
        return {refusal.acl_id()};
    }
    std::vector<uint32_t> acl_ids;
    for (const CachedAcl &acl : refusal.ask.cache().acls) {
        if (acl.bound_to_system) {
            acl_ids.push_back(acl.acl_id);
        }
    }
    return acl_ids;
}

bool is_bind(const Refusal &refusal) {
    return refusal.cmd() == ZV_ACL_RM_ACCESS_CMD_BIND ||
           refusal.cmd() == ZV_ACL_RM_ACCESS_CMD_ADD_PORTS;
}

/* Where binding stopped: a point that does not carry an ACL it was to carry. */
struct Stop {
    uint32_t acl_id;
    Point point;
    const CachedGroup *group; /* of the point; null where it carries nothing */
};

bool carries(const CachedGroup &group, uint32_t acl_id) {
    return std::find(group.acl_ids.begin(), group.acl_ids.end(), acl_id) != group.acl_ids.end();
}

/* Of a system bind any of them may be the one; of the others the first is. */
std::vector<Stop> find_stops(const Refusal &refusal) {
    const CacheText &cache = refusal.ask.cache();
    const bool is_system = refusal.is(ZV_ACL_RM_API_INT_CMD_ACL_BIND_SYSTEM_SET);
    std::vector<Stop> stops;
    if (!is_bind(refusal) || !has_all(cache, "ports")) {
        return stops;
    }
    for (const uint32_t acl_id : acls_of(refusal)) {
        for (const Point &point : points_of(refusal)) {
            const CachedBindPoint *bound = find_bind_point(cache, point.is_rif, point.id);
            const auto *group = bound == nullptr ? nullptr : find_group(cache, bound->group_id);
            if (group != nullptr && carries(*group, acl_id)) {
                continue;
            }
            stops.push_back({acl_id, point, group});
            if (!is_system) {
                return stops;
            }
        }
    }
    return stops;
}

std::string point_words(const Point &point) {
    return (point.is_rif ? "router interface " : "port ") + std::to_string(point.id);
}

/* "ACLs 1, 2 and 3"; what its line in the dump had no room for is counted. */
std::string list_words(const CachedGroup &group) {
    std::string text = group.acls_num == 1 ? "ACL " : "ACLs ";
    const auto listed_num = static_cast<uint32_t>(group.acl_ids.size());
    const uint32_t missing_num = group.acls_num > listed_num ? group.acls_num - listed_num : 0;
    for (uint32_t i = 0; i < listed_num; i++) {
        const bool is_last = i + 1 == listed_num && missing_num == 0;
        text += i == 0 ? "" : (is_last ? " and " : ", ");
        text += std::to_string(group.acl_ids[i]);
    }
    return missing_num == 0 ? text : text + " and " + std::to_string(missing_num) + " more";
}

template <typename Condition>
const Stop *find_stop(const std::vector<Stop> &stops, Condition condition) {
    const auto found = std::find_if(stops.begin(), stops.end(), condition);
    return found == stops.end() ? nullptr : &*found;
}

uint32_t points_num(const Refusal &refusal) {
    return refusal.is(ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET) ? refusal.as<PortBind>().ports_num
                                                               : refusal.as<RifBind>().rifs_num;
}

}  // namespace

Finding no_ports(const Refusal &refusal) {
    if (points_num(refusal) != 0) {
        return no_cause();
    }
    return certain(refusal.is(ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET)
                       ? "the request names no port"
                       : "the request names no router interface");
}

Finding bound_to_system_already(const Refusal &refusal) {
    const CachedAcl *acl = find_acl(refusal.ask.cache(), refusal.acl_id());
    const bool is_bound = acl != nullptr && acl->bound_to_system;
    const Known is_cause =
        acl == nullptr ? Known::unknown : (is_bound == is_bind(refusal) ? Known::yes : Known::no);
    return finding(is_cause,
                   acl_words(refusal) + (is_bind(refusal) ? " is bound to the system already"
                                                          : " is not bound to the system"));
}

/* A dump shows no directions. */
Finding other_direction(const Refusal &refusal) {
    const std::vector<Stop> stops = find_stops(refusal);
    const Stop *stop = find_stop(
        stops, [](const Stop &each) { return each.group != nullptr && each.group->acls_num != 0; });
    if (stop == nullptr) {
        return no_cause();
    }
    return possible(point_words(stop->point) + " carries " + list_words(*stop->group) +
                    ", and ACL " + std::to_string(stop->acl_id) +
                    " has another direction: all ACLs of a port have one");
}

Finding sixteen_acls_on_port(const Refusal &refusal) {
    const std::vector<Stop> stops = find_stops(refusal);
    const Stop *stop = find_stop(stops, [](const Stop &each) {
        return each.group != nullptr && each.group->acls_num >= kMaxAclsOnPoint;
    });
    if (stop == nullptr) {
        return no_cause();
    }
    return certain(point_words(stop->point) + " carries " + std::to_string(kMaxAclsOnPoint) +
                   " ACLs, as many as it can: " + list_words(*stop->group));
}

/* Groups that the daemon could not take away count as well, and are in no dump. */
Finding groups_full(const Refusal &refusal) {
    const CacheText &cache = refusal.ask.cache();
    const std::vector<Stop> stops = find_stops(refusal);
    const std::string text =
        std::to_string(kMaxGroups) + " ports and router interfaces carry ACLs, as many as can: ";
    if (!has_all(cache, "ports")) {
        return possible(text + "unbind one first");
    }
    const bool is_system = refusal.is(ZV_ACL_RM_API_INT_CMD_ACL_BIND_SYSTEM_SET);
    const Stop *stop = find_stop(stops, [](const Stop &each) { return each.group == nullptr; });
    if (stop == nullptr && !is_system) {
        return no_cause();
    }
    const std::string end =
        stop == nullptr ? "unbind one first" : point_words(stop->point) + " would be one more";
    return cache.groups.size() >= kMaxGroups ? certain(text + end) : possible(text + end);
}

Finding former_id_on_port(const Refusal &refusal) {
    const CacheText &cache = refusal.ask.cache();
    for (const Stop &stop : find_stops(refusal)) {
        if (stop.group == nullptr) {
            continue;
        }
        for (const uint32_t acl_id : stop.group->acl_ids) {
            if (find_acl(cache, acl_id) == nullptr) {
                return certain(point_words(stop.point) + " carries ACL " + std::to_string(acl_id) +
                               ", which was edited since and has another id: the port takes no "
                               "further ACL");
            }
        }
    }
    return no_cause();
}

Finding too_many_bind_points(const Refusal &refusal) {
    const CachedAcl *acl = find_acl(refusal.ask.cache(), refusal.acl_id());
    if (!is_bind(refusal) || acl == nullptr || acl->bound_to.size() < kBindPointsOfALine) {
        return no_cause();
    }
    return possible(acl_words(refusal) + " lists " + std::to_string(kMaxBindPoints) +
                    " ports and router interfaces that it is bound to, as many as it can");
}

Finding no_room_to_bind(const Refusal &refusal) {
    const std::vector<Stop> stops = find_stops(refusal);
    const bool is_known = stops.size() == 1;
    return certain("the switch has no room left to bind " +
                   (is_known ? "ACL " + std::to_string(stops.front().acl_id) + " to " +
                                   point_words(stops.front().point)
                             : std::string("the ACL")));
}

}  // namespace zv_acl_rm_lib
