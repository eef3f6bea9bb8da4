#include "kexctl/output.hpp"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace kex::ctl
{
namespace
{

constexpr std::string_view red = "\033[31m";
constexpr std::string_view yellow = "\033[33m";
constexpr std::string_view plain = "\033[0m";

std::string coloured(std::string_view colour, const std::string& text)
{
    return colour.empty() ? text : std::string(colour) + text + std::string(plain);
}

std::string_view colour_of(const LogMessage& message)
{
    return message.is_error() ? red : message.is_warning() ? yellow : std::string_view();
}

bool is_harmless(char c)
{
    return (c >= ' ' && c <= '~') || c == '\n' || c == '\t';
}

} // namespace

std::string harmless(std::string_view text)
{
    std::string result;
    for (const char c : text) {
        if (is_harmless(c)) {
            result += c;
            continue;
        }
        std::array<char, 8> escape{};
        std::snprintf(escape.data(), escape.size(), "\\x%02x", static_cast<unsigned char>(c));
        result += escape.data();
    }
    return result;
}

void print_message(const LogMessage& message)
{
    const std::string line = isatty(STDOUT_FILENO) == 0
                                 ? message.line()
                                 : coloured(colour_of(message), harmless(message.line()));
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::putchar('\n');
}

void complain(std::string_view text)
{
    const std::string line = "kexctl: " + harmless(text);
    std::fprintf(stderr, "%s\n",
                 isatty(STDERR_FILENO) == 0 ? line.c_str() : coloured(red, line).c_str());
}

std::string shell_quoted(const std::string& text)
{
    constexpr std::string_view safe =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
        "%+,-./:=@_";
    if (!text.empty() && text.find_first_not_of(safe) == std::string::npos) {
        return text;
    }
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

} // namespace kex::ctl
