#pragma once

#include <cstdint>
#include <cstring>
#include <string>

// Messages as bytes, put together from their parts without the code under test.
namespace kex::test
{

using Bytes = std::string;

inline Bytes zeros(size_t count)
{
    return Bytes(count, '\0');
}

inline Bytes u8(uint8_t value)
{
    return {static_cast<char>(value)};
}

template <typename Number>
Bytes host_order(Number value)
{
    Bytes bytes(sizeof(value), '\0');
    std::memcpy(bytes.data(), &value, sizeof(value));
    return bytes;
}

inline Bytes u16(uint16_t value)
{
    return host_order(value);
}

inline Bytes u32(uint32_t value)
{
    return host_order(value);
}

/** With the terminating NUL. */
inline Bytes text(const std::string& value)
{
    return value + '\0';
}

inline Bytes padded(const Bytes& bytes)
{
    return bytes + zeros((4 - bytes.size() % 4) % 4);
}

/** A nest is an attribute whose payload is attributes. */
inline Bytes attribute(uint16_t type, const Bytes& payload)
{
    return padded(u16(static_cast<uint16_t>(4 + payload.size())) + u16(type) + payload);
}

/** @param body  family header and attributes */
inline Bytes message(uint16_t type, uint16_t flags, uint32_t seq, const Bytes& body)
{
    const uint32_t sender = 0;
    return u32(static_cast<uint32_t>(16 + body.size())) + u16(type) + u16(flags) + u32(seq) +
           u32(sender) + body;
}

/** The kernel's answer: 0 acknowledges, a negative errno refuses. */
inline Bytes acknowledgement(int32_t error)
{
    constexpr uint16_t nlmsg_error = 2;
    return message(nlmsg_error, 0, 1, host_order(error) + zeros(16));
}

/** Four bytes in hexadecimal a line, so that a failed comparison shows what differs. */
inline std::string dump(const Bytes& bytes)
{
    constexpr const char* digits = "0123456789abcdef";
    std::string lines = std::to_string(bytes.size()) + " bytes";
    for (size_t i = 0; i < bytes.size(); ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        lines += i % 4 == 0 ? '\n' : ' ';
        lines += {digits[byte >> 4U], digits[byte & 0xfU]};
    }
    return lines;
}

} // namespace kex::test
