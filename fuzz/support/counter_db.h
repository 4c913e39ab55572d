// counter_db.h - the counter database's flag, which the daemon itself never clears.
#ifndef ZV_FUZZ_SUPPORT_COUNTER_DB_H
#define ZV_FUZZ_SUPPORT_COUNTER_DB_H

namespace zv_fuzz {

// Lets the database, which has been released, be built once more.
void forget_counter_db();

}  // namespace zv_fuzz

#endif
