#include "commands/command_handler.hpp"
#include "commands/log.hpp"
#include "commands/validators/validators.hpp"
#include "core/unique_fd.hpp"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <optional>

namespace kex::commands
{
namespace
{

// Many texts of this command end in two newlines, and some in a blank before them. Intended.
constexpr const char* send_packet = "send_network_pkt";

constexpr off_t header_size = ETH_HLEN;
constexpr off_t min_frame_size = 64;
constexpr off_t max_frame_size = 1522;

/** An Ethernet frame without its check sequence. */
struct Frame {
    std::array<uint8_t, max_frame_size> bytes;
    long size;
};

/** Opens a frame's file; a directory has no frame and counts as a file that does not open. */
UniqueFd open_frame_file(const std::string& path)
{
    UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    if (file && (fstat(file.get(), &status) != 0 || S_ISDIR(status.st_mode))) {
        return {};
    }
    return file;
}

/** The number of bytes to send; none for a file that is too small. A longer one is cut. */
std::optional<long> frame_size(const UniqueFd& file)
{
    const long size = lseek(file.get(), 0, SEEK_END);
    if (size < header_size) {
        LOG_ERROR_AS(send_packet, __LINE__, "File size is too small to hold ether_header data\n\n");
        return std::nullopt;
    }
    if (size < min_frame_size) {
        LOG_ERROR_AS(send_packet, __LINE__, "File size is too small %ld\n\n", size);
        return std::nullopt;
    }
    if (size > max_frame_size) {
        LOG_ERROR_AS(send_packet, __LINE__, "File size is too large or small %ld\n\n", size);
    }
    return std::min<long>(size, max_frame_size);
}

std::optional<Frame> read_frame(const std::string& path)
{
    const UniqueFd file = open_frame_file(path);
    if (!file) {
        LOG_ERROR_AS(send_packet, __LINE__, "failed to open %s\n", path.c_str());
        return std::nullopt;
    }
    const auto size = frame_size(file);
    if (!size) {
        return std::nullopt;
    }
    Frame frame = {{}, *size};
    const ssize_t length =
        pread(file.get(), frame.bytes.data(), static_cast<size_t>(frame.size), 0);
    if (length < header_size) {
        LOG_ERROR_AS(send_packet, __LINE__, "Failed to read ether_header data from file\n\n");
        return std::nullopt;
    }
    if (length < frame.size) {
        LOG_ERROR_AS(send_packet, __LINE__, "failed to read %s\n", path.c_str());
        return std::nullopt;
    }
    return frame;
}

/** Everything but the link and the destination stays 0: the frame itself has its EtherType. */
sockaddr_ll destination_of(const Frame& frame, unsigned index)
{
    sockaddr_ll address = {};
    address.sll_ifindex = static_cast<int>(index);
    address.sll_halen = ETH_ALEN;
    std::memcpy(address.sll_addr, frame.bytes.data(), ETH_ALEN);
    return address;
}

} // namespace

void CommandHandler::send_network_pkt(const Args& args)
{
    if (args.size() != 1 || is_invalid_ifname(args[0])) {
        LOG_ERROR("invalid parm or incorrect ifacename for LLDP\n");
        return;
    }
    const std::string path = "/etc/lldpd.d/tirv" + args[0] + ".packet";
    LOG_TRACE("sending network packet to %s from %s\n", args[0].c_str(), path.c_str());
    const auto frame = read_frame(path);
    if (!frame) {
        return;
    }
    const UniqueFd packet_socket(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, htons(ETH_P_ALL)));
    if (!packet_socket) {
        LOG_ERROR("Fail to open socket \n\n");
        return;
    }
    const unsigned index = if_nametoindex(args[0].c_str());
    if (index == 0) {
        LOG_ERROR("Failed to get interface index \n\n");
        return;
    }
    const sockaddr_ll address = destination_of(*frame, index);
    // The labels do not match the values behind them. Intended.
    LOG_TRACE("size %ld destmac  %x index %02x:%02x:%02x:%02x:%02x:%02x \n\n", frame->size, index,
              address.sll_addr[0], address.sll_addr[1], address.sll_addr[2], address.sll_addr[3],
              address.sll_addr[4], address.sll_addr[5]);
    if (sendto(packet_socket.get(), frame->bytes.data(), static_cast<size_t>(frame->size), 0,
               reinterpret_cast<const sockaddr*>(&address), sizeof(address)) < 0) {
        LOG_ERROR("Failed to send packet \n\n");
    }
}

} // namespace kex::commands
