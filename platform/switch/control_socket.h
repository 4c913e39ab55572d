// The control socket: where it is, and serving it.
#ifndef PLATFORM_SWITCH_CONTROL_SOCKET_H
#define PLATFORM_SWITCH_CONTROL_SOCKET_H

#include <string>

namespace zv_switch {

// Makes the socket at path (mode 0600 from the start, its directory when missing) and listens on
// it. `<path>.lock` is held from then on until the process ends, so that a second process neither
// takes the socket away nor removes it; a socket that a dead process left is replaced, a file of
// another type is not. Returns the listening descriptor, or -1 with the complaint in *error,
// nothing held and nothing touched that another process owns.
int control_listen(const std::string &path, std::string *error);

// Serves clients of a listening socket for ever, on the calling thread. One request line of a
// client is answered at a time, in order; a client is not read from while it does not take its
// answer, and costs at most one request and one answer of at most a mebibyte. Of larger answers at
// most four wait at a time: for a fifth the client that has taken nothing of its own for longest, a
// second at least, is closed; where there is none such, the fifth client is told to ask again. No
// client can hold up another one or the caller's process.
[[noreturn]] void control_serve(int listener);

}  // namespace zv_switch

#endif
