// What callgrind counts in the calls of a program of ours.
#pragma once

#include <string>
#include <vector>

#include "bench/measure.h"

namespace annal::bench {

// In the child that callgrind watches: one call that is counted, as round 1.
void count_call(const Side& side);

// Runs a program with arguments that make it count calls, and returns the counts in the order of the calls.
[[nodiscard]] std::vector<double> counted_by(const std::string& command);

}  // namespace annal::bench
