#include "kexctl/log_message.hpp"

#include "kexctl/names.hpp"

#include <algorithm>
#include <array>
#include <ctime>

namespace kex::ctl
{
namespace
{

constexpr std::string_view dispatcher = "dbs_executeCommand";
constexpr std::string_view digits = "0123456789";

// "[20-Nov 21:43:24] "; 0 stands for a digit, a for a letter.
constexpr std::string_view stamp_shape = "[00-aaa 00:00:00] ";

bool is_letter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool has_stamp(std::string_view line)
{
    if (line.size() < stamp_shape.size()) {
        return false;
    }
    for (size_t i = 0; i < stamp_shape.size(); ++i) {
        const char shape = stamp_shape[i];
        const bool fits = shape == '0'   ? digits.find(line[i]) != std::string_view::npos
                          : shape == 'a' ? is_letter(line[i])
                                         : line[i] == shape;
        if (!fits) {
            return false;
        }
    }
    return true;
}

/** Where the next message begins: a message may hold newlines. */
size_t next_message(std::string_view content, size_t from)
{
    for (size_t at = content.find('\n', from); at != std::string_view::npos;
         at = content.find('\n', at + 1)) {
        if (has_stamp(content.substr(at + 1))) {
            return at + 1;
        }
    }
    return content.size();
}

LogMessage parse_stamped(std::string_view piece)
{
    if (!has_stamp(piece)) {
        return parse_message("", piece);
    }
    const std::string_view stamp = piece.substr(1, stamp_shape.size() - 3);
    return parse_message(std::string(stamp), piece.substr(stamp_shape.size()));
}

bool begins_command(const LogMessage& message)
{
    return message.origin == dispatcher && message.text.starts_with("command[");
}

using Position = std::vector<LogMessage>::const_iterator;

bool is_argument(const LogMessage& message)
{
    return message.origin == dispatcher && message.text.starts_with("   args[");
}

/** True when the message at and those behind it name just this command and these arguments. */
bool names_command(Position at, Position end, const std::string& command,
                   const std::vector<std::string>& arguments)
{
    const Position last = std::find_if_not(at + 1, end, is_argument);
    if (!begins_command(*at) || !at->text.ends_with("]=[" + command_string(command) + "]") ||
        static_cast<size_t>(last - at) != arguments.size() + 1) {
        return false;
    }
    size_t index = 0;
    return std::ranges::all_of(arguments, [&](const std::string& argument) {
        ++at;
        return at->text == "   args[" + std::to_string(index++) + "]=[" + argument + "]";
    });
}

} // namespace

std::string LogMessage::line() const
{
    const std::string head = stamp.empty() ? "" : "[" + stamp + "] ";
    return origin.empty() ? head + text : head + origin + "():" + number + " - " + text;
}

LogMessage parse_message(std::string stamp, std::string_view message)
{
    while (message.ends_with('\n')) {
        message.remove_suffix(1);
    }
    const size_t parentheses = message.find("():");
    const size_t number = parentheses == std::string_view::npos ? parentheses : parentheses + 3;
    const size_t dash = message.find_first_not_of(digits, number);
    if (number == std::string_view::npos ||
        !message.substr(std::min(dash, message.size())).starts_with(" - ")) {
        return {std::move(stamp), "", "", std::string(message)};
    }
    return {std::move(stamp), std::string(message.substr(0, parentheses)),
            std::string(message.substr(number, dash - number)),
            std::string(message.substr(dash + 3))};
}

std::vector<LogMessage> parse_log(std::string_view content)
{
    std::vector<LogMessage> messages;
    for (size_t at = 0; at < content.size();) {
        const size_t end = next_message(content, at);
        messages.push_back(parse_stamped(content.substr(at, end - at)));
        at = end;
    }
    return messages;
}

std::string format_stamp(time_t time)
{
    tm local = {};
    localtime_r(&time, &local);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%d-%b %T", &local);
    return text.data();
}

std::vector<LogMessage> messages_of_command(const std::vector<LogMessage>& log,
                                            const std::string& command,
                                            const std::vector<std::string>& arguments)
{
    for (auto at = log.begin(); at != log.end(); ++at) {
        if (names_command(at, log.end(), command, arguments)) {
            return {at, std::find_if(at + 1, log.end(), begins_command)};
        }
    }
    return {};
}

} // namespace kex::ctl
