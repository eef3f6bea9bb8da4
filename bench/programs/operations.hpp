#pragma once

#include "bus.hpp"

#include <memory>

namespace kex::bench
{

/** Something that is timed: one run is one operation. */
class Operation
{
  public:
    Operation() = default;
    Operation(const Operation&) = delete;
    Operation& operator=(const Operation&) = delete;
    virtual ~Operation() = default;

    /** @param turn  counts the runs; takes the place of "{n}" in the words */
    virtual void run(unsigned turn) = 0;

    /** Puts things back for the next run, outside the time that is measured. */
    virtual void settle() {}
};

/**
 * Makes an operation of its words:
 *   kex COMMAND ARGUMENT...                ExecuteCommand of kex
 *   plain COMMAND ARGUMENT...              the same call to the plain service
 *   method NAME PATH INTERFACE MEMBER TEXT a method that takes a text and a false
 *   setlink LINK                           a bare netlink request that brings a link up
 *   spawn PROGRAM ARGUMENT...              a program, from its start to its end
 *   own NAME PROGRAM ARGUMENT...           a service, from its start until it owns the name
 */
std::unique_ptr<Operation> make_operation(sd_bus* bus, const Words& words);

} // namespace kex::bench
