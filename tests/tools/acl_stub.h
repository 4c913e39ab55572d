/* A daemon reduced to one ACL without an end, of which a test says what becomes of writes and what
 * reads show; and the tool run against it. */
#ifndef ZV_TESTS_TOOLS_ACL_STUB_H
#define ZV_TESTS_TOOLS_ACL_STUB_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/client/stub_daemon.h"
#include "tests/tools/run_tool.h"
#include "zv_acl_rm/zv_acl_rm_records.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

namespace zv_test {

template <typename Params>
Params record(const StubRequest &request) {
    Params params{};
    EXPECT_EQ(request.body.size(), sizeof(params));
    std::memcpy(&params, request.body.data(), std::min(request.body.size(), sizeof(params)));
    return params;
}

class AclStub {
  public:
    /* What becomes of the command whose first rule has that priority. */
    using Write = std::function<StubReply(StubReply good, uint32_t priority)>;
    /* The status of a read that a rule is part of, and what it shows of the rule. */
    using Read = std::function<uint32_t(acl_rm_rule *rule)>;

    explicit AclStub(
        Write write = [](StubReply good, uint32_t) { return good; },
        Read read = [](acl_rm_rule *) { return uint32_t{ZV_ACL_RM_STATUS_SUCCESS}; })
        : write_(std::move(write)),
          read_(std::move(read)),
          daemon_([this](const StubRequest &request) { return answer(request); }) {}

    ToolRun run(std::vector<std::string> words) {
        return run_tool("", at_the_stub(std::move(words)));
    }
    ToolRun run_on_terminal(unsigned short columns, std::vector<std::string> words) {
        return zv_test::run_tool_on_terminal(columns, "", at_the_stub(std::move(words)));
    }
    std::string file(const std::string &text) {
        const std::string path = daemon_.directory() + "/test.rules";
        std::ofstream(path) << text;
        return path;
    }
    /* Where the tool finds the switch; nowhere unless this is called. */
    void set_switch_socket(const std::string &path) { switch_socket_ = path; }
    /* The commands that carry rules. */
    std::vector<zv_acl_rm_acl_rule_set_params_t> writes() const {
        std::vector<zv_acl_rm_acl_rule_set_params_t> found;
        for (const StubRequest &request : daemon_.requests()) {
            if (request.command == ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET) {
                const auto params = record<zv_acl_rm_acl_rule_set_params_t>(request);
                if (params.rules_num > 0) {
                    found.push_back(params);
                }
            }
        }
        return found;
    }
    bool was_asked() const { return !daemon_.requests().empty(); }

  private:
    std::vector<std::string> at_the_stub(std::vector<std::string> words) {
        words.insert(words.begin(),
                     {"--socket", daemon_.socket_path(), "--switch-socket", switch_socket_});
        return words;
    }

    StubReply answer(const StubRequest &request) {
        switch (request.command) {
            case ZV_ACL_RM_API_INT_CMD_DUMP:
                std::ofstream(std::string(request.attachment.begin(), request.attachment.end() - 1))
                    << "no dump";
                return echo_reply(request);
            case ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET:
                return read(request);
            case ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET:
                return write(request);
            case ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK: {
                StubReply reply;
                return reply;
            }
            default:
                return echo_reply(request);
        }
    }

    StubReply write(const StubRequest &request) {
        const auto params = record<zv_acl_rm_acl_rule_set_params_t>(request);
        const StubReply reply = params.rules_num == 0
                                    ? echo_reply(request)
                                    : write_(echo_reply(request), params.rules[0].priority);
        for (uint32_t i = 0; reply.status == 0 && !reply.silent && i < params.rules_num; i++) {
            if (params.cmd == ZV_ACL_RM_ACCESS_CMD_DELETE) {
                held_.erase(params.rules[i].offset);
            } else {
                held_[params.rules[i].offset] = params.rules[i];
            }
        }
        return reply;
    }

    StubReply read(const StubRequest &request) {
        auto params = record<zv_acl_rm_acl_rule_get_params_t>(request);
        StubReply reply = echo_reply(request);
        for (uint32_t i = 0; i < params.rules_num; i++) {
            const auto found = held_.find(params.rules[i].offset);
            if (found == held_.end()) {
                return StubReply{.status = ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND};
            }
            params.rules[i] = found->second;
            params.rules[i].readout = {};
            if (const uint32_t status = read_(&params.rules[i]); status != 0) {
                return StubReply{.status = status};
            }
        }
        std::memcpy(reply.body.data(), &params, sizeof(params));
        return reply;
    }

    Write write_;
    Read read_;
    std::string switch_socket_ = "/none";
    std::map<uint32_t, acl_rm_rule> held_;
    StubDaemon daemon_; /* last: its thread uses the others */
};

}  // namespace zv_test

#endif
