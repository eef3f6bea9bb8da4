#include "kexctl/log_json.hpp"
#include "kexctl/log_source.hpp"
#include "kexctl/output.hpp"
#include "kexctl/verbs.hpp"

#include <cstdio>

namespace kex::ctl
{
namespace
{

void print_as_asked(const LogMessage& message, const Options& options)
{
    if (options.errors && !message.is_error()) {
        return;
    }
    if (options.json) {
        print_line(as_json(message));
    } else {
        print_message(message);
    }
}

} // namespace

ExitStatus show_log(const Options& options)
{
    if (!options.words.empty()) {
        throw Failure(ExitStatus::wrong_usage, "log takes no arguments");
    }
    const auto log = open_log();
    while (true) {
        for (const LogMessage& message : log->read()) {
            print_as_asked(message, options);
        }
        std::fflush(stdout);
        if (!options.follow) {
            return ExitStatus::ok;
        }
        log->wait();
    }
}

} // namespace kex::ctl
