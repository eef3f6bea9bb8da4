#pragma once

#include <optional>
#include <string>

namespace kex
{

/**
 * A text that strtoul reads to its end in base 10; leading blanks and a sign are part of what it
 * reads, so "-1" is the largest unsigned long.
 * @return the number; none for an empty text and for one with anything behind the number
 */
std::optional<unsigned long> whole_number(const std::string& text);

/** The number at the head of a text as strtoul reads it in base 10; 0 when there is none. */
unsigned long leading_number(const std::string& text);

} // namespace kex
