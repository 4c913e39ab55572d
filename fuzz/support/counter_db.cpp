// The counter database with one thing more than a process of the daemon needs: it can be built
// again.
#include "core/db/acl_rm_db.cpp"

#include "fuzz/support/counter_db.h"

namespace zv_fuzz {

void forget_counter_db() {
    is_db_initialized = 0;
}

}  // namespace zv_fuzz
