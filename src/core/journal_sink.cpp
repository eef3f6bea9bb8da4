// qlog_printf on the system journal, for systems without the debug-log library.
// sd_journal_sendv would wait for a journal that has stopped reading; a datagram of the journal's
// own protocol, sent without waiting, is dropped instead and cannot hold the daemon up.

#include "core/formatted_text.hpp"
#include "core/qlog.hpp"
#include "core/unique_fd.hpp"

#include <endian.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

namespace
{

constexpr sockaddr_un journal_address = {AF_UNIX, "/run/systemd/journal/socket"};

/** Fits a socket's default send buffer with room to spare. A longer message is cut here. */
constexpr size_t max_message_size = 65536;

constexpr int lowest_priority = 7;

std::string_view without_trailing_newlines(std::string_view text)
{
    while (text.ends_with('\n')) {
        text.remove_suffix(1);
    }
    return text;
}

iovec part(const void* data, size_t size)
{
    return {const_cast<void*>(data), size}; // iovec serves reading too, hence not const
}

void send_to_journal(int level, int component, std::string_view message)
{
    static const kex::UniqueFd journal(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));

    std::array<char, 128> fields{};
    const int fields_size =
        std::snprintf(fields.data(), fields.size(),
                      "SYSLOG_IDENTIFIER=kex\nPRIORITY=%d\nQLOG_COMPONENT=%d\nMESSAGE\n",
                      std::clamp(level, 0, lowest_priority), component);
    // A field given with its length may hold newlines, which an argument in a message can.
    const uint64_t message_size = htole64(message.size());
    std::array<iovec, 4> parts{part(fields.data(), static_cast<size_t>(fields_size)),
                               part(&message_size, sizeof(message_size)),
                               part(message.data(), message.size()), part("\n", 1)};

    msghdr datagram = {};
    datagram.msg_name = const_cast<sockaddr_un*>(&journal_address); // receiving would write it
    datagram.msg_namelen = sizeof(journal_address);
    datagram.msg_iov = parts.data();
    datagram.msg_iovlen = parts.size();
    sendmsg(journal.get(), &datagram, MSG_DONTWAIT | MSG_NOSIGNAL);
}

} // namespace

extern "C" void qlog_printf(int level, int component, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    const kex::FormattedText text({}, format, args);
    va_end(args);
    send_to_journal(level, component,
                    without_trailing_newlines(text.view()).substr(0, max_message_size));
}
