// Stands before __catch_signals (see CMakeLists.txt).
#include "zv_acl_rm/zv_acl_rm_status.h"

extern "C" zv_acl_rm_status_t __wrap__Z15__catch_signalsv() {
    return ZV_ACL_RM_STATUS_NO_HW_RESOURCES;
}
