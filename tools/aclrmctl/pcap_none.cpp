/* In place of pcap_file.cpp where the tool is built without libpcap. */
#include "pcap_file.h"

namespace aclrmctl {

std::string read_pcap_file(const std::string &, uint32_t, std::vector<CapturedPacket> *, bool *) {
    return "this aclrmctl was built without libpcap and cannot read captures";
}

}  // namespace aclrmctl
