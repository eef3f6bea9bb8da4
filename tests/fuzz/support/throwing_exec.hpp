#pragma once

#include <unistd.h>

// Included before the process runner's source: execv of the C library is declared never to throw,
// but leaving the child's code takes an exception that the stack is unwound for.
namespace kex::fuzz
{

/** Thrown in place of becoming another program. */
struct Executed {
};

int execute(const char* path, char* const* argv);

} // namespace kex::fuzz

#define execv ::kex::fuzz::execute
