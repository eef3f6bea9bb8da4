#pragma once

namespace kex::bench
{

/** True in the program whose debug-log library is the journal. */
extern const bool with_journal;

} // namespace kex::bench
