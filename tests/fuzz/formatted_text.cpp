// A formatted text is its head and what the format makes of the arguments, at every length.

#include "core/formatted_text.hpp"
#include "support/input.hpp"
#include "support/require.hpp"

#include <cwchar>

namespace
{

constexpr size_t longest_head = 512;

std::string formatted(const std::string& head, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    const kex::FormattedText text(head, format, args);
    va_end(args);
    return std::string(text.view());
}

/** Long texts come from few bytes: a piece and how often it stands there. */
std::string repeated(kex::fuzz::Input& input)
{
    const size_t length = input.number<uint16_t>() % 4096;
    const std::string piece = input.short_block();
    std::string text;
    while (!piece.empty() && text.size() < length) {
        text += piece;
    }
    text.resize(length, 'x');
    return text.c_str(); // as a format's argument, it ends at a NUL byte
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    kex::fuzz::Input input(data, size);
    const std::string head = repeated(input).substr(0, longest_head);
    const std::string first = repeated(input);
    const std::string second = repeated(input);
    const auto number = input.number<int>();

    REQUIRE(formatted(head, "%s", "") == head);
    REQUIRE(formatted(head, "%s", first.c_str()) == head + first);
    REQUIRE(formatted(head, "%s_%s():%d - %s\n", "exe", first.c_str(), number, second.c_str()) ==
            head + "exe_" + first + "():" + std::to_string(number) + " - " + second + "\n");
    // No character has this number: the format fails.
    REQUIRE(formatted(head, "%s%lc", first.c_str(), wint_t{0x7fffffff}) == head);
    return 0;
}
