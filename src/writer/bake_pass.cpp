#include "src/writer/bake_pass.h"

#include "src/names/label_list.h"
#include "src/platform/shader_access.h"
#include "src/platform/vector.h"
#include "src/writer/surface_tag.h"
#include "src/writer/write_instance_data.h"

namespace {

// Distance of ray origins from the last surface, in world units.
constexpr float kStep = 0.005f;

miVector Stepped(const miVector& from, const miVector& along, float distance) {
    return {from.x + along.x * distance, from.y + along.y * distance, from.z + along.z * distance};
}

// The variables of a lens shader's state that probing and tracing change.
class CSavedState {
  public:
    explicit CSavedState(const miState* state)
        : m_org(state->org), m_point(state->point), m_pri(state->pri), m_cache(state->cache) {}

    void RestoreTo(miState* state) const {
        state->org = m_org;
        state->point = m_point;
        state->pri = m_pri;
        state->cache = m_cache;
    }
    const miVector& EyeOrigin() const { return m_org; }

  private:
    miVector m_org;
    miVector m_point;
    decltype(miState::pri) m_pri;
    decltype(miState::cache) m_cache;
};

miVector CameraDirection(const miCamera* camera, int width, int height, int x, int y,
                         const double sample[2]) {
    const float u =
        (static_cast<float>(x) + static_cast<float>(sample[0])) / static_cast<float>(width);
    const float v =
        (static_cast<float>(y) + static_cast<float>(sample[1])) / static_cast<float>(height);
    return Normalized({(u - 0.5f) * camera->aperture,
                       (v - 0.5f) * camera->aperture / camera->aspect, -camera->focal});
}

bool IsWanted(const WriteInstanceData* data, int tag) {
    if (tag < 0) return false;
    return data->params.useLabels == 0 ||
           in_label_list(data->labelValues, data->labelCount, tag) != 0;
}

// Shades the surface along `direction` from state->point and appends a point to row `cell`.
void ShadePoint(miState* state, WriteInstanceData* data, int cell, int tag, miVector* direction) {
    miColor color = {0, 0, 0, 0};
    mi_flush_cache(state);
    // The result is ignored: black surfaces are baked like all others.
    mi_trace_reflection(&color, state, direction);
    const miState* shaded = state->child;
    // At the edge of a surface, the shading ray may miss what the probe hit.
    if (shaded == nullptr || shaded->dist == 0.0) return;
    data->grid.Append(cell, {shaded->point.x, shaded->point.y, shaded->point.z, shaded->normal.x,
                             shaded->normal.y, shaded->normal.z, color.r, color.g, color.b, color.a,
                             tag});
}

// Follows the ray of one sample through the surfaces. Returns the number of shaded surfaces.
int BakeSample(miState* state, WriteInstanceData* data, int cell, miVector* direction) {
    int shaded = 0;
    int layer = 0;
    do {
        if (!mi_trace_probe(state, direction, &state->point) || state->child == nullptr ||
            state->child->dist == 0.0)
            break;
        miState* hit = state->child;
        const miVector hitPoint = hit->point;
        miVector shadeDirection = *direction;
        if (hit->inv_normal) {
            // Seen from behind: shade the front. The inverted normal points away from it.
            state->point = Stepped(hitPoint, hit->normal, -kStep);
            shadeDirection = hit->normal;
        }
        const int tag = FindSurfaceTag(hit);
        if (IsWanted(data, tag)) {
            ShadePoint(state, data, cell, tag, &shadeDirection);
            ++shaded;
        }
        state->point = Stepped(hitPoint, *direction, kStep);
        mi_flush_cache(state);
        ++layer;
    } while (layer < data->params.layers);
    return shaded;
}

} // namespace

void BakePass(miState* state, WriteInstanceData* data) {
    const CSavedState saved(state);
    int bakeFlag = 1;
    PublishToShadersBelow(state, "vx_pc", &bakeFlag, sizeof bakeFlag);

    int count = 0;
    int cell = 0;
    const int height = state->camera->y_resolution;
    const int interval = height / 10;
    for (int y = 0; y < height; ++y) {
        // Images of fewer than ten lines have no interval and report no progress.
        if (y > 0 && interval > 0 && y % interval == 0)
            mi_info("vx_pc_write: line %d of %d done", y, height);
        for (int x = 0; x < state->camera->x_resolution; ++x) {
            const auto n = static_cast<miUint>(data->params.samples);
            int instance = 0;
            double sample[2];
            while (mi_sample(sample, &instance, state, 2, &n)) {
                // Without jitter there is only one sample, so no later one depends on it.
                if (data->params.jitter == 0) sample[0] = sample[1] = 0.5;
                miVector cameraDirection = CameraDirection(
                    state->camera, state->camera->x_resolution, height, x, y, sample);
                miVector direction;
                mi_vector_from_camera(state, &direction, &cameraDirection);
                state->point = saved.EyeOrigin();
                count += BakeSample(state, data, cell, &direction);
                ++cell;
            }
        }
    }
    mi_info("vx_pc_write: %d points written", count);

    bakeFlag = 0;
    saved.RestoreTo(state);
    PublishToShadersBelow(state, "vx_pc", &bakeFlag, sizeof bakeFlag);
}
