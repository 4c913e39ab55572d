/* zv_acl_rm.hpp - the client library for C++17 and later: header-only, over zv_acl_rm_client.h.
 * This is the one header to include.
 *
 *   auto client = zv_acl_rm::Client::connect(0x51);
 *   if (!client) { std::puts(client.failure().words().c_str()); return 1; }
 *   if (!client->open(zv_acl_rm::Owner::kOpenFlow) || !client->init(1)) { return 1; }
 *   const auto acl = client->create_acl(64);
 *   if (!acl) { std::puts(acl.failure().words().c_str()); return 1; }
 *   const auto drop = zv_acl_rm::Rule(0).verdict(zv_acl_rm::Verdict::kDrop);
 *   return client->write_rules(acl->acl_id, {drop}) ? 0 : 1;
 *
 * A Client owns one connection and has a method for every use of the sixteen commands. What a
 * command does, the statuses it gives and what a failure leaves behind is told with the C function
 * that the method's comment names; here stands only what is added to it.
 *
 * Results. Nothing throws and nothing needs exceptions or type information. Every call returns a
 * Result: either a value or a Failure, which is either the daemon's refusal, with its status, or an
 * errno value that says why there is no answer. EINVAL also stands for what cannot be put into a
 * record: more than 20 rules, more than 100 ports, a key of more than 128 bytes; nothing is sent
 * then. Nothing is allocated but what the C library allocates for a connection, and the texts.
 *
 * Threads. As in C: one Client is used by one thread at a time, any number of Clients at once.
 */
#ifndef ZV_ACL_RM_HPP
#define ZV_ACL_RM_HPP

#include "zv_acl_rm/hpp/client.hpp"
#include "zv_acl_rm/hpp/lists.hpp"
#include "zv_acl_rm/hpp/names.hpp"
#include "zv_acl_rm/hpp/requests.hpp"
#include "zv_acl_rm/hpp/results.hpp"
#include "zv_acl_rm/hpp/rules.hpp"

#endif
