/* dump_place.h - where a dump of the daemon's cache can go that is for the caller alone. */
#ifndef ZV_ACL_RM_DUMP_PLACE_H
#define ZV_ACL_RM_DUMP_PLACE_H

#include <string>

namespace zv_cache_text {

/* $TMPDIR if that is an absolute path, else /tmp: the daemon opens the file from its own working
 * directory. */
std::string temporary_base();

/* Whether the process behind a connected local socket may write to a file in a directory of ours:
 * it runs as root or as our user. One that may not puts the text into its log, which helps nobody.
 */
bool peer_can_write(int socket_fd);

}  // namespace zv_cache_text

#endif
