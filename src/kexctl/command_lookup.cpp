#include "kexctl/command_table.hpp"

#include "kexctl/failure.hpp"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <string>
#include <vector>

namespace kex::ctl
{
namespace
{

std::string upper(std::string_view text)
{
    std::string result(text);
    std::ranges::transform(result, result.begin(),
                           [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return result;
}

/**
 * How far a typed name is from a real one: the letters to insert, and twice those to remove. A name
 * of which only a part was typed is thus nearer than one that merely has the same length.
 */
size_t distance(std::string_view typed, std::string_view name)
{
    constexpr size_t removal = 2;
    std::vector<size_t> row(name.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (const char letter : typed) {
        size_t diagonal = row[0];
        row[0] += removal;
        for (size_t i = 0; i < name.size(); ++i) {
            const size_t apart = std::min(row[i] + 1, row[i + 1] + removal);
            const size_t same = letter == name[i] ? diagonal : apart;
            diagonal = row[i + 1];
            row[i + 1] = std::min(same, apart);
        }
    }
    return row.back();
}

/** The name that a mistyped one comes nearest to. */
std::string_view nearest_command(std::string_view name)
{
    const std::string typed = upper(name);
    const auto apart = [&typed](const Command& command) { return distance(typed, command.name); };
    return std::ranges::min_element(commands(), {}, apart)->name;
}

} // namespace

const Command* find_command(std::string_view name)
{
    const auto all = commands();
    const auto found = std::ranges::find(all, upper(name), &Command::name);
    return found == all.end() ? nullptr : &*found;
}

const Command& named_command(const std::string& name)
{
    const Command* command = find_command(name);
    if (command == nullptr) {
        throw Failure(ExitStatus::wrong_usage, "unknown command " + name + "; did you mean " +
                                                   std::string(nearest_command(name)) + "?");
    }
    return *command;
}

const Slot* slot_at(const Form& form, size_t position)
{
    if (position < form.slots.size()) {
        return &form.slots[position];
    }
    return !form.slots.empty() && form.slots.back().repeated ? &form.slots.back() : nullptr;
}

} // namespace kex::ctl
