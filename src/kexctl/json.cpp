#include "kexctl/json.hpp"

#include <array>
#include <cstdint>
#include <cstdio>

namespace kex::ctl
{
namespace
{

constexpr std::string_view replacement = "\xef\xbf\xbd";

bool is_continuation(char c)
{
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

/** The length of the UTF-8 sequence that a text begins with; 0 when it begins with none. */
size_t sequence_length(std::string_view text)
{
    struct Lead {
        uint8_t mask, value;
        size_t length;
        uint32_t smallest; // a longer form than needed is no UTF-8
    };
    constexpr std::array<Lead, 4> leads{{
        {0x80, 0x00, 1, 0},
        {0xE0, 0xC0, 2, 0x80},
        {0xF0, 0xE0, 3, 0x800},
        {0xF8, 0xF0, 4, 0x10000},
    }};
    const auto first = static_cast<uint8_t>(text[0]);
    for (const Lead& lead : leads) {
        if ((first & lead.mask) != lead.value || text.size() < lead.length) {
            continue;
        }
        uint32_t point = first & static_cast<uint8_t>(~lead.mask);
        for (size_t i = 1; i < lead.length; ++i) {
            if (!is_continuation(text[i])) {
                return 0;
            }
            point = (point << 6U) | (static_cast<uint8_t>(text[i]) & 0x3FU);
        }
        const bool surrogate = point >= 0xD800 && point <= 0xDFFF;
        return point < lead.smallest || surrogate || point > 0x10FFFF ? 0 : lead.length;
    }
    return 0;
}

std::string escaped(char c)
{
    if (c == '"' || c == '\\') {
        return {'\\', c};
    }
    if (static_cast<unsigned char>(c) >= 0x20) {
        return {c};
    }
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "\\u%04x", static_cast<unsigned>(c));
    return text.data();
}

std::string quoted(std::string_view value)
{
    std::string result = "\"";
    while (!value.empty()) {
        const size_t length = sequence_length(value);
        if (length == 0) {
            result += replacement;
        } else if (length == 1) {
            result += escaped(value[0]);
        } else {
            result += value.substr(0, length);
        }
        value.remove_prefix(length == 0 ? 1 : length);
    }
    return result + "\"";
}

} // namespace

void Json::begin_value(std::string_view name)
{
    if (!first_) {
        text_ += ", ";
    }
    first_ = false;
    if (!name.empty()) {
        text_ += quoted(name) + ": ";
    }
}

Json& Json::raw(std::string_view name, const std::string& value)
{
    begin_value(name);
    text_ += value;
    return *this;
}

Json& Json::begin_object(std::string_view name)
{
    raw(name, "{");
    first_ = true;
    return *this;
}

Json& Json::end_object()
{
    text_ += "}";
    first_ = false;
    return *this;
}

Json& Json::begin_array(std::string_view name)
{
    raw(name, "[");
    first_ = true;
    return *this;
}

Json& Json::end_array()
{
    text_ += "]";
    first_ = false;
    return *this;
}

Json& Json::text(std::string_view name, std::string_view value)
{
    return raw(name, quoted(value));
}

Json& Json::flag(std::string_view name, bool value)
{
    return raw(name, value ? "true" : "false");
}

void Json::print() const
{
    std::printf("%s\n", text_.c_str());
}

} // namespace kex::ctl
