#include "log_line.hpp"

const bool kex::bench::with_journal = true;
