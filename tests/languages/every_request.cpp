// Sends every request once, as every_request.c and every_request.py do: a test compares bytes.
//
//     every_request_cpp SOCKET
#include <array>
#include <cstdio>

#include "zv_acl_rm/zv_acl_rm.hpp"

namespace {

namespace zv = zv_acl_rm;

constexpr std::uint64_t kHandle = 0x1122334455667788;

// A request that fails ends the program: the comparison would have too few.
template <typename T>
void must(const zv::Result<T> &result) {
    if (!result) {
        std::fprintf(stderr, "%s\n", result.failure().words().c_str());
        std::exit(1);
    }
}

std::array<zv::Rule, 3> make_rules() {
    std::array<std::uint8_t, 128> key{};
    std::array<std::uint8_t, 128> mask{};
    for (unsigned i = 0; i < 128; i++) {
        key[i] = static_cast<std::uint8_t>(i);
        mask[i] = static_cast<std::uint8_t>(255 - i);
    }
    return {zv::Rule(3)
                .match(key, mask)
                .key_type(2)
                .verdict(zv::Verdict::kTrap)
                .counter(77)
                .forward_to_port(65537),
            zv::Rule(4)
                .match({key.data(), std::size_t{5}}, {mask.data(), std::size_t{5}})
                .forward_to_mc_group(6),
            zv::Rule(5).verdict(zv::Verdict::kDrop).valid(false)};
}

void send_acls_and_rules(zv::Client &client) {
    std::array<zv::Rule, 20> full_batch;
    for (std::uint32_t offset = 0; offset < 20; offset++) {
        full_batch[offset] = zv::Rule(offset);
    }
    must(client.open(zv::Owner::kPra));
    must(client.init(9));
    must(client.create_acl(64, zv::Direction::kEgress, {1, 2, 3}));
    must(client.destroy_acl(7, zv::Direction::kEgress, 3));
    must(client.edit_acl(7, zv::Direction::kEgress));
    must(client.resize_acl(7, 128));
    must(client.write_rules(7, make_rules()));
    must(client.write_rules(7, full_batch));
    must(client.delete_rules(7, {1, 5}));
    must(client.read_rules(7, {0, 3}));
    must(client.read_rules(7, {0, 3}, zv::Activity::kReadAndClear));
    must(client.move_rules(7, 1, 2, 5));
}

void send_bindings(zv::Client &client) {
    std::array<std::uint32_t, 100> ports{};
    for (std::uint32_t i = 0; i < 100; i++) {
        ports[i] = 65537 + i;
    }
    must(client.bind_ports(7, ports));
    must(client.unbind_ports(7, {65537}));
    must(client.bind_rifs(7, {1, 65535}));
    must(client.unbind_rifs(7, {}));
    must(client.bind_system(7));
    must(client.unbind_system(7));
    must(client.add_ports({65537, 65538}));
    must(client.remove_ports({65538}));
}

void send_counters_and_groups(zv::Client &client) {
    must(client.create_counter(zv::CounterKind::kPackets));
    must(client.create_counter(zv::CounterKind::kBytes));
    must(client.destroy_counter(5));
    must(client.read_counter(5));
    must(client.clear_counter(5));
    must(client.create_mc_group({65537, 65538}));
    must(client.add_mc_group_ports(4, {65539}));
    must(client.remove_mc_group_ports(4, {65539}));
    must(client.delete_mc_group(4));
    must(client.mc_group_ports(4, 10));
    must(client.dump("/tmp/some file"));
}

void submit_some(zv::Client &client) {
    must(client.submit(zv::requests::create_acl(64)));
    must(client.submit(zv::requests::write_rules(7, make_rules())));
    must(client.submit(zv::requests::dump("/tmp/d")));
    for (int i = 0; i < 3; i++) {
        const auto answer = client.collect();
        must(answer);
        must(answer->outcome);
    }
}

}  // namespace

int main(int argc, char **argv) {
    auto client = zv::Client::connect(kHandle, argc > 1 ? argv[1] : nullptr);
    must(client);
    send_acls_and_rules(*client);
    send_bindings(*client);
    send_counters_and_groups(*client);
    submit_some(*client);
    return 0;
}
