// The distance functor of the reader's search.
#pragma once

#include "src/platform/renderer.h"
#include "src/reader/instance_data.h"

// Lives on the stack of one shader call. Box distances are the inherited Euclidean ones.
class My_distance final : public mi::shader_v3::Map_distance<3> {
  public:
    // Takes point, normal and ray direction from `state`. Angles are in degrees. `record` must
    // outlive the functor.
    My_distance(const miState* state, float minAngle, float maxAngle,
                const ReadInstanceData* record);

    using mi::shader_v3::Map_distance<3>::operator();
    // The squared distance of an element, or 1e36 to reject it: if its label is not listed, if it
    // is farther away than the radius, if the angle between its normal and the surface's is outside
    // the limits, or, in facing mode, if it lies in or behind the tangent plane of the surface.
    // Normals are not normalized. An element without a normal has a null normal; one without a
    // label has a label that no list contains.
    float operator()(const mi::shader_v3::Map_iterator_base* element) const override;

    miVector m_normal;
    miVector m_direction; // not used by any test
    float m_minAngle;     // radians
    float m_maxAngle;     // radians
    const ReadInstanceData* m_record;
};
