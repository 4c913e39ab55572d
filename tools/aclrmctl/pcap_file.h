/* Captures as files: every packet, read before any is sent. */
#ifndef ACLRMCTL_PCAP_FILE_H
#define ACLRMCTL_PCAP_FILE_H

#include <cstdint>
#include <string>
#include <vector>

#include "frame.h"

namespace aclrmctl {

struct CapturedPacket {
    LinkLayer layer = LinkLayer::kEthernet;
    uint32_t length = 0;        /* bytes on the wire */
    std::vector<uint8_t> bytes; /* as many as were captured */
};

/* The first `most` packets of a file; *more tells whether it goes on behind them. Returns "", or
 * what is wrong with the file, in words that go on from its name. */
std::string read_pcap_file(const std::string &file, uint32_t most,
                           std::vector<CapturedPacket> *packets, bool *more);

}  // namespace aclrmctl

#endif
