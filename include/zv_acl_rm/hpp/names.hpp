/* The numbers of the protocol under their names. Included by zv_acl_rm.hpp. */
#ifndef ZV_ACL_RM_HPP_NAMES_HPP
#define ZV_ACL_RM_HPP_NAMES_HPP

#include <cstdint>

#include "zv_acl_rm/zv_acl_rm_client.h"

namespace zv_acl_rm {

enum class Owner : std::uint32_t {
    kOpenFlow = ZV_ACL_RM_OWNER_OPEN_FLOW,
    kTarnOs = ZV_ACL_RM_OWNER_TARN_OS,
    kPra = ZV_ACL_RM_OWNER_PRA,
    kOf13 = ZV_ACL_RM_OWNER_OF13
};

enum class Command : std::uint32_t {
    kOpen = ZV_ACL_RM_API_INT_CMD_OPEN,
    kInit = ZV_ACL_RM_API_INT_CMD_INIT,
    kAclSet = ZV_ACL_RM_API_INT_CMD_ACL_SET,
    kAclResize = ZV_ACL_RM_API_INT_CMD_ACL_RESIZE,
    kAclRuleSet = ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET,
    kAclRuleGet = ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET,
    kAclRuleMoveBlock = ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK,
    kAclBindPortSet = ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET,
    kAclBindRifSet = ZV_ACL_RM_API_INT_CMD_ACL_BIND_RIF_SET,
    kCounterSet = ZV_ACL_RM_API_INT_CMD_COUNTER_SET,
    kCounterGet = ZV_ACL_RM_API_INT_CMD_COUNTER_GET,
    kMcGrpSet = ZV_ACL_RM_API_INT_CMD_MC_GRP_SET,
    kMcGrpGet = ZV_ACL_RM_API_INT_CMD_MC_GRP_GET,
    kAclBindSystemSet = ZV_ACL_RM_API_INT_CMD_ACL_BIND_SYSTEM_SET,
    kPortSet = ZV_ACL_RM_API_INT_CMD_PORT_SET,
    kDump = ZV_ACL_RM_API_INT_CMD_DUMP
};

/* What a command of several uses is to do; the methods of Client choose it. */
enum class Access : std::uint32_t {
    kAdd = ZV_ACL_RM_ACCESS_CMD_ADD,
    kEdit = ZV_ACL_RM_ACCESS_CMD_EDIT,
    kDelete = ZV_ACL_RM_ACCESS_CMD_DELETE,
    kCreate = ZV_ACL_RM_ACCESS_CMD_CREATE,
    kDestroy = ZV_ACL_RM_ACCESS_CMD_DESTROY,
    kWrite = ZV_ACL_RM_ACCESS_CMD_WRITE,
    kBind = ZV_ACL_RM_ACCESS_CMD_BIND,
    kUnbind = ZV_ACL_RM_ACCESS_CMD_UNBIND,
    kAddPorts = ZV_ACL_RM_ACCESS_CMD_ADD_PORTS,
    kDeletePorts = ZV_ACL_RM_ACCESS_CMD_DELETE_PORTS,
    kRead = ZV_ACL_RM_ACCESS_CMD_READ,
    kReadClear = ZV_ACL_RM_ACCESS_CMD_READ_CLEAR,
    kClear = ZV_ACL_RM_ACCESS_CMD_CLEAR
};

/* Which packets an ACL looks at, as the switch numbers it. */
enum class Direction : std::uint32_t { kIngress = 0, kEgress = 1 };

/* What becomes of a packet that a rule matches. */
enum class Verdict : std::uint32_t { kPermit = 0, kDrop = 1, kTrap = 2 };

/* What reading a rule does about its activity: whether a packet hit it. */
enum class Activity : std::uint32_t { kIgnore = 0, kRead = 1, kReadAndClear = 2 };

enum class CounterKind : std::uint32_t { kBytes, kPackets };

enum class Status : std::uint32_t {
    kSuccess = ZV_ACL_RM_STATUS_SUCCESS,
    kError = ZV_ACL_RM_STATUS_ERROR,
    kCmdUnsupported = ZV_ACL_RM_STATUS_CMD_UNSUPPORTED,
    kParamNull = ZV_ACL_RM_STATUS_PARAM_NULL,
    kParamExceedsRange = ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
    kEntryNotFound = ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND,
    kNoResources = ZV_ACL_RM_STATUS_NO_RESOURCES,
    kNoHwResources = ZV_ACL_RM_STATUS_NO_HW_RESOURCES,
    kNoBufferSpace = ZV_ACL_RM_STATUS_NO_BUFFER_SPACE
};

inline const char *name_of(Status status) noexcept {
    return zv_acl_rm_status_name(static_cast<zv_acl_rm_status_t>(status));
}
inline const char *meaning_of(Status status) noexcept {
    return zv_acl_rm_status_meaning(static_cast<zv_acl_rm_status_t>(status));
}

}  // namespace zv_acl_rm

#endif
