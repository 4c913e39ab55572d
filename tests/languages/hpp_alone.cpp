// Nothing before it: the header brings along what it needs. Its templates are used, not only read.
#include "zv_acl_rm/zv_acl_rm.hpp"

#include <vector>

#if defined(__cpp_lib_span)
#include <span>
#endif

namespace zv = zv_acl_rm;

static_assert(!std::is_copy_constructible_v<zv::Client> && !std::is_copy_assignable_v<zv::Client>);
static_assert(std::is_nothrow_move_constructible_v<zv::Client>);
static_assert(std::is_nothrow_move_assignable_v<zv::Client>);
static_assert(!std::is_convertible_v<zv::Owner, std::uint32_t>, "enums do not turn into numbers");
static_assert(std::is_convertible_v<std::vector<std::uint32_t>, zv::Numbers>);
static_assert(!std::is_convertible_v<std::vector<std::uint16_t>, zv::Numbers>);

zv::Result<void> bind_any_list(zv::Client &client);

zv::Result<void> bind_any_list(zv::Client &client) {
    const std::vector<std::uint32_t> ports = {1, 2};
    const std::uint32_t in_a_row[] = {1, 2};
    (void)client.bind_ports(1, ports);
    (void)client.bind_ports(1, in_a_row);
    (void)client.bind_ports(1, {in_a_row, std::size_t{1}});
#if defined(__cpp_lib_span)
    (void)client.bind_ports(1, std::span<const std::uint32_t>(ports));
#endif
    return client.bind_ports(1, {1, 2});
}
