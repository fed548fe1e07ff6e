// A map: what was appended, and what the last consolidate made of it.
#pragma once

#include "maps/body.h"
#include "maps/element.h"
#include "maps/records.h"

#include <limits>
#include <unordered_map>

namespace vx::maps {

inline constexpr std::uint64_t kMaxElements = std::numeric_limits<std::uint32_t>::max();

// The elements are those of the body, as modified by m_changes, followed by the appended records.
// Const functions may run concurrently.
class Map final : public Map_base {
  public:
    Map() = default;
    explicit Map(DeclarationPtr declaration) { declare(std::move(declaration)); }
    virtual ~Map() = default;

    const DeclarationPtr& declaration() const { return m_declaration; }
    // What searches use; null before the first consolidate().
    const Body* body() const { return m_body.get(); }
    // One per field, for rows of the body.
    const Map_column* columns() const { return m_columns.data(); }
    miUint column_count() const { return static_cast<miUint>(m_columns.size()); }
    // The values of the global fields, by offset. The address changes with the declaration only.
    const std::uint32_t* globals() const { return m_globals.data(); }
    std::uint32_t* globals() { return m_globals.data(); }
    bool is_consolidated() const { return m_appended.count() == 0 && m_changes.empty(); }
    // Copies an element in record form. The index must be below the size.
    void copy_record(std::uint32_t index, std::uint32_t* words) const;
    // A body of all current elements; the map's own if it is up to date. Throws std::bad_alloc.
    BodyPtr consolidated(float quality) const;

    // Removes all elements and replaces the declaration, which may be null.
    void declare(DeclarationPtr declaration);
    // Replaces all elements by those of a body, which must have the map's declaration.
    void adopt(BodyPtr body);
    // Appends a record for the caller to fill; null if the map has kMaxElements. Throws
    // std::bad_alloc.
    std::uint32_t* extend();
    void swap(Map& other) noexcept;

    // The tag that the map was last stored under, to be read and set under the lock of
    // interface.cpp.
    miTag stored_tag() const { return m_stored_tag; }
    void set_stored_tag(miTag tag) { m_stored_tag = tag; }

    miUint size() const override { return static_cast<miUint>(body_count() + m_appended.count()); }
    bool is_empty() const override { return size() == 0; }
    bool has_declaration() const override { return m_declaration != nullptr; }
    Map_status get(const miUint index, mi::shader_v3::Map_element& map_element) const override;
    Map_status set(const miUint index, const mi::shader_v3::Map_element& map_element) override;
    Map_status append(const mi::shader_v3::Map_element& map_element) override;
    Map_status read(const char* file_name, const bool notify) override;
    Map_status append_to(const char* file_name, const bool notify) const override;
    Map_status append_from(const char* file_name, const bool notify) override;
    Map_status write(const char* file_name, const bool notify,
                     const File_format file_format) const override;
    Map_status consolidate(const float bvh_quality) override;

    Map_status get(const Map_field_id id, float& value) const override;
    Map_status get(const Map_field_id id, int& value) const override;
    Map_status get(const Map_field_id id, miVector& value) const override;
    Map_status get(const Map_field_id id, miColor& value) const override;
    Map_status get(const Map_field_id id, miMatrix* value) const override;
    Map_status get(const Map_field_id id, float* value) const override;
    Map_status get(const Map_field_id id, int* value) const override;
    Map_status get(const Map_field_id id, char* value) const override;
    Map_status set(const Map_field_id id, const float value) override;
    Map_status set(const Map_field_id id, const int value) override;
    Map_status set(const Map_field_id id, const miVector& value) override;
    Map_status set(const Map_field_id id, const miColor& value) override;
    Map_status set(const Map_field_id id, const miMatrix* value) override;
    Map_status set(const Map_field_id id, const float* value) override;
    Map_status set(const Map_field_id id, const int* value) override;
    Map_status set(const Map_field_id id, const char* value) override;

  private:
    std::uint64_t body_count() const { return m_body ? m_body->shape.count : 0; }
    Status copy_global(Map_field_id id, Map_field_type::Type type, void* value) const;
    Status store_global(Map_field_id id, Map_field_type::Type type, const void* value);
    // Gets the record of an element if its declaration is the map's.
    Status fitting(const mi::shader_v3::Map_element& element,
                   std::span<const std::uint32_t>& words) const;
    void set_columns();

    DeclarationPtr m_declaration;
    BodyPtr m_body;
    Records m_appended;
    std::unordered_map<std::uint32_t, std::vector<std::uint32_t>> m_changes;
    std::vector<std::uint32_t> m_globals;
    std::vector<Map_column> m_columns;
    miTag m_stored_tag = miNULLTAG;
};

} // namespace vx::maps
