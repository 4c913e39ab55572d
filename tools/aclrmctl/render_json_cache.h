/* The daemon's cache in JSON: the parts that `dump` and `show` have in common. */
#ifndef ACLRMCTL_RENDER_JSON_CACHE_H
#define ACLRMCTL_RENDER_JSON_CACHE_H

#include <nlohmann/json.hpp>
#include <string>

#include "answer.h"

namespace aclrmctl {

/* When the dump was made, the daemon's own counts, and whether the text has its end. */
nlohmann::ordered_json cache_head(const CacheText &cache);

/* "rules", "groups", "acls", "ports", "forwarding" or "mc" as a list of objects. */
nlohmann::ordered_json cache_table(const CacheText &cache, const std::string &table);

/* The tables that were asked for, each under its name. */
nlohmann::ordered_json shown_tables(const ShowAnswer &answer);

/* A rule in all its parts, numbers with their names beside them. */
nlohmann::ordered_json rule_object(const RuleView &rule);

}  // namespace aclrmctl

#endif
