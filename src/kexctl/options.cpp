#include "kexctl/options.hpp"

#include "kexctl/failure.hpp"

#include <algorithm>
#include <map>

namespace kex::ctl
{
namespace
{

// Completion calls kexctl with this one; it is not shown.
constexpr const char* completion_verb = "complete";

const std::map<std::string, bool Options::*>& flags()
{
    static const std::map<std::string, bool Options::*> all{
        {"--help", &Options::help},       {"-h", &Options::help},
        {"--version", &Options::version}, {"--json", &Options::json},
        {"--dry-run", &Options::dry_run}, {"--follow", &Options::follow},
        {"-f", &Options::follow},         {"--errors", &Options::errors},
    };
    return all;
}

const std::map<std::string, std::vector<std::string>>& verb_options()
{
    static const std::map<std::string, std::vector<std::string>> all{
        {"help", {"--json"}},
        {"list", {"--json"}},
        {"log", {"--errors", "--follow", "--json", "-f"}},
        {"status", {"--json"}},
    };
    return all;
}

void set_flag(Options& options, const std::string& option)
{
    const auto flag = flags().find(option);
    if (flag == flags().end()) {
        throw Failure(ExitStatus::wrong_usage, "unknown option " + option);
    }
    options.*flag->second = true;
}

/** Refuses options that would be without effect, which a script had better know. */
void check_options(const Options& options, const std::vector<std::string>& given)
{
    const std::vector<std::string>& allowed = options_of(options.verb);
    for (const std::string& option : given) {
        if (!options.verb.empty() && std::ranges::find(allowed, option) == allowed.end()) {
            throw Failure(ExitStatus::wrong_usage, option + " does not belong to " + options.verb);
        }
    }
}

bool is_option(const std::string& text)
{
    return text.size() > 1 && text[0] == '-';
}

} // namespace

const std::vector<std::string>& subcommands()
{
    static const std::vector<std::string> all = [] {
        std::vector<std::string> names;
        for (const auto& [name, options] : verb_options()) {
            names.push_back(name);
        }
        return names;
    }();
    return all;
}

const std::vector<std::string>& options_of(const std::string& verb)
{
    static const std::vector<std::string> of_commands{"--dry-run", "--json"};
    const auto found = verb_options().find(verb);
    return found == verb_options().end() ? of_commands : found->second;
}

Options parse_options(const std::vector<std::string>& arguments)
{
    Options options;
    std::vector<std::string> given;
    bool verbatim = false;
    for (const std::string& argument : arguments) {
        if (!verbatim && is_option(argument)) {
            set_flag(options, argument);
            given.push_back(argument);
        } else if (options.verb.empty()) {
            options.verb = argument;
            verbatim = argument == completion_verb || !verb_options().contains(argument);
        } else {
            options.words.push_back(argument);
        }
    }
    if (!options.help && !options.version) {
        check_options(options, given);
    }
    return options;
}

} // namespace kex::ctl
