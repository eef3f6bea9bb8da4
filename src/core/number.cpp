#include "core/number.hpp"

#include <cstdlib>

namespace kex
{
namespace
{

constexpr int decimal = 10;

}

std::optional<unsigned long> whole_number(const std::string& text)
{
    char* end = nullptr;
    const unsigned long number = std::strtoul(text.c_str(), &end, decimal);
    // Compared with the text's own end: a NUL byte inside the text does not end it.
    if (end == text.c_str() || end != text.c_str() + text.size()) {
        return std::nullopt;
    }
    return number;
}

unsigned long leading_number(const std::string& text)
{
    return std::strtoul(text.c_str(), nullptr, decimal);
}

} // namespace kex
