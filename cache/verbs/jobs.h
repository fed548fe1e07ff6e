// Frames of a sequence side by side.
#pragma once

#include "cache/verbs/sequence.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace vx::cache {

// Calls f for each step. With more than one job each step runs in a process of its own, since
// outputs, their cleanup on signals and the small renderer exist once per process; results and
// messages appear in the order of the steps. `is_sequence`: joins notes that differ only in their
// numbers. Returns the number of steps that failed.
std::int64_t run_jobs(Session& session, const std::vector<Step>& steps, bool is_sequence, int jobs,
                      const std::function<void(const Step&)>& f);

} // namespace vx::cache
