// The distance functor of the reader's search.
#pragma once

#include "src/platform/renderer.h"
#include "src/reader/instance_data.h"

// Why the functor rejects an element.
enum class Rejection {
    None,
    Distance, // farther away than the radius, or at a distance that is not a number
    Label,    // not listed
    Cone,     // the angle between the normals of surface and element is outside the limits
    Facing    // in or behind the tangent plane of the surface
};

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

    // The first test that rejects an element, in the order of the enumeration. None for the
    // elements that a search finds, unless there are too many of them. Not used by the shader.
    Rejection Classify(const mi::shader_v3::Map_iterator_base& element) const;

    miVector m_normal;
    miVector m_direction; // not used by any test
    float m_minAngle;     // radians
    float m_maxAngle;     // radians
    const ReadInstanceData* m_record;

  private:
    struct Cosines {
        float least, most;
    };
    // Between the first two an angle is surely within its limits; below or above the others it
    // surely is not. Only in between is the angle computed.
    Cosines m_inside;
    Cosines m_outside;

    // The tests. `position` is the element's. `squared` becomes its squared distance, a partial sum
    // if the element is farther away than the radius.
    bool IsLabelRejected(const mi::shader_v3::Map_iterator_base& element) const;
    bool IsFar(const float* position, float& squared) const;
    bool IsOutsideCone(const mi::shader_v3::Map_iterator_base& element) const;
    bool IsBehind(const float* position) const;
};
