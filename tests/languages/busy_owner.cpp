// An owner at work beside two others; busy_owner.py says how, busy_owner.c is the third.
//
//     busy_owner_cpp ARRIVED GO ROUNDS
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cstdio>

#include "zv_acl_rm/zv_acl_rm.hpp"

namespace {

namespace zv = zv_acl_rm;

constexpr std::uint64_t kHandle = 0xb2;
constexpr std::uint8_t kTag = 0xb2;
constexpr std::uint32_t kChipType = 3;
constexpr std::uint32_t kBatches = 3;
constexpr std::uint32_t kBatch = 20;
constexpr std::array<std::uint32_t, 2> kPorts = {65537, 65538};

void require(bool right, const char *what) {
    if (!right) {
        std::fprintf(stderr, "wrong: %s\n", what);
        std::exit(1);
    }
}

template <typename T>
void must(const char *what, const zv::Result<T> &result) {
    if (!result) {
        std::fprintf(stderr, "%s: %s\n", what, result.failure().words().c_str());
        std::exit(1);
    }
}

std::array<std::uint8_t, 3> key_of(std::uint32_t offset, std::uint32_t round) {
    return {kTag, static_cast<std::uint8_t>(round), static_cast<std::uint8_t>(offset)};
}

zv::Rule make_rule(std::uint32_t offset, std::uint32_t round) {
    return zv::Rule(offset)
        .match(key_of(offset, round), {0xff, 0xff, 0xff})
        .verdict(static_cast<zv::Verdict>(offset % 3));
}

void write(zv::Client &client, std::uint32_t acl_id, std::uint32_t round) {
    std::array<std::uint32_t, kBatches> sent{};
    for (std::uint32_t batch = 0; batch < kBatches; batch++) {
        std::array<zv::Rule, kBatch> rules;
        for (std::uint32_t i = 0; i < kBatch; i++) {
            rules[i] = make_rule(batch * kBatch + i, round);
        }
        const auto sequence = client.submit(zv::requests::write_rules(acl_id, rules));
        must("submitting", sequence);
        sent[batch] = *sequence;
    }
    for (const std::uint32_t sequence : sent) {
        const auto answer = client.collect();
        must("collecting", answer);
        must("writing rules", answer->outcome);
        require(answer->sequence == sequence, "the order of the answers");
    }
}

void check(zv::Client &client, std::uint32_t acl_id, std::uint32_t round) {
    for (std::uint32_t first = 0; first < kBatches * kBatch; first += kBatch) {
        std::array<std::uint32_t, kBatch> offsets{};
        for (std::uint32_t i = 0; i < kBatch; i++) {
            offsets[i] = first + i;
        }
        const auto rules = client.read_rules(acl_id, offsets);
        must("reading rules", rules);
        require(rules->size() == kBatch, "the number of rules");
        for (std::uint32_t i = 0; i < kBatch; i++) {
            const zv::StoredRule &rule = (*rules)[i];
            const auto key = key_of(first + i, round);
            require(rule.offset == first + i, "an offset");
            require(rule.verdict == static_cast<zv::Verdict>(rule.offset % 3), "a verdict");
            require(std::memcmp(rule.key.data(), key.data(), key.size()) == 0, "a key");
            require(rule.mask[2] == 0xff && rule.mask[3] == 0, "a mask");
        }
    }
}

void use_counter_and_group(zv::Client &client) {
    const auto counter_id = client.create_counter(zv::CounterKind::kPackets);
    must("creating a counter", counter_id);
    const auto value = client.read_counter(*counter_id);
    must("reading a counter", value);
    require(value->kind == zv::CounterKind::kPackets && value->value == 0, "a counter's value");
    must("destroying a counter", client.destroy_counter(*counter_id));
    const auto group_id = client.create_mc_group(kPorts);
    must("creating a group", group_id);
    const auto ports = client.mc_group_ports(*group_id);
    must("reading a group", ports);
    require(ports->size() == 2 && (*ports)[0] + (*ports)[1] == kPorts[0] + kPorts[1], "ports");
    must("deleting a group", client.delete_mc_group(*group_id));
}

void work(zv::Client &client, std::uint32_t round) {
    const auto acl = client.create_acl(kBatches * kBatch);
    must("creating an ACL", acl);
    write(client, acl->acl_id, round);
    must("binding", client.bind_ports(acl->acl_id, kPorts));
    use_counter_and_group(client);
    check(client, acl->acl_id, round);
    must("unbinding", client.unbind_ports(acl->acl_id, kPorts));
    std::array<std::uint32_t, kBatch> first_batch{};
    for (std::uint32_t i = 0; i < kBatch; i++) {
        first_batch[i] = i;
    }
    must("deleting rules", client.delete_rules(acl->acl_id, first_batch));
    must("destroying the ACL", client.destroy_acl(acl->acl_id));
}

bool is_readable(int fd) {
    pollfd waited = {fd, POLLIN, 0};
    return poll(&waited, 1, 0) > 0;
}

}  // namespace

int main(int argc, char **argv) {
    require(argc == 4, "the arguments");
    const int arrived = open(argv[1], O_WRONLY);
    const int go = open(argv[2], O_RDONLY);
    const auto rounds = static_cast<std::uint32_t>(std::strtoul(argv[3], nullptr, 10));
    char byte = 'x';
    auto client = zv::Client::connect(kHandle);
    must("connecting", client);
    must("setting the time limit", client->set_timeout_ms(60000));
    must("opening", client->open(zv::Owner::kTarnOs));
    must("initialising", client->init(kChipType));
    require(::write(arrived, &byte, 1) == 1 && read(go, &byte, 1) == 1, "the start");
    std::uint32_t done = 0;
    do {
        work(*client, done++);
        require(done != rounds || ::write(arrived, &byte, 1) == 1, "the end");
    } while (done < rounds || !is_readable(go));
    std::printf("%u rounds\n", done);
    return 0;
}
