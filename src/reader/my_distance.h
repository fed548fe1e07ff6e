// Measures and sifts the baked points that a search comes across.
#ifndef VX_SRC_READER_MY_DISTANCE_H
#define VX_SRC_READER_MY_DISTANCE_H

#include "src/platform/renderer.h"
#include "src/reader/instance_data.h"

// Lives on the stack of one call of the shader. Box distances are the inherited Euclidean ones.
class My_distance final : public mi::shader_v3::Map_distance<3U> {
  public:
    // The point, normal and ray direction of `state`; angles in degrees; `record` must outlive the
    // functor.
    My_distance(const miState* state, float min_angle, float max_angle,
                const ReadInstanceData* record);

    using mi::shader_v3::Map_distance<3U>::operator();
    // Squared distance of an element, or 1e36 to keep it out of the result: when its label is not
    // wanted, when it is farther than the radius, when its normal is outside the cone about the
    // surface's, or, in facing mode, when it lies behind the surface's tangent plane or in it.
    // Normals are used as they are, without being normalised. An element without a normal has a
    // null one, one without a label has a label that no list holds.
    float operator()(const mi::shader_v3::Map_iterator_base* element) const override;

    miVector m_normal;
    miVector m_direction; // carried along, but no test needs it
    float m_minAngle;     // radians
    float m_maxAngle;     // radians
    const ReadInstanceData* m_record;
};

#endif
