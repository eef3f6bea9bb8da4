#pragma once

#include <span>
#include <string>
#include <string_view>

/** The table of the commands. What stands behind it is generated from table/commands.yaml. */
namespace kex::ctl
{

/** One position of a form. A word that is typed as it stands has itself as its only word. */
struct Slot {
    std::string_view name;
    std::string_view text;
    std::string_view word_set;
    std::span<const std::string_view> words; /**< the accepted ones; none for free texts */
    bool literal;
    bool interface; /**< names an interface */
    bool lenient;   /**< other texts than the words are accepted too */
    bool optional;
    bool repeated;
};

/** One way to use a command. */
struct Form {
    std::string_view use;
    std::string_view does;
    std::string_view example;
    std::span<const Slot> slots;
};

struct Command {
    int value;
    std::string_view name;
    std::string_view does;
    std::span<const Form> forms; /**< none for a command that does nothing */
};

/** A keyword set under the daemon's name for it. */
struct WordSet {
    std::string_view name;
    std::span<const std::string_view> words;
};

/** Every command, in the order of the values. */
std::span<const Command> commands();

/** Every keyword set that an argument refers to. */
std::span<const WordSet> word_sets();

/** The command of a name, whose case does not matter, or nullptr. */
const Command* find_command(std::string_view name);

/** The same, but throws Failure, which tells of the nearest name, in place of nullptr. */
const Command& named_command(const std::string& name);

/** The slot that an argument's position falls into, or nullptr behind the last. */
const Slot* slot_at(const Form& form, size_t position);

} // namespace kex::ctl
