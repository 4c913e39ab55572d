// Device resource limits: what the switch chip named by INIT allows.
//
// The record belongs to the SDK (zv_rm_resource.h); the daemon fills it. Before the first INIT all
// limits are zero, and on some chips they stay zero on purpose: every rule command that carries a
// rule is then too large, and the test of the ACL count never matches.
#pragma once

#include <stdint.h>

// Loads the limits of `chip_type` into rm_resource_global, and copies that record into
// rm_resource_global_default in every case. 0 for a known chip; 1 for an unknown one, whose record
// stays as it was.
uint32_t acl_rm_resources_init(uint32_t chip_type);
