// Lets the deletion of a pool or of an allocator fail, which it never does by itself. The test
// program is linked with both wrapped.
#pragma once

namespace deletion_faults {

// While it lives every such deletion fails, with nothing released.
struct Pool {
    Pool();
    ~Pool();
    Pool(const Pool &) = delete;
    Pool &operator=(const Pool &) = delete;
};

struct Allocator {
    Allocator();
    ~Allocator();
    Allocator(const Allocator &) = delete;
    Allocator &operator=(const Allocator &) = delete;
};

}  // namespace deletion_faults
