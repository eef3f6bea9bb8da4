#include "core/log.hpp"
#include "core/text_file.hpp"
#include "kexctl/bus.hpp"
#include "kexctl/json.hpp"
#include "kexctl/names.hpp"
#include "kexctl/verbs.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>

namespace kex::ctl
{
namespace
{

struct LogSize {
    std::string path;
    std::optional<intmax_t> bytes; /**< none when the file is missing */
};

struct Status {
    Owner owner;
    std::optional<int64_t> uptime_s;
    int32_t state;
    std::array<LogSize, 3> logs;
};

/** Seconds since the process was started; none when /proc does not show it. */
std::optional<int64_t> uptime_of(pid_t pid)
{
    constexpr int fields_before = 20; // between the name in parentheses and the start time
    const Stream file(std::fopen(("/proc/" + std::to_string(pid) + "/stat").c_str(), "re"));
    if (!file) {
        return std::nullopt;
    }
    std::array<char, 1024> buffer{};
    const size_t length = std::fread(buffer.data(), 1, buffer.size() - 1, file.get());
    const std::string text(buffer.data(), length);
    size_t at = text.rfind(')');
    for (int i = 0; i < fields_before && at != std::string::npos; ++i) {
        at = text.find(' ', at + 1);
    }
    if (at == std::string::npos) {
        return std::nullopt;
    }
    timespec now = {};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return now.tv_sec - std::strtoll(text.c_str() + at, nullptr, 10) / sysconf(_SC_CLK_TCK);
}

LogSize size_of(const std::string& path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        return {path, std::nullopt};
    }
    return {path, status.st_size};
}

Status read_status()
{
    Bus bus;
    const std::string log = log_file_path;
    const std::optional<Owner> owner = bus.owner();
    if (!owner) {
        throw Failure(ExitStatus::unreachable, std::string(service_name) + " is not on the bus");
    }
    return {*owner,
            uptime_of(owner->pid),
            bus.state(),
            {size_of(log), size_of(log + ".0"), size_of(log + ".1")}};
}

void print_json(const Status& status)
{
    Json json = {{"name", service_name}, {"owner", status.owner.name}, {"pid", status.owner.pid}};
    if (status.uptime_s) {
        json["uptime"] = *status.uptime_s;
    }
    json["state"] = status.state;
    json["logs"] = Json::array();
    for (const LogSize& log : status.logs) {
        if (log.bytes) {
            json["logs"].push_back({{"path", log.path}, {"bytes", *log.bytes}});
        }
    }
    print_line(json);
}

void print_uptime(int64_t seconds)
{
    constexpr int64_t minute = 60;
    constexpr int64_t hour = 60 * minute;
    constexpr int64_t day = 24 * hour;
    std::printf("uptime  %" PRId64 " d %02" PRId64 ":%02" PRId64 ":%02" PRId64 "\n", seconds / day,
                seconds % day / hour, seconds % hour / minute, seconds % minute);
}

void print_text(const Status& status)
{
    std::printf("name    %s\nowner   %s\npid     %d\n", service_name, status.owner.name.c_str(),
                status.owner.pid);
    if (status.uptime_s) {
        print_uptime(*status.uptime_s);
    }
    std::printf("State   %d\n", status.state);
    if (!status.logs[0].bytes) {
        std::printf("log     journal: %s is missing\n", status.logs[0].path.c_str());
    }
    for (const LogSize& log : status.logs) {
        if (log.bytes) {
            std::printf("log     %s, %jd bytes\n", log.path.c_str(), *log.bytes);
        }
    }
}

} // namespace

ExitStatus show_status(const Options& options)
{
    if (!options.words.empty()) {
        throw Failure(ExitStatus::wrong_usage, "status takes no arguments");
    }
    const Status status = read_status();
    if (options.json) {
        print_json(status);
    } else {
        print_text(status);
    }
    return ExitStatus::ok;
}

} // namespace kex::ctl
