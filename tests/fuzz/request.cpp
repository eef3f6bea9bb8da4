// Requests put together from any sequence of attributes and nests: the bytes are those of a model,
// and what does not fit is refused and leaves no trace.

#include "netlink/request.hpp"
#include "support/input.hpp"
#include "support/recorded_log.hpp"
#include "support/require.hpp"

namespace
{

using namespace kex;

/** The attributes as text, and where the open nests begin in it. */
struct Model {
    std::string bytes;
    std::vector<size_t> nests;
    size_t refused = 0;

    /** True, and the attribute is added, when the capacity suffices. */
    bool add(uint16_t type, const std::string& payload)
    {
        std::string attribute(4, '\0');
        const auto length = static_cast<uint16_t>(4 + payload.size());
        std::memcpy(attribute.data(), &length, 2);
        std::memcpy(attribute.data() + 2, &type, 2);
        attribute += payload;
        attribute.resize((attribute.size() + 3) / 4 * 4);
        if (bytes.size() + attribute.size() > netlink::small_request) {
            ++refused;
            return false;
        }
        bytes += attribute;
        return true;
    }

    void end_nest()
    {
        const auto length = static_cast<uint16_t>(bytes.size() - nests.back());
        std::memcpy(bytes.data() + nests.back(), &length, 2);
        nests.pop_back();
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::Input input(data, size);
    netlink::NetlinkCommandSocket sock;
    sock.seq = input.number<uint32_t>();
    netlink::Request<ifinfomsg, netlink::small_request> request(sock, RTM_NEWLINK, NLM_F_ACK);
    Model model{std::string(reinterpret_cast<char*>(&request.header()), 32), {}, 0};
    std::vector<rtattr*> nests;
    while (!input.empty()) {
        const uint16_t type = input.byte();
        const size_t action = input.byte();
        if (action == 1) {
            rtattr* nest = request.begin(type);
            model.nests.push_back(model.bytes.size());
            REQUIRE((nest != nullptr) == model.add(type, {}));
            nest == nullptr ? model.nests.pop_back() : nests.push_back(nest);
        } else if (action == 2 && !nests.empty()) {
            request.end(nests.back());
            nests.pop_back();
            model.end_nest();
        } else {
            const std::string payload = input.block();
            REQUIRE(request.add(type, payload.data(), static_cast<uint32_t>(payload.size())) ==
                    model.add(type, payload));
        }
    }
    const auto length = static_cast<uint32_t>(model.bytes.size());
    std::memcpy(model.bytes.data(), &length, 4);
    REQUIRE(std::string(reinterpret_cast<char*>(&request.header()), request.header().nlmsg_len) ==
            model.bytes);
    REQUIRE(fuzz::count_lines(fuzz::take_log(), "ERROR - rtattr overflow") == model.refused);
    fuzz::forget_log();
    return 0;
}
