#include "support/log_file_test.hpp"

#include <pwd.h>
#include <sys/stat.h>

#include <cstring>
#include <sstream>

namespace
{

time_t clock_now = kex::test::still_time;
int lookups = 0;
std::vector<std::string> gifts;

} // namespace

extern "C" time_t time(time_t* result) noexcept
{
    if (result != nullptr) {
        *result = clock_now;
    }
    return clock_now;
}

extern "C" passwd* getpwnam(const char* name)
{
    static passwd owner = [] {
        passwd entry = {};
        entry.pw_uid = kex::test::known_uid;
        entry.pw_gid = kex::test::known_gid;
        return entry;
    }();
    ++lookups;
    return std::strcmp(name, kex::test::known_owner) == 0 ? &owner : nullptr;
}

extern "C" int fchown(int /*fd*/, uid_t uid, gid_t gid) noexcept
{
    gifts.push_back(std::to_string(uid) + ":" + std::to_string(gid));
    errno = EPERM; // a failure is ignored, so that every test shows that too
    return -1;
}

namespace kex::test
{

LogFileTest::LogFileTest()
{
    setenv("TZ", "UTC", 1);
    set_clock(still_time);
    umask(022);
    gifts.clear();
    lookups = 0;
}

LogFileTest::~LogFileTest()
{
    umask(022);
}

std::vector<std::string> LogFileTest::texts(const std::string& file)
{
    std::istringstream lines(content(file));
    std::vector<std::string> all;
    for (std::string line; std::getline(lines, line);) {
        const bool stamped = line.starts_with(still_stamp);
        all.push_back(stamped ? line.substr(std::strlen(still_stamp)) : "no stamp: " + line);
    }
    return all;
}

void LogFileTest::set_clock(time_t now)
{
    clock_now = now;
}

std::vector<std::string> LogFileTest::given_to()
{
    return gifts;
}

int LogFileTest::owner_lookups()
{
    return lookups;
}

} // namespace kex::test
