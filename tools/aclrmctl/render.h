/* Answers as something to read: text for people, JSON for programs.
 *
 * A renderer has a slot for every kind of answer; the compiler insists on all of them. Failures go
 * to standard error as text, but to standard output as JSON: a program reads one object whatever
 * came of it. The exit status is the same either way.
 */
#ifndef ACLRMCTL_RENDER_H
#define ACLRMCTL_RENDER_H

#include <iosfwd>
#include <string>

#include "answer.h"
#include "names.h"

namespace aclrmctl {

class Renderer {
  public:
    virtual ~Renderer() = default;
    virtual void operator()(const Failure &answer) const = 0;
    virtual void operator()(const OpenAnswer &answer) const = 0;
    virtual void operator()(const InitAnswer &answer) const = 0;
    virtual void operator()(const AclCreateAnswer &answer) const = 0;
    virtual void operator()(const AclDestroyAnswer &answer) const = 0;
    virtual void operator()(const AclEditAnswer &answer) const = 0;
    virtual void operator()(const AclResizeAnswer &answer) const = 0;
    virtual void operator()(const RuleCheckAnswer &answer) const = 0;
    virtual void operator()(const RuleLoadAnswer &answer) const = 0;
    virtual void operator()(const RuleAddAnswer &answer) const = 0;
    virtual void operator()(const RuleDeleteAnswer &answer) const = 0;
    virtual void operator()(const RuleGetAnswer &answer) const = 0;
    virtual void operator()(const RuleMoveAnswer &answer) const = 0;
    virtual void operator()(const BindAnswer &answer) const = 0;
    virtual void operator()(const PortSetAnswer &answer) const = 0;
    virtual void operator()(const CounterCreateAnswer &answer) const = 0;
    virtual void operator()(const CounterDestroyAnswer &answer) const = 0;
    virtual void operator()(const CounterReadAnswer &answer) const = 0;
    virtual void operator()(const CounterClearAnswer &answer) const = 0;
    virtual void operator()(const McCreateAnswer &answer) const = 0;
    virtual void operator()(const McPortsAnswer &answer) const = 0;
    virtual void operator()(const McDeleteAnswer &answer) const = 0;
    virtual void operator()(const McGetAnswer &answer) const = 0;
    virtual void operator()(const DumpAnswer &answer) const = 0;
    virtual void operator()(const ShowAnswer &answer) const = 0;
    virtual void operator()(const PacketAnswer &answer) const = 0;
    virtual void operator()(const PcapAnswer &answer) const = 0;
    virtual void operator()(const PortsAnswer &answer) const = 0;
    virtual void operator()(const StateAnswer &answer) const = 0;
    virtual void operator()(const UsageAnswer &answer) const = 0;
    virtual void operator()(const FaultsAnswer &answer) const = 0;
    virtual void operator()(const DemoAnswer &answer) const = 0;
};

/* How text is to look. */
struct TextStyle {
    bool numeric = false; /* numbers where there are names */
    size_t columns = 0;   /* of the terminal; 0: long lines are nobody's trouble */
};

/* Write one answer; the streams are the caller's. `command` is the command's words ("acl create"),
 * as far as they were read. */
void render_text(const Answer &answer, const TextStyle &style, std::ostream &out,
                 std::ostream &err);
void render_json(const Answer &answer, const std::string &command, std::ostream &out);

/* What `--version` prints, as an object. */
void render_json_version(const std::string &version, std::ostream &out);

/* The exit status that the answer ends the tool with. */
int exit_status(const Answer &answer);

}  // namespace aclrmctl

#endif
