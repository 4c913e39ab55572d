/* zv_acl_rm_status.h - the result of every zv_acl_rm command.
 *
 * One list holds value, name and meaning; the enumeration, the daemon's log texts and the client
 * library's explanations are all made from it, so that they cannot drift apart.
 */
#ifndef ZV_ACL_RM_STATUS_H
#define ZV_ACL_RM_STATUS_H

#include <stdint.h>

/* X(value, name, what it tells the client) */
#define ZV_ACL_RM_STATUS_LIST(X)                                                                  \
    X(0, ZV_ACL_RM_STATUS_SUCCESS, "the command was carried out")                                 \
    X(1, ZV_ACL_RM_STATUS_ERROR,                                                                  \
      "the command failed: the switch refused it, its cache disagrees, the object is another "    \
      "owner's, or the daemon is not initialised (send OPEN or INIT first)")                      \
    X(2, ZV_ACL_RM_STATUS_CMD_UNSUPPORTED, "this command or access command is not supported")     \
    X(3, ZV_ACL_RM_STATUS_PARAM_NULL, "a parameter is missing, or memory for it ran out")         \
    X(4, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,                                                    \
      "a parameter is out of range: a count, size, key type or offset too large, or a handle or " \
      "ACL the daemon does not know")                                                             \
    X(5, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND,                                                        \
      "the daemon does not know that object, or the handle was never opened")                     \
    X(6, ZV_ACL_RM_STATUS_NO_RESOURCES, "a table of the daemon is full, or its memory ran out")   \
    X(7, ZV_ACL_RM_STATUS_NO_HW_RESOURCES, "the switch hardware has no room left")                \
    X(8, ZV_ACL_RM_STATUS_NO_BUFFER_SPACE, "a work buffer of the daemon is full")                 \
    X(9, ZV_ACL_RM_STATUS_LAST, "not a status: the number of statuses")

#define ZV_ACL_RM_STATUS_ENUMERATOR(value, name, meaning) name = value,
enum { ZV_ACL_RM_STATUS_LIST(ZV_ACL_RM_STATUS_ENUMERATOR) };
#undef ZV_ACL_RM_STATUS_ENUMERATOR

/* Travels as an unsigned 32-bit number, hence not the enumeration type itself. */
typedef uint32_t zv_acl_rm_status_t;

#endif
