#include "support/recorded_log.hpp"

#include "core/log.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <regex>
#include <utility>

namespace
{

std::function<void()> message_hook;

/** A file without a name, whose position a forked child shares. A NUL byte ends each message. */
int record()
{
    static const int file = memfd_create("log", MFD_CLOEXEC);
    return file;
}

std::string formatted(const char* format, va_list args)
{
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(nullptr, 0, format, args);
    std::string text(length < 0 ? 0 : static_cast<size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, again);
    va_end(again);
    return text.c_str();
}

std::string line(const std::string& head, const std::string& function, const std::string& number,
                 const std::string& text)
{
    return head + "_" + function + "():" + number + " - " + text + "\n";
}

} // namespace

extern "C" void qlog_printf(int level, int component, const char* format, ...)
{
    if (message_hook) {
        message_hook();
    }
    std::string message = "<" + std::to_string(level);
    if (component != kex::log_component) {
        message += "/" + std::to_string(component);
    }
    va_list args;
    va_start(args, format);
    message += "> " + formatted(format, args) + '\0';
    va_end(args);
    if (write(record(), message.data(), message.size()) != static_cast<ssize_t>(message.size())) {
        std::abort();
    }
}

namespace kex::test
{

namespace
{

/** The messages, which are forgotten; a "#" for the line numbers of these module tags. */
Lines take_log(const std::string& tags)
{
    const std::regex number("(<[0-9]> (?:" + tags + ")_\\w+\\(\\):)[1-9][0-9]*");
    std::string all(static_cast<size_t>(lseek(record(), 0, SEEK_END)), '\0');
    if (pread(record(), all.data(), all.size(), 0) != static_cast<ssize_t>(all.size())) {
        std::abort();
    }
    Lines lines;
    for (size_t start = 0; start < all.size(); start = all.find('\0', start) + 1) {
        const std::string text = all.c_str() + start;
        const size_t prefix = std::min(text.find(" - "), text.size()); // texts can be very long
        lines.push_back(std::regex_replace(text.substr(0, prefix), number, "$1#") +
                        text.substr(prefix));
    }
    forget_log();
    return lines;
}

} // namespace

Lines logged()
{
    return take_log("nlc|cul");
}

Lines logged_without_numbers()
{
    return take_log("[a-z]{3}");
}

void forget_log()
{
    if (ftruncate(record(), 0) != 0 || lseek(record(), 0, SEEK_SET) != 0) {
        std::abort();
    }
}

void on_each_message(std::function<void()> hook)
{
    message_hook = std::move(hook);
}

std::string nlc_error(const std::string& function, const std::string& text)
{
    return line("<2> nlc", function, "#", "ERROR - " + text);
}

std::string nlc_info(const std::string& function, const std::string& text)
{
    return line("<4> nlc", function, "#", text);
}

std::string exe_error(const std::string& function, int number, const std::string& text)
{
    return line("<2> exe", function, std::to_string(number), "ERROR - " + text);
}

std::string exe_info(const std::string& function, int number, const std::string& text)
{
    return line("<4> exe", function, std::to_string(number), text);
}

std::string exe_error(const std::string& function, const std::string& text)
{
    return line("<2> exe", function, "#", "ERROR - " + text);
}

std::string exe_info(const std::string& function, const std::string& text)
{
    return line("<4> exe", function, "#", text);
}

} // namespace kex::test
