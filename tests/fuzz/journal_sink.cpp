// A message becomes one entry of the system journal with four fields, whatever is in its text.

#include "core/qlog.hpp"
#include "support/input.hpp"
#include "support/journal_fields.hpp"
#include "support/require.hpp"
#include "support/wire.hpp"
#include "support/wrapped.hpp"

#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>

namespace
{

using kex::fuzz::Fields;

constexpr size_t longest_message = 65536;

std::vector<std::string> datagrams;
bool connected = false;

} // namespace

WRAPPED(int, connect, int /*descriptor*/, const sockaddr* address, socklen_t /*length*/)
{
    const auto* path = reinterpret_cast<const sockaddr_un*>(address)->sun_path;
    REQUIRE(std::string(path) == "/run/systemd/journal/socket");
    connected = true;
    return 0;
}

WRAPPED(ssize_t, sendmsg, int /*descriptor*/, const msghdr* message, int flags)
{
    REQUIRE(message->msg_name == nullptr && flags == (MSG_DONTWAIT | MSG_NOSIGNAL));
    if (!connected) {
        errno = ENOTCONN;
        return -1;
    }
    std::string& bytes = datagrams.emplace_back();
    for (size_t i = 0; i < message->msg_iovlen; ++i) {
        const iovec& part = message->msg_iov[i];
        bytes.append(static_cast<const char*>(part.iov_base), part.iov_len);
    }
    return static_cast<ssize_t>(bytes.size());
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    kex::fuzz::Input input(data, size);
    const auto level = input.number<int>();
    const auto component = input.number<int>();
    std::string text(input.byte() * size_t{300}, 'x'); // so that few bytes make a long message
    text += input.rest().c_str();
    qlog_printf(level, component, "%s", text.c_str());
    text.resize(text.find_last_not_of('\n') + 1); // all of it when there is no other character
    const Fields expected{{"SYSLOG_IDENTIFIER", "kex"},
                          {"PRIORITY", std::to_string(std::clamp(level, 0, 7))},
                          {"QLOG_COMPONENT", std::to_string(component)},
                          {"MESSAGE", text.substr(0, longest_message)}};
    REQUIRE(datagrams.size() == 1 && kex::fuzz::read_fields(datagrams[0]) == expected);
    datagrams.clear();
    return 0;
}
