#include "cache/reader/probe.h"

#include "cache/cloud/attribute_reader.h"
#include "cache/cloud/label_set.h"
#include "src/platform/map_read.h"
#include "src/reader/blend.h"
#include "src/reader/lookup.h"
#include "src/reader/my_distance.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <new>

namespace vx::cache {

namespace {

Float3 of(const miVector& v) {
    return {v.x, v.y, v.z};
}
miVector of(const Float3& v) {
    return {v[0], v[1], v[2]};
}
miColor color_of(const Float3& v) {
    return {v[0], v[1], v[2], 1};
}

// A state of an instance without connected parameters.
miState state_at(miFunction& function, const Float3& point, const Float3& normal,
                 const Float3& direction) {
    miState state{};
    state.shader = &function;
    state.point = of(point);
    state.normal = of(normal);
    state.dir = of(direction);
    return state;
}

} // namespace

ReaderProbe::ReaderProbe(CloudPtr cloud, const ReaderSettings& settings, Notes& notes)
    : m_map(map_of(*cloud, notes)), m_cloud(std::move(cloud)) {
    // No file name: the map is already loaded.
    m_parameters.radius = settings.radius;
    m_parameters.maxPoints = settings.max_points;
    m_parameters.useLabels = settings.labels ? miTRUE : miFALSE;
    m_parameters.labels = m_renderer.add_string("");
    m_parameters.facing = settings.facing ? 1 : 0;
    m_parameters.minAngle = settings.min_angle;
    m_parameters.maxAngle = settings.max_angle;
    m_parameters.falloff = color_of(settings.falloff);
    m_parameters.scale = color_of(settings.scale);
    m_parameters.useOpacity = settings.use_opacity ? miTRUE : miFALSE;
    miFunction function{};
    miState state = state_at(function, {}, {}, {});
    m_record = std::make_unique<ReadInstanceData>(&state, &m_parameters);
    if (settings.labels) set_labels(*settings.labels);
    m_record->TakeMap(m_map->access().release(), m_cloud->file_name.c_str());
    for (const SmallRenderer::Message& message : m_renderer.take_messages())
        notes.push_back(message.level + ": " + message.text);
    check_renderer();
    const int id = m_cloud->find("id");
    if (id >= 0 && m_cloud->attributes[static_cast<std::size_t>(id)].width == 1) {
        m_ids = std::make_unique<TypedReader<double>>(*m_cloud, static_cast<std::size_t>(id));
    }
}

ReaderProbe::~ReaderProbe() = default;

// The shader expands ranges to lists of their values. The same points pass with the values that
// occur in the cloud.
void ReaderProbe::set_labels(const std::string& text) {
    const std::vector<std::int32_t> found = LabelSet(text).found_in(*m_cloud);
    std::free(m_record->labelValues);
    m_record->labelCount = static_cast<int>(found.size());
    m_record->labelValues = static_cast<int*>(std::calloc(found.size() + 1, sizeof(int)));
    if (m_record->labelValues == nullptr) throw std::bad_alloc();
    std::copy(found.begin(), found.end(), m_record->labelValues);
}

void ReaderProbe::check_renderer() const {
    if (m_renderer.error()) throw FileError(m_cloud->file_name, -1, *m_renderer.error());
}

Seen ReaderProbe::look(const Float3& point, const Float3& normal, const Float3& direction) {
    miFunction function{};
    miState state = state_at(function, point, normal, direction);
    Seen seen;
    ReadResult result{};
    seen.success = ReadPoints(&result, &state, &m_parameters, *m_record) != miFALSE;
    check_renderer();
    const miColor& c = result.outColor;
    seen.color = {c.r, c.g, c.b, c.a};
    seen.point_count = result.pointCount;
    if (m_record->mapHolder == nullptr) return seen;
    find_points(state, seen);
    seen.tally = tally(state);
    return seen;
}

void ReaderProbe::find_points(const miState& state, Seen& seen) const {
    const ReadInstanceData& record = *m_record;
    CBlend blend(&state, m_parameters.minAngle, m_parameters.maxAngle, record);
    if (blend.IsEmpty()) return;
    blend.Visit(m_parameters.falloff,
                [&](const auto& row, float squared, const CWeights& weight, bool left_out) {
                    FoundPoint p;
                    miUint index = 0;
                    row.get_index(index);
                    p.index = index;
                    row.get_position(p.position.data());
                    p.normal = of(map_read::Field(row, record.normalField, miVector{0, 0, 0}));
                    p.color = of(map_read::Field(row, record.rgbField, miVector{0, 0, 0}));
                    p.opacity = map_read::Field(row, record.opacityField, 1.0F);
                    int label = 0;
                    if (row.get(record.tagField, label).is_ok()) p.label = label;
                    if (m_ids) p.id = m_ids->read(p.index, 1)[0];
                    p.distance = std::sqrt(squared);
                    p.falloff = Falloff(p.distance, record.radius);
                    p.left_out = left_out;
                    if (!left_out) {
                        p.weight = {weight.r, weight.g, weight.b};
                        ++seen.blended;
                    }
                    seen.found.push_back(p);
                });
}

Tally ReaderProbe::tally(const miState& state) const {
    Tally t;
    mi::shader_v3::Map_iterator iterator(*m_record->mapHolder);
    auto& row = *iterator.operator->();
    const My_distance functor(&state, m_parameters.minAngle, m_parameters.maxAngle, m_record.get());
    for (t.total = 0; !row.at_end(); ++t.total, row.next()) {
        const float* p = row.get_position();
        const double d = std::hypot(static_cast<double>(p[0]) - static_cast<double>(state.point.x),
                                    static_cast<double>(p[1]) - static_cast<double>(state.point.y),
                                    static_cast<double>(p[2]) - static_cast<double>(state.point.z));
        if (d < t.nearest || t.nearest < 0) t.nearest = std::isnan(d) ? t.nearest : d;
        switch (functor.Classify(row)) {
        case Rejection::Distance:
            continue;
        case Rejection::Label: {
            int label = 0;
            ++t.by_label;
            if (row.get(m_record->tagField, label).is_ok()) ++t.labels[label];
            break;
        }
        case Rejection::Cone:
            ++t.by_cone;
            break;
        case Rejection::Facing:
            ++t.by_facing;
            break;
        case Rejection::None:
            ++t.passed;
            break;
        }
        ++t.within;
    }
    return t;
}

} // namespace vx::cache
