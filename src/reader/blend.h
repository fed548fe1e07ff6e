// The blend of one call: the search for its points, and the walk over them. A template, so that
// the visitor costs no call.
#pragma once

#include "src/platform/map_read.h"
#include "src/reader/my_distance.h"
#include "src/reader/weights.h"

class CBlend {
  public:
    // Searches the map of `record`, which must have one, around the point of `state`. Angles are in
    // degrees. `state` and `record` must outlive the blend.
    CBlend(const miState* state, float minAngle, float maxAngle, const ReadInstanceData& record)
        : m_state(state),
          m_record(record),
          m_lookup(*record.mapHolder),
          m_distance(state, minAngle, maxAngle, &record) {
        map_read::Search(m_lookup, m_distance, record.maxPoints, record.radiusSquared);
    }

    bool IsEmpty() { return map_read::IsEmpty(m_lookup); }
    // Points found, including those that are left out of the mean. Requires a blend that is not
    // empty.
    int Size() { return map_read::Size(m_lookup); }

    // Calls visit(point, squaredDistance, weight, leftOut) for the points by increasing distance:
    // the element of the map (Map_lookup_base), what the functor returned for it, the CWeights by
    // which its color is multiplied, and whether it faces away and is left out of the mean. Call
    // once, for a blend that is not empty.
    template <class Visitor>
    void Visit(const miColor& exponent, Visitor visit) {
        CWeights weight; // one set for all points: weights carry over from point to point
        for (; !map_read::AtEnd(m_lookup); map_read::Next(m_lookup)) {
            const auto& point = map_read::Current(m_lookup);
            const float squared = map_read::SquaredDistance(m_lookup);
            const bool counts = weight.Weigh(point, squared, m_state->normal, exponent, m_record);
            visit(point, squared, weight, !counts);
        }
    }

  private:
    const miState* m_state;
    const ReadInstanceData& m_record;
    mi::shader_v3::Map_lookup m_lookup;
    My_distance m_distance;
};
