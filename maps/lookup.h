// Searches of one map.
#pragma once

#include "maps/search.h"

namespace vx::maps {

class LookupObject final : public Map_lookup_base {
  public:
    explicit LookupObject(const Map& map) : m_map(&map) {}
    LookupObject(const LookupObject& other);
    LookupObject& operator=(const LookupObject&) = delete;

    // Shaders create a lookup per shading point, so each thread keeps the memory of a few destroyed
    // ones.
    static void* operator new(std::size_t bytes);
    static void operator delete(void* memory);

    Map_status search_with(const Map_distance_base& distance, const float* euclidean_point,
                           const int max_count, const float max_squared_distance) override;
    Map_status rewind() override;
    Map_status go_to(const miUint index) override;
    Map_status get_index(miUint& index) const override;
    Map_status get_position(float* position) const override;

  private:
    Status current() const;

    const Map* m_map;
    const Body* m_body = nullptr; // of the last search
    bool m_searched = false;
    Candidate m_candidate;
    Best m_best;
};

} // namespace vx::maps
