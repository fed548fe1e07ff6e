// mi_trace_light, mi_sample_light and light lists.
#include "host/trace/light_ray.h"

#include <algorithm>

namespace {

using vx::shading::Context;
using vx::trace::TracedFrame;

void append(std::vector<miTag>& list, const std::vector<miTag>& more) {
    for (const miTag tag : more)
        if (std::find(list.begin(), list.end(), tag) == list.end()) list.push_back(tag);
}

std::vector<miTag> all_lights(const TracedFrame& frame) {
    std::vector<miTag> all;
    for (const auto& leaf : frame.world().lights())
        all.push_back(leaf.instance);
    return all;
}

std::vector<miTag> resolved(const TracedFrame& frame, const miTag* tags, std::size_t count) {
    std::vector<miTag> list;
    for (std::size_t i = 0; i < count; ++i)
        append(list, frame.world().light_leaves(tags[i]));
    return list;
}

std::vector<miTag> all_but(const TracedFrame& frame, const std::vector<miTag>& excluded) {
    std::vector<miTag> list = all_lights(frame);
    std::erase_if(list, [&](miTag tag) {
        return std::find(excluded.begin(), excluded.end(), tag) != excluded.end();
    });
    return list;
}

// Returns the list to the shader. It is valid until the next call for a light list by this thread.
void deliver(std::vector<miTag>&& list, int* n, miTag** lights) {
    std::vector<miTag>& kept = Context::current().thread().tag_scratch;
    kept = std::move(list);
    *n = static_cast<int>(kept.size());
    *lights = kept.data();
}

} // namespace

miBoolean mi_trace_light(miColor* result, miVector* dir, miScalar* dot_nl, miState* state,
                         miTag light) {
    TracedFrame* const frame = TracedFrame::current();
    if (frame == nullptr || state == nullptr || result == nullptr) return miFALSE;
    return vx::trace::trace_light(*frame, result, dir, dot_nl, state, light) ? miTRUE : miFALSE;
}

miBoolean mi_sample_light(miColor* result, miVector* dir, miScalar* dot_nl, miState* state,
                          miTag light, miInteger* samples) {
    TracedFrame* const frame = TracedFrame::current();
    if (frame == nullptr || state == nullptr || result == nullptr || samples == nullptr)
        return miFALSE;
    return vx::trace::sample_light(*frame, result, dir, dot_nl, state, light, samples) ? miTRUE
                                                                                       : miFALSE;
}

void mi_inclusive_lightlist(int* n, miTag** lights, miState* state) {
    const TracedFrame* const frame = TracedFrame::current();
    if (frame == nullptr || state == nullptr) return;
    deliver(resolved(*frame, *lights, static_cast<std::size_t>(std::max(0, *n))), n, lights);
}

void mi_exclusive_lightlist(int* n, miTag** lights, miState* state) {
    const TracedFrame* const frame = TracedFrame::current();
    if (frame == nullptr || state == nullptr) return;
    deliver(all_but(*frame, resolved(*frame, *lights, static_cast<std::size_t>(std::max(0, *n)))),
            n, lights);
}

void mi_instance_lightlist(int* n, miTag** lights, miState* state) {
    const TracedFrame* const frame = TracedFrame::current();
    if (frame == nullptr || state == nullptr) return;
    const auto* const leaf = frame->world().find_object(state->instance);
    if (leaf == nullptr || leaf->record->light_obj_ring == miNULLTAG) {
        deliver(all_lights(*frame), n, lights);
        return;
    }
    const vx::db::Database& database = frame->context().database;
    const miTag ring = leaf->record->light_obj_ring;
    const auto* const tags = database.find<miTag>(ring, miSCENE_TAGS);
    const std::vector<miTag> named =
        tags != nullptr ? resolved(*frame, tags, database.size(ring) / sizeof(miTag))
                        : std::vector<miTag>{};
    deliver(leaf->record->light_exclusive ? all_but(*frame, named) : std::vector<miTag>(named), n,
            lights);
}
