/* Names and meanings of the statuses, made from the one list that the enumeration comes from. */
#include "zv_acl_rm/zv_acl_rm_client.h"

extern "C" const char *zv_acl_rm_status_name(zv_acl_rm_status_t status) {
#define ZV_ACL_RM_STATUS_NAME(value, name, meaning) \
    case value:                                     \
        return #name;
    switch (status) { ZV_ACL_RM_STATUS_LIST(ZV_ACL_RM_STATUS_NAME) }
#undef ZV_ACL_RM_STATUS_NAME
    return "unknown status";
}

extern "C" const char *zv_acl_rm_status_meaning(zv_acl_rm_status_t status) {
#define ZV_ACL_RM_STATUS_MEANING(value, name, meaning) \
    case value:                                        \
        return meaning;
    switch (status) { ZV_ACL_RM_STATUS_LIST(ZV_ACL_RM_STATUS_MEANING) }
#undef ZV_ACL_RM_STATUS_MEANING
    return "no status of this version; the daemon is newer than this library";
}
