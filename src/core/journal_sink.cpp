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
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>

namespace
{

constexpr sockaddr_un journal_address = {AF_UNIX, "/run/systemd/journal/socket"};

/** Fits a socket's default send buffer with room to spare. A longer message is cut here. */
constexpr size_t max_message_size = 65536;

constexpr int lowest_priority = 7;

constexpr std::string_view identifier_field = "SYSLOG_IDENTIFIER=kex\n";
constexpr std::string_view message_field = "MESSAGE\n";

std::string_view without_trailing_newlines(std::string_view text)
{
    while (text.ends_with('\n')) {
        text.remove_suffix(1);
    }
    return text;
}

iovec part(std::string_view bytes)
{
    // iovec serves reading too, hence not const.
    return {const_cast<char*>(bytes.data()), bytes.size()};
}

/** Writes "name=number" and a newline. @return where the text goes on */
char* put_number(char* out, std::string_view name, int number)
{
    constexpr size_t most_digits = 11;
    out = std::ranges::copy(name, out).out;
    *out++ = '=';
    out = std::to_chars(out, out + most_digits, number).ptr;
    *out++ = '\n';
    return out;
}

/**
 * Sends without waiting. The socket stays connected, which spares looking the path up each time,
 * until a journal that was started anew no longer reads at the other end.
 */
void send_entry(const msghdr& entry)
{
    static const kex::UniqueFd journal(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const auto send = [&entry] {
        return sendmsg(journal.get(), &entry, MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
    };
    if (send() || (errno != ENOTCONN && errno != ECONNREFUSED)) {
        return;
    }
    if (connect(journal.get(), reinterpret_cast<const sockaddr*>(&journal_address),
                sizeof(journal_address)) == 0) {
        send();
    }
}

void send_to_journal(int level, int component, std::string_view message)
{
    std::array<char, 128> fields;
    char* end = std::ranges::copy(identifier_field, fields.data()).out;
    end = put_number(end, "PRIORITY", std::clamp(level, 0, lowest_priority));
    end = put_number(end, "QLOG_COMPONENT", component);
    // A field given with its length may hold newlines, which an argument in a message can.
    end = std::ranges::copy(message_field, end).out;
    const uint64_t message_size = htole64(message.size());
    std::memcpy(end, &message_size, sizeof(message_size));
    end += sizeof(message_size);

    std::array<iovec, 3> parts{part({fields.data(), end}), part(message), part("\n")};
    msghdr entry = {};
    entry.msg_iov = parts.data();
    entry.msg_iovlen = parts.size();
    send_entry(entry);
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
