#include "src/reader/my_distance.h"

#include "src/names/label_list.h"
#include "src/platform/map_read.h"
#include "src/platform/vector.h"

#include <cmath>

namespace {

constexpr float kPi = 3.1415927f;
constexpr float kOppositeCosine = -0.9999f;
constexpr float kEqualCosine = 0.9999f;
constexpr float kRejected = 1e36f;
constexpr int kNoLabel = -1; // label lists contain no negative values

float ToRadians(float degrees) {
    return degrees * kPi / 180.0f;
}

// The angle, cut off near the poles. A cosine that is not a number gives 0.
float AngleOf(float cosine) {
    if (cosine <= kOppositeCosine) return kPi;
    return cosine < kEqualCosine ? acosf(cosine) : 0.0f;
}

// The cosine of a limit; beyond all cosines if the limit excludes nothing or everything.
float CosineOf(float angle) {
    constexpr float kBeyond = 2.0f;
    if (angle <= 0.0f) return kBeyond;
    return angle >= kPi ? -kBeyond : cosf(angle);
}

} // namespace

My_distance::My_distance(const miState* state, float minAngle, float maxAngle,
                         const ReadInstanceData* record)
    : mi::shader_v3::Map_distance<3>(&state->point.x),
      m_normal(state->normal),
      m_direction(state->dir),
      m_minAngle(ToRadians(minAngle)),
      m_maxAngle(ToRadians(maxAngle)),
      m_record(record) {
    // Far more than acosf and cosf are off together: angles differ by more than their cosines do.
    constexpr float kMargin = 1e-5f;
    const float nearest = CosineOf(m_minAngle);
    const float farthest = CosineOf(m_maxAngle);
    m_inside = {fmaxf(farthest + kMargin, kOppositeCosine), fminf(nearest - kMargin, kEqualCosine)};
    m_outside = {farthest - kMargin, nearest + kMargin};
}

inline bool My_distance::IsLabelRejected(const mi::shader_v3::Map_iterator_base& element) const {
    if (m_record->useLabels == miFALSE) return false;
    const int label = map_read::Field(element, m_record->tagField, kNoLabel);
    return in_label_list(m_record->labelValues, m_record->labelCount, label) == 0;
}

inline bool My_distance::IsFar(const float* position, float& squared) const {
    squared = 0.0f;
    for (int axis = 0; axis < 3; ++axis) {
        const float difference = position[axis] - m_point[axis];
        squared += difference * difference;
        if (squared > m_record->radiusSquared) return true;
    }
    return false;
}

inline bool My_distance::IsOutsideCone(const mi::shader_v3::Map_iterator_base& element) const {
    const miVector normal =
        map_read::Field(element, m_record->normalField, miVector{0.0f, 0.0f, 0.0f});
    if (!(m_minAngle > 0.0f || m_maxAngle < kPi)) return false;
    const float cosine = Dot(m_normal, normal);
    if (cosine > m_inside.least && cosine < m_inside.most) return false;
    if (cosine > kOppositeCosine && cosine < kEqualCosine &&
        (cosine < m_outside.least || cosine > m_outside.most)) {
        return true;
    }
    const float angle = AngleOf(cosine);
    return angle < m_minAngle || angle > m_maxAngle;
}

inline bool My_distance::IsBehind(const float* position) const {
    if (m_record->facing != 1) return false;
    const miVector towards =
        Normalized({position[0] - m_point[0], position[1] - m_point[1], position[2] - m_point[2]});
    return !(Dot(m_normal, towards) > 0.0f);
}

float My_distance::operator()(const mi::shader_v3::Map_iterator_base* element) const {
    if (IsLabelRejected(*element)) return kRejected;
    const float* position = map_read::Position(*element);
    float squared;
    if (IsFar(position, squared) || IsOutsideCone(*element) || IsBehind(position)) return kRejected;
    return squared;
}

Rejection My_distance::Classify(const mi::shader_v3::Map_iterator_base& element) const {
    const float* position = map_read::Position(element);
    float squared;
    // A search finds nothing at a distance that is not a number.
    if (IsFar(position, squared) || !(squared < kRejected)) return Rejection::Distance;
    if (IsLabelRejected(element)) return Rejection::Label;
    if (IsOutsideCone(element)) return Rejection::Cone;
    return IsBehind(position) ? Rejection::Facing : Rejection::None;
}
