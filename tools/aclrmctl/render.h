/* Answers as something to read: text for people, JSON for programs.
 *
 * A renderer has a slot for every kind of answer; the compiler insists on all of them. Failures go
 * to standard error as text, but to standard output as JSON: a program reads one object whatever
 * came of it. The exit status is the same either way.
 */
#ifndef ACLRMCTL_RENDER_H
#define ACLRMCTL_RENDER_H

#include <iosfwd>

#include "answer.h"

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
    virtual void operator()(const PacketAnswer &answer) const = 0;
    virtual void operator()(const StateAnswer &answer) const = 0;
    virtual void operator()(const UsageAnswer &answer) const = 0;
    virtual void operator()(const FaultsAnswer &answer) const = 0;
};

/* Write one answer; the streams are the caller's. */
void render_text(const Answer &answer, std::ostream &out, std::ostream &err);
void render_json(const Answer &answer, std::ostream &out);

/* "open-flow" and so on; "owner N" for a number that is none. */
std::string owner_name(uint32_t owner);

/* "ingress" and "egress", else "direction N". */
std::string direction_name(uint32_t direction);

/* "permit", "drop" and "trap"; "verdict N" for a number that is none. */
std::string verdict_text(uint32_t verdict);

/* "bytes" and "packets". */
const char *counter_type_name(CounterType type);

}  // namespace aclrmctl

#endif
