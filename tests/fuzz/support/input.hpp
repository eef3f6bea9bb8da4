#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

/** What the fuzzer calls with each of its inputs. */
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace kex::fuzz
{

/** Reads an input from its beginning; beyond the end there are zeros. */
class Input
{
  public:
    Input(const uint8_t* data, size_t size) : left_(reinterpret_cast<const char*>(data), size) {}
    explicit Input(std::string_view bytes) : left_(bytes) {}

    [[nodiscard]] bool empty() const { return left_.empty(); }

    template <typename Number>
    Number number()
    {
        Number value = 0;
        const std::string bytes = text(sizeof(value));
        std::memcpy(&value, bytes.data(), bytes.size());
        return value;
    }
    uint8_t byte() { return number<uint8_t>(); }

    /** The next bytes, or those that are left. */
    std::string text(size_t length)
    {
        const std::string taken(left_.substr(0, length));
        left_.remove_prefix(taken.size());
        return taken;
    }

    /** A text behind its length, which has one byte. */
    std::string short_block() { return text(byte()); }

    /** A text behind its length, which has two bytes. */
    std::string block() { return text(number<uint16_t>()); }

    std::string rest() { return text(left_.size()); }

    /** All that is left as texts with a NUL byte between them, which none on the bus can have. */
    std::vector<std::string> bus_texts()
    {
        std::vector<std::string> texts;
        while (!empty()) {
            texts.push_back(text(std::min(left_.find('\0'), left_.size())));
            text(1);
        }
        return texts;
    }

  private:
    std::string_view left_;
};

} // namespace kex::fuzz
