#include "kexctl/command_table.hpp"
#include "kexctl/json.hpp"
#include "kexctl/verbs.hpp"

#include <algorithm>
#include <cstdio>

namespace kex::ctl
{
namespace
{

constexpr const char* usage =
    R"(usage: kexctl [--json] [--dry-run] COMMAND [ARGUMENT]...
       kexctl list [--json]
       kexctl help [--json] [COMMAND]...
       kexctl log [-f] [--errors] [--json]
       kexctl status [--json]

Sends a command to kex and shows its reply and what kex logged for it.

  list          names every command
  help          describes commands
  log           shows the log of kex; -f follows it, --errors shows errors only
  status        shows who serves the commands

  --dry-run     shows the call and does not make it
  --json        writes JSON
  -h, --help    shows this
  --version     shows the version

Exit status: 0 done, 1 kex replied with a number or logged an error, 2 wrong usage, 3 kex cannot be
reached, 4 not allowed.
)";

std::string joined(std::span<const std::string_view> words)
{
    std::string text;
    for (const std::string_view word : words) {
        text.append(text.empty() ? "" : ", ").append(word);
    }
    return text;
}

/** Words before their meaning, which only adds to them. */
std::string describe(const Slot& slot)
{
    const std::string words = joined(slot.words);
    const std::string between = words.empty() || slot.text.empty() ? "" : ": ";
    return words + between + std::string(slot.text);
}

void print_slots(const Form& form)
{
    for (size_t i = 0; i < form.slots.size(); ++i) {
        const Slot& slot = form.slots[i];
        const auto earlier = form.slots.first(i);
        if (!slot.literal && std::ranges::find(earlier, slot.name, &Slot::name) == earlier.end()) {
            std::printf("      %-12.*s %s\n", static_cast<int>(slot.name.size()), slot.name.data(),
                        describe(slot).c_str());
        }
    }
}

void print_command(const Command& command)
{
    const std::string name(command.name);
    std::printf("%s (%d) %s.\n", name.c_str(), command.value, std::string(command.does).c_str());
    for (const Form& form : command.forms) {
        std::printf("\n  kexctl %s %s\n", name.c_str(), std::string(form.use).c_str());
        if (!form.does.empty()) {
            std::printf("      %s\n", std::string(form.does).c_str());
        }
        print_slots(form);
        std::printf("      example: kexctl %s %s\n", name.c_str(),
                    std::string(form.example).c_str());
    }
}

Json as_json(const Slot& slot)
{
    return {{"name", slot.name},           {"text", slot.text},
            {"words", slot.words},         {"only_words", !slot.words.empty() && !slot.lenient},
            {"interface", slot.interface}, {"optional", slot.optional},
            {"repeated", slot.repeated}};
}

Json as_json(const Form& form)
{
    Json arguments = Json::array();
    for (const Slot& slot : form.slots) {
        arguments.push_back(as_json(slot));
    }
    return {{"use", form.use},
            {"does", form.does},
            {"example", form.example},
            {"arguments", arguments}};
}

Json as_json(const Command& command)
{
    Json forms = Json::array();
    for (const Form& form : command.forms) {
        forms.push_back(as_json(form));
    }
    return {
        {"name", command.name}, {"value", command.value}, {"does", command.does}, {"forms", forms}};
}

} // namespace

ExitStatus show_list(const Options& options)
{
    if (!options.words.empty()) {
        throw Failure(ExitStatus::wrong_usage, "list takes no arguments");
    }
    if (options.json) {
        Json list = Json::array();
        for (const Command& command : commands()) {
            list.push_back(as_json(command));
        }
        print_line(list);
        return ExitStatus::ok;
    }
    for (const Command& command : commands()) {
        std::printf("%-32s %s\n", std::string(command.name).c_str(),
                    std::string(command.does).c_str());
    }
    return ExitStatus::ok;
}

ExitStatus show_help(const Options& options)
{
    if (options.words.empty()) {
        std::fputs(usage, stdout);
        return ExitStatus::ok;
    }
    for (const std::string& word : options.words) {
        const Command& command = named_command(word);
        if (options.json) {
            print_line(as_json(command));
        } else {
            print_command(command);
        }
    }
    return ExitStatus::ok;
}

} // namespace kex::ctl
