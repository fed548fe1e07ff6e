/* mi_sample: quasi-random numbers for shaders. */
#include "host/render/hash.h"
#include "host/render/low_discrepancy.h"
#include "host/trace/renderer.h"

#include <algorithm>
#include <span>

namespace {

using vx::trace::ThreadArena;

/*
 * A loop's points follow from three numbers: which shader instance asks, how often it has asked
 * since the eye ray began, and which eye ray that is. The frame's first eye ray counts as number 0
 * wherever the picture begins, so what a shader samples for a whole frame during it (a bake) is the
 * same for every window and any number of threads.
 */
std::uint64_t new_seed(ThreadArena& arena, const miState* state) {
    const auto* const function =
        state && state->shader ? vx::shading::function_of(state->shader) : nullptr;
    const std::size_t index = function ? function->index + 1 : 0;
    auto entry = std::find_if(arena.asked.begin(), arena.asked.end(),
                              [&](const auto& e) { return e.first == index; });
    if (entry == arena.asked.end()) entry = arena.asked.insert(entry, {index, 0});
    return vx::render::combine(vx::render::combine(arena.eye_key, index), entry->second++);
}

void start_loop(ThreadArena& arena, const int* counter, std::uint64_t seed) {
    auto loop = std::find_if(arena.loops.begin(), arena.loops.end(),
                             [&](const auto& l) { return l.counter == counter; });
    if (loop == arena.loops.end()) {
        /* Loops that were left early stay behind: the oldest makes room. */
        loop = arena.loops.begin() + static_cast<std::ptrdiff_t>(arena.next_loop);
        arena.next_loop = (arena.next_loop + 1) % arena.loops.size();
    }
    *loop = {counter, seed};
}

} // namespace

miBoolean mi_sample(double* sample, int* instance, miState* state, const miUshort dimension,
                    const miUint* n) {
    auto* const renderer = vx::shading::Context::current().renderer;
    if (!renderer || !sample) return miFALSE;
    ThreadArena& arena = renderer->arena();
    const std::span<double> out(sample, dimension);
    if (!instance) {
        vx::render::owen_sobol(new_seed(arena, state), 0, out);
        return miTRUE;
    }
    const miUint wanted = n ? *n : 1;
    const auto number = static_cast<miUint>(std::max(0, *instance));
    if (number >= wanted) return miFALSE;
    if (number == 0) start_loop(arena, instance, new_seed(arena, state));
    const auto loop = std::find_if(arena.loops.begin(), arena.loops.end(),
                                   [&](const auto& l) { return l.counter == instance; });
    const std::uint64_t seed = loop != arena.loops.end() ? loop->seed : arena.eye_key;
    vx::render::owen_sobol(seed, number, out);
    *instance = static_cast<int>(number) + 1;
    return miTRUE;
}
