#pragma once

#include <array>
#include <cstdarg>
#include <memory>
#include <string_view>

namespace kex
{

/**
 * A fixed head followed by a printf text. Ordinary lengths stay on the stack, so that a signal
 * handler can format its messages; only what callers put into arguments gets longer.
 */
class FormattedText
{
  public:
    /** @param head  at most half of the stack buffer. A format that fails counts as no text. */
    [[gnu::format(printf, 3, 0)]] FormattedText(std::string_view head, const char* format,
                                                va_list args);

    [[nodiscard]] std::string_view view() const
    {
        return {heap_ ? heap_.get() : stack_.data(), length_};
    }

  private:
    std::array<char, 1024> stack_;
    std::unique_ptr<char[]> heap_;
    size_t length_;
};

} // namespace kex
