#pragma once

#include <climits>
#include <string>

// The rules of numbers, written down a second time without the C library.
namespace kex::fuzz
{

struct NumberRule {
    unsigned long value; /**< 0 without digits; the largest one for a number that is too large */
    size_t length;       /**< of what was read; 0 without digits */
};

/** How strtoul reads a text in base 10. */
inline NumberRule read_number(const std::string& text, size_t begin = 0)
{
    size_t at = begin;
    while (at < text.size() && (text[at] == ' ' || (text[at] >= '\t' && text[at] <= '\r'))) {
        ++at;
    }
    const bool negative = at < text.size() && text[at] == '-';
    if (negative || (at < text.size() && text[at] == '+')) {
        ++at;
    }
    const size_t first_digit = at;
    unsigned long value = 0;
    bool too_large = false;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
        const auto digit = static_cast<unsigned long>(text[at] - '0');
        too_large = too_large || value > (ULONG_MAX - digit) / 10;
        value = too_large ? 0 : value * 10 + digit;
    }
    if (at == first_digit) {
        return {0, 0};
    }
    if (too_large) {
        return {ULONG_MAX, at - begin};
    }
    // A negative number is the distance from 2 to the power of 64.
    return {negative && value != 0 ? ULONG_MAX - value + 1 : value, at - begin};
}

} // namespace kex::fuzz
