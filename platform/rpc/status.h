// The statuses of zv_rpc.h by name.
#ifndef PLATFORM_RPC_STATUS_H
#define PLATFORM_RPC_STATUS_H

#include <cstdint>

namespace zv_rpc_lib {

enum Status : uint32_t {
    kSuccess = 0,
    kBadParameter = 1,
    kWrongState = 2,
    kAlreadyServed = 3,
    kSystemError = 4,
    kInsideHandler = 5,
};

}  // namespace zv_rpc_lib

#endif
