#include "pcap_file.h"

#include <pcap/pcap.h>

#include <cerrno>
#include <cstring>
#include <memory>

namespace aclrmctl {

namespace {

struct CaptureCloser {
    void operator()(pcap_t *capture) const { pcap_close(capture); }
};

bool layer_of(int link_type, LinkLayer *layer) {
    *layer = link_type == DLT_EN10MB ? LinkLayer::kEthernet : LinkLayer::kIp;
    return link_type == DLT_EN10MB || link_type == DLT_RAW || link_type == DLT_IPV4 ||
           link_type == DLT_IPV6;
}

}  // namespace

std::string read_pcap_file(const std::string &file, uint32_t most,
                           std::vector<CapturedPacket> *packets, bool *more) {
    /* Opened here: the library's own complaint repeats the name. */
    FILE *stream = std::fopen(file.c_str(), "rbe");
    if (stream == nullptr) {
        return std::strerror(errno);
    }
    char complaint[PCAP_ERRBUF_SIZE] = "";
    const std::unique_ptr<pcap_t, CaptureCloser> capture(pcap_fopen_offline(stream, complaint));
    if (capture == nullptr) {
        std::fclose(stream);
        return std::string("no capture: ") + complaint;
    }
    CapturedPacket packet;
    const int link_type = pcap_datalink(capture.get());
    if (!layer_of(link_type, &packet.layer)) {
        const char *name = pcap_datalink_val_to_name(link_type);
        return "a capture of link type " +
               (name == nullptr ? std::to_string(link_type) : std::string(name)) +
               "; only Ethernet and raw IP can be sent";
    }
    pcap_pkthdr *head = nullptr;
    const u_char *data = nullptr;
    while (true) {
        const int result = pcap_next_ex(capture.get(), &head, &data);
        if (result == PCAP_ERROR_BREAK) {
            break; /* the end */
        }
        if (packets->size() == most) {
            *more = true; /* whatever it is */
            break;
        }
        if (result != 1) {
            return "packet " + std::to_string(packets->size() + 1) + ": " +
                   pcap_geterr(capture.get());
        }
        packet.length = head->len;
        packet.bytes.assign(data, data + head->caplen);
        packets->push_back(packet);
    }
    return "";
}

}  // namespace aclrmctl
