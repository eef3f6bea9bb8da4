#include "operations.hpp"

#include "core/unique_fd.hpp"
#include "netlink/request.hpp"
#include "process.hpp"

#include <net/if.h>
#include <sys/socket.h>

#include <functional>

namespace kex::bench
{
namespace
{

std::string fill_in(std::string text, unsigned turn)
{
    constexpr std::string_view mark = "{n}";
    const size_t at = text.find(mark);
    return at == std::string::npos ? text : text.replace(at, mark.size(), std::to_string(turn));
}

class Command : public Operation
{
  public:
    Command(sd_bus* bus, std::string service, const Words& words)
        : bus_(bus), service_(std::move(service)), command_(words.at(1)),
          arguments_(words.begin() + 2, words.end())
    {
    }
    void run(unsigned turn) override
    {
        Words arguments = arguments_;
        for (std::string& argument : arguments) {
            argument = fill_in(argument, turn);
        }
        call(bus_, make_command(bus_, service_, command_, arguments).get());
    }

  private:
    sd_bus* bus_;
    std::string service_;
    std::string command_;
    Words arguments_;
};

class Method : public Operation
{
  public:
    Method(sd_bus* bus, Words words) : bus_(bus), words_(std::move(words)) {}
    void run(unsigned turn) override
    {
        sd_bus_message* raw = nullptr;
        check(sd_bus_message_new_method_call(bus_, &raw, words_.at(1).c_str(), words_.at(2).c_str(),
                                             words_.at(3).c_str(), words_.at(4).c_str()),
              words_.at(4));
        const Message request(raw);
        check(sd_bus_message_append(raw, "sb", fill_in(words_.at(5), turn).c_str(), 0),
              words_.at(4));
        call(bus_, raw);
    }

  private:
    sd_bus* bus_;
    Words words_;
};

/** What LINK_CTRL asks of the kernel, without any of kex around it. */
class SetLink : public Operation
{
  public:
    explicit SetLink(const std::string& link)
        : socket_(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE)),
          index_(if_nametoindex(link.c_str()))
    {
        check(index_ == 0 ? -1 : 0, link);
    }
    void run(unsigned turn) override
    {
        struct {
            nlmsghdr header;
            ifinfomsg link;
        } request = {};
        request.header.nlmsg_len = sizeof(request);
        request.header.nlmsg_type = RTM_SETLINK;
        request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK;
        request.header.nlmsg_seq = turn;
        request.link.ifi_index = static_cast<int>(index_);
        request.link.ifi_flags = IFF_UP;
        request.link.ifi_change = IFF_UP;
        sockaddr_nl kernel = {};
        kernel.nl_family = AF_NETLINK;
        sendto(socket_.get(), &request, sizeof(request), 0,
               reinterpret_cast<const sockaddr*>(&kernel), sizeof(kernel));
        alignas(nlmsghdr) std::array<char, 4096> reply;
        const ssize_t received = recv(socket_.get(), reply.data(), reply.size(), 0);
        check(received < ssize_t{NLMSG_HDRLEN + sizeof(int)} ? -1 : 0, "netlink");
        const auto* message = reinterpret_cast<const nlmsghdr*>(reply.data());
        check(static_cast<const nlmsgerr*>(NLMSG_DATA(message))->error, "netlink");
    }

  private:
    UniqueFd socket_;
    unsigned index_;
};

class Spawn : public Operation
{
  public:
    explicit Spawn(const Words& words) : words_(words.begin() + 1, words.end()) {}
    void run(unsigned turn) override
    {
        Words words = words_;
        for (std::string& word : words) {
            word = fill_in(word, turn);
        }
        Process(words).wait();
    }

  private:
    Words words_;
};

class OwnName : public Operation
{
  public:
    OwnName(sd_bus* bus, const Words& words)
        : bus_(bus), name_(words.at(1)), program_(words.begin() + 2, words.end())
    {
        sd_bus_slot* raw = nullptr;
        check(sd_bus_match_signal(bus, &raw, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                  "org.freedesktop.DBus", "NameOwnerChanged", note, this),
              "match");
        match_.reset(raw);
    }
    void run(unsigned /*turn*/) override
    {
        process_ = std::make_unique<Process>(program_);
        wait_until([this] { return owned_; });
    }
    void settle() override
    {
        process_->kill();
        wait_until([this] { return !owned_; });
    }

  private:
    static int note(sd_bus_message* signal, void* data, sd_bus_error* /*error*/)
    {
        auto* self = static_cast<OwnName*>(data);
        const char* name = nullptr;
        const char* former = nullptr;
        const char* owner = nullptr;
        sd_bus_message_read(signal, "sss", &name, &former, &owner);
        if (self->name_ == name) {
            self->owned_ = *owner != '\0';
        }
        return 0;
    }
    void wait_until(const std::function<bool()>& done)
    {
        constexpr uint64_t ten_seconds = 10'000'000;
        while (!done()) {
            const int processed = sd_bus_process(bus_, nullptr);
            check(processed, "the bus");
            if (processed == 0) {
                check(sd_bus_wait(bus_, ten_seconds) - 1, name_ + " does not appear");
            }
        }
    }

    sd_bus* bus_;
    std::string name_;
    Words program_;
    Slot match_;
    std::unique_ptr<Process> process_;
    bool owned_ = false;
};

} // namespace

std::unique_ptr<Operation> make_operation(sd_bus* bus, const Words& words)
{
    const std::string& kind = words.at(0);
    if (kind == "kex") {
        return std::make_unique<Command>(bus, kex_name, words);
    }
    if (kind == "plain") {
        return std::make_unique<Command>(bus, "bench.plain", words);
    }
    if (kind == "method") {
        return std::make_unique<Method>(bus, words);
    }
    if (kind == "setlink") {
        return std::make_unique<SetLink>(words.at(1));
    }
    if (kind == "spawn") {
        return std::make_unique<Spawn>(words);
    }
    if (kind == "own") {
        return std::make_unique<OwnName>(bus, words);
    }
    throw std::runtime_error("no operation is named " + kind);
}

} // namespace kex::bench
