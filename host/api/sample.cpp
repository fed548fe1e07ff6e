// mi_sample: low-discrepancy points for shaders.
#include "host/sampling/hash.h"
#include "host/sampling/low_discrepancy.h"
#include "host/trace/traced_frame.h"

#include <algorithm>
#include <span>

namespace {

using vx::trace::ThreadArena;

// The points of a sampling loop depend on the name of the calling shader instance, the number of
// its earlier loops for the same eye ray, and the key of that eye ray, but not on threads or on
// other shaders in the scene. The first eye ray of a frame always has the key 0. Points that a
// shader generates for a whole frame during that ray (a bake) are therefore the same for every
// window and any number of threads.
std::uint64_t new_seed(ThreadArena& arena, const miState* state) {
    const auto* const function = state != nullptr && (state->shader != nullptr)
                                     ? vx::shading::function_of(state->shader)
                                     : nullptr;
    const std::uint64_t name = function != nullptr ? function->name_hash : 0;
    const auto& sampling = arena.sampling;
    auto entry =
        std::find_if(arena.asked.begin() + static_cast<std::ptrdiff_t>(sampling.first_asked),
                     arena.asked.end(), [&](const auto& e) { return e.first == name; });
    if (entry == arena.asked.end()) entry = arena.asked.insert(entry, {name, 0});
    return vx::sampling::combine(vx::sampling::combine(sampling.key, name), entry->second++);
}

// The innermost running loop with this counter.
auto find_loop(ThreadArena& arena, const int* counter) {
    return std::find_if(arena.loops.rbegin(), arena.loops.rend(),
                        [&](const auto& l) { return l.counter == counter; });
}

void start_loop(ThreadArena& arena, const int* counter, std::uint64_t seed) {
    const auto loop = find_loop(arena, counter);
    if (loop == arena.loops.rend())
        arena.loops.push_back({counter, seed});
    else
        loop->seed = seed; // restarts a loop that was left early
}

void end_loop(ThreadArena& arena, const int* counter) {
    const auto loop = find_loop(arena, counter);
    if (loop != arena.loops.rend()) arena.loops.erase(std::next(loop).base());
}

} // namespace

miBoolean mi_sample(double* sample, int* instance, miState* state, const miUshort dimension,
                    const miUint* n) {
    auto* const frame = vx::trace::TracedFrame::current();
    if (frame == nullptr || sample == nullptr) return miFALSE;
    ThreadArena& arena = frame->arena();
    const std::span<double> out(sample, dimension);
    if (instance == nullptr) {
        vx::sampling::owen_sobol(new_seed(arena, state), 0, out);
        return miTRUE;
    }
    const miUint wanted = n != nullptr ? *n : 1;
    const auto number = static_cast<miUint>(std::max(0, *instance));
    if (number >= wanted) {
        end_loop(arena, instance);
        return miFALSE;
    }
    if (number == 0) start_loop(arena, instance, new_seed(arena, state));
    const auto loop = find_loop(arena, instance);
    const std::uint64_t seed = loop != arena.loops.rend() ? loop->seed : arena.sampling.key;
    vx::sampling::owen_sobol(seed, number, out);
    *instance = static_cast<int>(number) + 1;
    return miTRUE;
}
