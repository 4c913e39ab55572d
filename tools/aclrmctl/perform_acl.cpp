#include <algorithm>

#include "daemon_link.h"
#include "exit_codes.h"
#include "perform_parts.h"
#include "text_table.h"

namespace aclrmctl {

namespace {

std::string acl_text(uint32_t acl_id) {
    return "ACL " + std::to_string(acl_id);
}

/* What an edit would leave behind under the former id; empty where there is nothing. */
std::string left_behind(const CacheText &cache, uint32_t acl_id) {
    const auto rules = std::count_if(cache.rules.begin(), cache.rules.end(),
                                     [=](const CachedRule &r) { return r.acl_id == acl_id; });
    const auto acl = std::find_if(cache.acls.begin(), cache.acls.end(),
                                  [=](const CachedAcl &a) { return a.acl_id == acl_id; });
    std::string text;
    if (rules > 0) {
        text = "it holds " + std::string(has_all(cache, "rules") ? "" : "at least ") +
               counted(static_cast<uint64_t>(rules), "rule");
    }
    if (acl != cache.acls.end() && (acl->bound_to_system || !acl->bound_to.empty())) {
        text += text.empty() ? "it is bound" : " and is bound";
    }
    return text.empty() && !has_all(cache, "acls")
               ? "whether it holds rules or is bound is not told: the dump was cut"
               : text;
}

/* The daemon would carry out the edit of a loaded ACL, and forget what is in it. */
std::optional<Failure> check_edit(const Settings &settings, const AclEditRequest &request) {
    if (request.force) {
        return std::nullopt;
    }
    CacheText cache;
    if (auto failure = read_cache(settings, &cache)) {
        failure->hint += failure->hint.empty() ? "" : "; ";
        failure->hint += "--force edits without looking";
        return failure;
    }
    const std::string left = left_behind(cache, request.acl_id);
    if (left.empty()) {
        return std::nullopt;
    }
    return Failure{
        kExitRefused,
        "changing the direction of " + acl_text(request.acl_id) + ": refused, nothing was sent",
        {},
        {left},
        "an edit gives it another id, and its rules and bindings stay under the former "
        "one; edit it before it is loaded and bound, or all the same by --force"};
}

}  // namespace

Answer perform_acl_create(const Settings &settings, const AclCreateRequest &request) {
    zv_acl_rm_acl_set_params_t params{};
    params.cmd = ZV_ACL_RM_ACCESS_CMD_CREATE;
    params.acl.key_type = request.key_type;
    params.acl.action_type = request.action_type;
    params.acl.acl_type = request.acl_type;
    params.acl.direction = request.direction;
    params.acl.min_size = request.size;
    params.acl.max_size = request.size;
    const std::string what = "creating an ACL of " + std::to_string(request.size) + " rules";
    if (auto failure = call_daemon(settings, what, zv_acl_rm_api_acl_set, &params)) {
        return *failure;
    }
    return AclCreateAnswer{request, params.acl.acl_id, params.acl.region_id};
}

Answer perform_acl_destroy(const Settings &settings, const AclDestroyRequest &request) {
    zv_acl_rm_acl_set_params_t params{};
    params.cmd = ZV_ACL_RM_ACCESS_CMD_DESTROY;
    params.acl.acl_id = request.acl_id;
    params.acl.acl_type = request.acl_type;
    params.acl.direction = request.direction;
    auto failure = call_daemon(settings, "destroying " + acl_text(request.acl_id),
                               zv_acl_rm_api_acl_set, &params);
    if (!failure) {
        return AclDestroyAnswer{request};
    }
    set_hint(&failure, ZV_ACL_RM_STATUS_ERROR,
             "the daemon's log says how far it got: its rules and bindings may be gone "
             "('aclrmctl show')");
    return *failure;
}

Answer perform_acl_edit(const Settings &settings, const AclEditRequest &request) {
    if (auto failure = check_edit(settings, request)) {
        return *failure;
    }
    zv_acl_rm_acl_set_params_t params{};
    params.cmd = ZV_ACL_RM_ACCESS_CMD_EDIT;
    params.acl.acl_id = request.acl_id;
    params.acl.direction = request.direction;
    auto failure = call_daemon(settings, "changing the direction of " + acl_text(request.acl_id),
                               zv_acl_rm_api_acl_set, &params);
    if (!failure) {
        return AclEditAnswer{request, params.acl.acl_id};
    }
    set_hint(&failure, ZV_ACL_RM_STATUS_ERROR,
             "an ACL that is bound is refused by the switch, and then unknown to the daemon");
    return *failure;
}

Answer perform_acl_resize(const Settings &settings, const AclResizeRequest &request) {
    zv_acl_rm_acl_resize_params_t params{};
    params.acl_id = request.acl_id;
    params.new_size = request.size;
    if (auto failure = call_daemon(
            settings,
            "resizing " + acl_text(request.acl_id) + " to " + counted(request.size, "rule"),
            zv_acl_rm_api_acl_resize, &params)) {
        return *failure;
    }
    return AclResizeAnswer{request};
}

}  // namespace aclrmctl
