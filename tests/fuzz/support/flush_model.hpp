#pragma once

#include "support/input.hpp"

#include <cstdint>
#include <string>
#include <vector>

// What a flush has to do with a sequence of datagrams, written down a second time.
namespace kex::fuzz
{

struct FlushCase {
    uint16_t entry_type; /**< RTM_NEWADDR, RTM_NEWROUTE or RTM_NEWNEIGH */
    uint32_t link;       /**< index; for routes 0 takes those of every link */
    uint8_t scope;       /**< of addresses; 1 takes every scope */
    bool permanent_only; /**< addresses */
    uint8_t protocol;    /**< of routes; 0 takes every protocol */
    uint32_t table;      /**< of routes */
};

struct FlushOutcome {
    bool ended = false;                /**< false when the datagrams ran out before the end */
    std::vector<std::string> requests; /**< the deletes */
};

/** A datagram of a dump; well formed mostly, as a bad length hides all that is behind it. */
std::string read_datagram(Input& input);

/** @param seq  sequence number of the dump's request */
FlushOutcome expected_flush(const FlushCase& flush, uint32_t seq,
                            const std::vector<std::string>& datagrams);

} // namespace kex::fuzz
