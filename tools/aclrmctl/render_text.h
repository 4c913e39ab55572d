/* The text renderer: answers of the daemon in render_text.cpp, of the switch in
 * render_text_switch.cpp. */
#ifndef ACLRMCTL_RENDER_TEXT_H
#define ACLRMCTL_RENDER_TEXT_H

#include "render.h"

namespace aclrmctl {

class TextRenderer final : public Renderer {
  public:
    TextRenderer(const TextStyle &style, std::ostream &out, std::ostream &err)
        : out_(out), err_(err), names_(style.numeric), columns_(style.columns) {}

    void operator()(const Failure &answer) const override;
    void operator()(const OpenAnswer &answer) const override;
    void operator()(const InitAnswer &answer) const override;
    void operator()(const AclCreateAnswer &answer) const override;
    void operator()(const AclDestroyAnswer &answer) const override;
    void operator()(const AclEditAnswer &answer) const override;
    void operator()(const AclResizeAnswer &answer) const override;
    void operator()(const RuleCheckAnswer &answer) const override;
    void operator()(const RuleLoadAnswer &answer) const override;
    void operator()(const RuleAddAnswer &answer) const override;
    void operator()(const RuleDeleteAnswer &answer) const override;
    void operator()(const RuleGetAnswer &answer) const override;
    void operator()(const RuleMoveAnswer &answer) const override;
    void operator()(const BindAnswer &answer) const override;
    void operator()(const PortSetAnswer &answer) const override;
    void operator()(const CounterCreateAnswer &answer) const override;
    void operator()(const CounterDestroyAnswer &answer) const override;
    void operator()(const CounterReadAnswer &answer) const override;
    void operator()(const CounterClearAnswer &answer) const override;
    void operator()(const McCreateAnswer &answer) const override;
    void operator()(const McPortsAnswer &answer) const override;
    void operator()(const McDeleteAnswer &answer) const override;
    void operator()(const McGetAnswer &answer) const override;
    void operator()(const DumpAnswer &answer) const override;
    void operator()(const ShowAnswer &answer) const override;
    void operator()(const PacketAnswer &answer) const override;
    void operator()(const PcapAnswer &answer) const override;
    void operator()(const PortsAnswer &answer) const override;
    void operator()(const StateAnswer &answer) const override;
    void operator()(const UsageAnswer &answer) const override;
    void operator()(const FaultsAnswer &answer) const override;
    void operator()(const DemoAnswer &answer) const override;

  private:
    std::ostream &out_;
    std::ostream &err_;
    Names names_;
    size_t columns_;
};

/* "ingress"; a bare number needs the word for what it is: "direction 0". */
std::string direction_text(const Names &names, uint32_t direction);

/* The rules as a rule file in the format asked for. */
std::string rule_file_text(const RuleGetAnswer &answer);

/* printf into a string of at most 255 bytes. */
[[gnu::format(printf, 1, 2)]] std::string formatted(const char *format, ...);

}  // namespace aclrmctl

#endif
