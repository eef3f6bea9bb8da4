#include "core/formatted_text.hpp"

#include <algorithm>
#include <cstdio>

namespace kex
{

FormattedText::FormattedText(std::string_view head, const char* format, va_list args)
{
    va_list again;
    va_copy(again, args);
    head.copy(stack_.data(), head.size());
    const size_t room = stack_.size() - head.size();
    const int formatted = std::vsnprintf(stack_.data() + head.size(), room, format, args);
    const auto text_length = static_cast<size_t>(std::max(formatted, 0));
    length_ = head.size() + text_length;

    if (text_length >= room) {
        heap_ = std::make_unique_for_overwrite<char[]>(length_ + 1);
        head.copy(heap_.get(), head.size());
        // The analyzer does not see that va_copy has set what it copied from a parameter.
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
        std::vsnprintf(heap_.get() + head.size(), text_length + 1, format, again);
    }
    va_end(again);
}

} // namespace kex
