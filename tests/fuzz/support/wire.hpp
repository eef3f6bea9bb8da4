#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

// Netlink messages as bytes, read and written without the code under test.
namespace kex::fuzz
{

/** A number of the message, in host order; 0 when it does not lie within the bytes. */
template <typename Number>
Number number_at(const std::string& bytes, size_t offset)
{
    Number value = 0;
    if (offset + sizeof(value) <= bytes.size()) {
        std::memcpy(&value, bytes.data() + offset, sizeof(value));
    }
    return value;
}

template <typename Number>
std::string bytes_of(Number value)
{
    std::string bytes(sizeof(value), '\0');
    std::memcpy(bytes.data(), &value, sizeof(value));
    return bytes;
}

constexpr size_t aligned(size_t length)
{
    return (length + 3) / 4 * 4;
}

/** @param body  family header and attributes */
inline std::string message(uint16_t type, uint16_t flags, uint32_t seq, const std::string& body)
{
    return bytes_of(static_cast<uint32_t>(16 + body.size())) + bytes_of(type) + bytes_of(flags) +
           bytes_of(seq) + bytes_of(uint32_t{0}) + body;
}

struct Attribute {
    uint16_t type;
    std::string payload;
};

/** The attributes from begin on, up to the first one that does not fit. */
inline std::vector<Attribute> attributes(const std::string& bytes, size_t begin)
{
    std::vector<Attribute> all;
    while (begin + 4 <= bytes.size()) {
        const auto length = number_at<uint16_t>(bytes, begin);
        if (length < 4 || begin + length > bytes.size()) {
            break;
        }
        all.push_back(
            {number_at<uint16_t>(bytes, begin + 2), bytes.substr(begin + 4, length - 4U)});
        begin += aligned(length);
    }
    return all;
}

} // namespace kex::fuzz
