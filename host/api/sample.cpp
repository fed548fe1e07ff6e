/* mi_sample: quasi-random numbers for shaders. */
#include "host/sampling/hash.h"
#include "host/sampling/low_discrepancy.h"
#include "host/trace/renderer.h"

#include <algorithm>
#include <span>

namespace {

using vx::trace::ThreadArena;

/*
 * A loop's points follow from three numbers: the name of the shader instance that asks, how often
 * it has asked since the eye ray began, and which eye ray that is. So they depend neither on
 * threads nor on what other shaders the scene has. The frame's first eye ray counts as number 0
 * wherever the picture begins, so what a shader samples for a whole frame during it (a bake) is the
 * same for every window and any number of threads.
 */
std::uint64_t new_seed(ThreadArena& arena, const miState* state) {
    const auto* const function =
        state && state->shader ? vx::shading::function_of(state->shader) : nullptr;
    const std::uint64_t name = function ? function->name_hash : 0;
    const auto& sampling = arena.sampling;
    auto entry =
        std::find_if(arena.asked.begin() + static_cast<std::ptrdiff_t>(sampling.first_asked),
                     arena.asked.end(), [&](const auto& e) { return e.first == name; });
    if (entry == arena.asked.end()) entry = arena.asked.insert(entry, {name, 0});
    return vx::sampling::combine(vx::sampling::combine(sampling.key, name), entry->second++);
}

/* The innermost loop with this counter. */
auto find_loop(ThreadArena& arena, const int* counter) {
    return std::find_if(arena.loops.rbegin(), arena.loops.rend(),
                        [&](const auto& l) { return l.counter == counter; });
}

void start_loop(ThreadArena& arena, const int* counter, std::uint64_t seed) {
    const auto loop = find_loop(arena, counter);
    if (loop == arena.loops.rend())
        arena.loops.push_back({counter, seed});
    else
        loop->seed = seed; /* of one that was left early */
}

void end_loop(ThreadArena& arena, const int* counter) {
    const auto loop = find_loop(arena, counter);
    if (loop != arena.loops.rend()) arena.loops.erase(std::next(loop).base());
}

} // namespace

miBoolean mi_sample(double* sample, int* instance, miState* state, const miUshort dimension,
                    const miUint* n) {
    auto* const renderer = vx::shading::Context::current().renderer;
    if (!renderer || !sample) return miFALSE;
    ThreadArena& arena = renderer->arena();
    const std::span<double> out(sample, dimension);
    if (!instance) {
        vx::sampling::owen_sobol(new_seed(arena, state), 0, out);
        return miTRUE;
    }
    const miUint wanted = n ? *n : 1;
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
