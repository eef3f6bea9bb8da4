#include "kexctl/output.hpp"
#include "kexctl/verbs.hpp"

#include <cstdio>
#include <exception>
#include <map>

namespace
{

using namespace kex::ctl;

ExitStatus run(const Options& options)
{
    static const std::map<std::string, ExitStatus (*)(const Options&)> verbs{
        {"complete", show_completions}, {"help", show_help}, {"list", show_list}, {"log", show_log},
        {"status", show_status},
    };
    if (options.version) {
        std::puts("kexctl " KEX_VERSION);
        return ExitStatus::ok;
    }
    if (options.help) {
        return show_help({});
    }
    if (options.verb.empty()) {
        throw Failure(ExitStatus::wrong_usage, "no command; see kexctl --help");
    }
    const auto verb = verbs.find(options.verb);
    return verb == verbs.end() ? run_command(options) : verb->second(options);
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return static_cast<int>(run(parse_options({argv + 1, argv + argc})));
    } catch (const Failure& failure) {
        std::fflush(stdout);
        complain(failure.what());
        return static_cast<int>(failure.status());
    } catch (const std::exception& error) {
        complain(error.what());
        return static_cast<int>(ExitStatus::command_failed);
    }
}
