#include "kexctl/command_table.hpp"
#include "kexctl/verbs.hpp"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <set>

namespace kex::ctl
{
namespace
{

using Words = std::vector<std::string>;
using Candidates = std::set<std::string>;

bool is_lower(const std::string& text)
{
    return std::ranges::any_of(text, [](unsigned char c) { return std::islower(c) != 0; });
}

std::string lower(std::string_view text)
{
    std::string result(text);
    std::ranges::transform(result, result.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return result;
}

/** In the case of what has been typed: a shell compares letter for letter. */
void add_commands(Candidates& candidates, const std::string& typed)
{
    for (const Command& command : commands()) {
        candidates.insert(is_lower(typed) ? lower(command.name) : std::string(command.name));
    }
}

void add_interfaces(Candidates& candidates)
{
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/class/net", ignored)) {
        if (entry.is_directory(ignored)) { // not so bonding_masters
            candidates.insert(entry.path().filename());
        }
    }
}

bool may_be(const Form& form, std::span<const std::string> arguments)
{
    for (size_t i = 0; i < arguments.size(); ++i) {
        const Slot* slot = slot_at(form, i);
        if (slot == nullptr ||
            (!slot->words.empty() && !slot->lenient &&
             std::ranges::find(slot->words, arguments[i]) == slot->words.end())) {
            return false;
        }
    }
    return true;
}

void add_arguments(Candidates& candidates, const Command& command,
                   std::span<const std::string> earlier)
{
    for (const Form& form : command.forms) {
        const Slot* slot = may_be(form, earlier) ? slot_at(form, earlier.size()) : nullptr;
        if (slot == nullptr) {
            continue;
        }
        candidates.insert(slot->words.begin(), slot->words.end());
        if (slot->interface) {
            add_interfaces(candidates);
        }
    }
}

Candidates candidates_for(std::span<const std::string> earlier, const std::string& typed)
{
    Candidates candidates;
    const auto verb =
        std::ranges::find_if(earlier, [](const auto& word) { return word[0] != '-'; });
    const std::string name = verb == earlier.end() ? "" : *verb;
    const Command* command = find_command(name);
    if (typed.starts_with('-') && command == nullptr) {
        const Words& options = options_of(name);
        candidates.insert(options.begin(), options.end());
    } else if (name.empty()) {
        candidates.insert(subcommands().begin(), subcommands().end());
        add_commands(candidates, typed);
    } else if (name == "help") {
        add_commands(candidates, typed);
    } else if (command != nullptr) {
        const auto position = static_cast<size_t>(verb - earlier.begin());
        add_arguments(candidates, *command, earlier.subspan(position + 1));
    }
    return candidates;
}

} // namespace

ExitStatus show_completions(const Options& options)
{
    Words words = options.words;
    if (words.empty()) {
        words.emplace_back();
    }
    const std::string typed = words.back();
    words.pop_back();
    for (const std::string& candidate : candidates_for(words, typed)) {
        if (candidate.starts_with(typed)) {
            std::puts(candidate.c_str());
        }
    }
    return ExitStatus::ok;
}

} // namespace kex::ctl
