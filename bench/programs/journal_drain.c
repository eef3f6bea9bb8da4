// Stands in for the journal: reads every entry that is sent to its socket, in vain. Without a
// reader kex would be measured with a sink that takes nothing. It looks in now and then, so that it
// does not run in the middle of what is measured: a journal's own work is not kex's.

#include <errno.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

int main(void)
{
    static const struct sockaddr_un address = {AF_UNIX, "/run/systemd/journal/socket"};
    static const struct timespec pause = {0, 500000};
    static char entry[1 << 18];
    const int journal = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    unlink(address.sun_path);
    if (journal < 0 || bind(journal, (const struct sockaddr*)&address, sizeof(address)) != 0) {
        return 1;
    }
    while (recv(journal, entry, sizeof(entry), MSG_DONTWAIT) >= 0 || errno == EAGAIN) {
        if (errno == EAGAIN) {
            nanosleep(&pause, NULL);
            errno = 0;
        }
    }
    return 1;
}
