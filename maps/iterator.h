// The two iterators: over the elements of a map, and for the candidate of a search.
#pragma once

#include "maps/names.h"

#include <cstdint>
#include <vector>

namespace vx::maps {

class Map;
struct Body;

// The candidate that a search passes to a functor. It cannot be stepped.
class Candidate final : public Map_iterator_base {
  public:
    Candidate() = default;
    // A copied lookup does not copy its candidate: attach() is called before every search.
    // NOLINTBEGIN(bugprone-copy-constructor-init, bugprone-unhandled-self-assignment)
    // NOLINTNEXTLINE(readability-redundant-member-init): a copy that names no base is a warning
    Candidate(const Candidate&) : Map_iterator_base() {}
    Candidate& operator=(const Candidate&) { return *this; }
    // NOLINTEND(bugprone-copy-constructor-init, bugprone-unhandled-self-assignment)

    void attach(const Map& map, const Body& body, const Map_column* columns, miUint count);
    void detach();
    void place(unsigned axis, float coordinate) { m_place[axis] = coordinate; }
    void move(std::uint32_t row) { m_row = row; }

    const Map* map() const { return m_map; }
    miUint get_index() const override;
    bool at_end() const override { return false; }
    Map_status next() override { return Map_status::Iterator_invalid; }
    Map_status go_to(const miUint) override { return Map_status::Iterator_invalid; }

  private:
    const Map* m_map = nullptr;
    const Body* m_body = nullptr;
    float m_place[kMaxDimension] = {};
};

// Steps through a map in the order of appending. Holds a copy of the current element, which later
// changes of the map do not affect.
class MapIterator final : public Map_iterator_base {
  public:
    // Throws std::bad_alloc.
    explicit MapIterator(const Map& map, miUint index = 0);
    MapIterator(const MapIterator& other) : MapIterator(*other.m_map, other.m_index) {}
    MapIterator& operator=(const MapIterator&) = delete;

    miUint get_index() const override;
    bool at_end() const override;
    Map_status next() override;
    Map_status go_to(const miUint index) override;

  private:
    void load();

    const Map* m_map;
    miUint m_index;
    std::vector<std::uint32_t> m_words;
    std::vector<Map_column> m_own_columns;
};

} // namespace vx::maps
