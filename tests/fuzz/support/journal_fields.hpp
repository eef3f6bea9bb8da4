#pragma once

#include "support/require.hpp"
#include "support/wire.hpp"

#include <cstdint>
#include <map>
#include <string>

namespace kex::fuzz
{

using Fields = std::map<std::string, std::string>;

/** The fields as the journal reads them: a line with "=", or a name, a length and a value. */
inline Fields read_fields(const std::string& entry)
{
    Fields fields;
    for (size_t at = 0; at < entry.size();) {
        const size_t end = entry.find('\n', at);
        REQUIRE(end != std::string::npos);
        const std::string line = entry.substr(at, end - at);
        const size_t equals = line.find('=');
        const std::string name = line.substr(0, equals);
        REQUIRE(!fields.contains(name));
        at = end + 1;
        if (equals != std::string::npos) {
            fields[name] = line.substr(equals + 1);
            continue;
        }
        const auto length = number_at<uint64_t>(entry, at);
        REQUIRE(length < entry.size() && entry.size() - length >= at + 9);
        fields[name] = entry.substr(at + 8, length);
        REQUIRE(entry[at + 8 + length] == '\n');
        at += length + 9;
    }
    return fields;
}

} // namespace kex::fuzz
