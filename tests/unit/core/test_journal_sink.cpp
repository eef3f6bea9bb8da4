#include "core/qlog.hpp"
#include "core/unique_fd.hpp"
#include "support/temp_dir.hpp"
#include "support/wire.hpp"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cstring>

namespace
{

/** Where the journal listens in a test; empty while there is none. */
std::string journal_path;
std::string addressed_to;
int attempts = 0;

sockaddr_un address_of(const std::string& path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    return address;
}

} // namespace

// Connects to the test's journal where the system's is meant: its address is fixed.
extern "C" int connect(int fd, const sockaddr* address, socklen_t /*length*/)
{
    using Call = int (*)(int, const sockaddr*, socklen_t);
    static const auto next = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "connect"));
    addressed_to = reinterpret_cast<const sockaddr_un*>(address)->sun_path;
    const sockaddr_un redirected = address_of(journal_path);
    return next(fd, reinterpret_cast<const sockaddr*>(&redirected), sizeof(redirected));
}

// Counts what is tried.
extern "C" ssize_t sendmsg(int fd, const msghdr* message, int flags)
{
    using Call = ssize_t (*)(int, const msghdr*, int);
    static const auto next = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "sendmsg"));
    ++attempts;
    return next(fd, message, flags);
}

namespace kex
{
namespace
{

using test::Bytes;
using test::dump;

constexpr size_t max_message_size = 64 * 1024;

/** The datagram that the journal gets for a message. */
Bytes entry(int priority, int component, const std::string& message)
{
    return "SYSLOG_IDENTIFIER=kex\nPRIORITY=" + std::to_string(priority) +
           "\nQLOG_COMPONENT=" + std::to_string(component) + "\nMESSAGE\n" +
           test::host_order(static_cast<uint64_t>(message.size())) + message + "\n";
}

class JournalSink : public testing::Test
{
  protected:
    JournalSink()
    {
        journal_path = folder_.file("socket");
        start_journal_anew();
    }

    void start_journal_anew()
    {
        journal_ = UniqueFd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        std::filesystem::remove(journal_path);
        const sockaddr_un address = address_of(journal_path);
        bind(journal_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    }

    /** The next datagram of the journal; none when nothing has arrived. */
    Bytes received()
    {
        Bytes datagram(2 * max_message_size, '\0');
        const ssize_t size = recv(journal_.get(), datagram.data(), datagram.size(), 0);
        datagram.resize(size < 0 ? 0 : static_cast<size_t>(size));
        return datagram;
    }

  private:
    test::TempDir folder_;
    UniqueFd journal_;
};

TEST_F(JournalSink, SendsOneEntryPerMessage)
{
    qlog_printf(4, 320, "%s_%s():%d - rc=%d\n", "exe", "operation", 42, -1);
    EXPECT_EQ(dump(received()), dump(entry(4, 320, "exe_operation():42 - rc=-1")));
}

TEST_F(JournalSink, SendsToTheSystemJournal)
{
    qlog_printf(4, 320, "text\n");
    EXPECT_EQ(addressed_to, "/run/systemd/journal/socket");
}

TEST_F(JournalSink, ComponentIsAFieldOfTheEntry)
{
    qlog_printf(4, 128, "text\n");
    EXPECT_EQ(dump(received()), dump(entry(4, 128, "text")));
}

TEST_F(JournalSink, LeavesOutTheTrailingNewlines)
{
    qlog_printf(4, 320, "text\n\n");
    EXPECT_EQ(dump(received()), dump(entry(4, 320, "text")));
}

TEST_F(JournalSink, KeepsNewlinesInsideTheMessage)
{
    qlog_printf(4, 320, "one\nPRIORITY=0\ntwo");
    EXPECT_EQ(dump(received()), dump(entry(4, 320, "one\nPRIORITY=0\ntwo")));
}

TEST_F(JournalSink, SendsAMessageWithoutText)
{
    qlog_printf(4, 320, "%s", "");
    EXPECT_EQ(dump(received()), dump(entry(4, 320, "")));
}

TEST_F(JournalSink, CutsAMessageThatNoDatagramHolds)
{
    qlog_printf(4, 320, "%s\n", std::string(1024 * 1024, 'x').c_str());
    EXPECT_TRUE(received() == entry(4, 320, std::string(max_message_size, 'x')));
}

TEST_F(JournalSink, FullJournalDoesNotHoldTheCallerUp)
{
    qlog_printf(4, 320, "connects\n");
    attempts = 0;
    for (int sent = 0; sent < 10'000; ++sent) { // far beyond what a socket's queue takes
        qlog_printf(4, 320, "text\n");
    }
    EXPECT_EQ(attempts, 10'000);
}

TEST_F(JournalSink, StaysConnected)
{
    qlog_printf(4, 320, "first\n");
    addressed_to.clear();
    qlog_printf(4, 320, "second\n");
    EXPECT_EQ(addressed_to, "");
}

TEST_F(JournalSink, FindsAJournalThatWasStartedAnew)
{
    qlog_printf(4, 320, "former\n");
    start_journal_anew();
    qlog_printf(4, 320, "anew\n");
    EXPECT_EQ(dump(received()), dump(entry(4, 320, "anew")));
}

TEST_F(JournalSink, RecoversOnceTheJournalReadsAgain)
{
    for (int sent = 0; sent < 10'000; ++sent) {
        qlog_printf(4, 320, "flood\n");
    }
    while (!received().empty()) {}
    qlog_printf(4, 320, "after\n");
    EXPECT_EQ(dump(received()), dump(entry(4, 320, "after")));
}

TEST_F(JournalSink, MissingJournalIsSilent)
{
    journal_path = "/nonexistent/socket";
    testing::internal::CaptureStderr();
    qlog_printf(2, 320, "text\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(JournalSink, MissingJournalIsFoundLater)
{
    const std::string path = std::exchange(journal_path, "/nonexistent/socket");
    qlog_printf(4, 320, "lost\n");
    journal_path = path;
    qlog_printf(4, 320, "kept\n");
    EXPECT_EQ(dump(received()), dump(entry(4, 320, "kept")));
}

TEST_F(JournalSink, UsesOneDescriptorForAllMessages)
{
    qlog_printf(4, 320, "first\n");
    const auto before = test::open_descriptors();
    qlog_printf(4, 320, "second\n");
    EXPECT_EQ(test::open_descriptors(), before);
}

struct Priority {
    int level;
    int priority;
};

class JournalPriority : public JournalSink, public testing::WithParamInterface<Priority>
{
};

TEST_P(JournalPriority, IsTheLevelWithinTheJournalsRange)
{
    qlog_printf(GetParam().level, 320, "text\n");
    EXPECT_EQ(dump(received()), dump(entry(GetParam().priority, 320, "text")));
}

INSTANTIATE_TEST_SUITE_P(
    Levels, JournalPriority,
    testing::Values(Priority{-1, 0}, Priority{0, 0}, Priority{2, 2}, Priority{3, 3}, Priority{4, 4},
                    Priority{5, 5}, Priority{6, 6}, Priority{7, 7}, Priority{8, 7}, Priority{9, 7}),
    [](const auto& priority) { return "Level" + std::to_string(priority.index); });

} // namespace
} // namespace kex
