// One element outside of any map.
#pragma once

#include "maps/declaration.h"

#include <cstring>
#include <span>

namespace vx::maps {

class ElementObject final : public Map_element_base {
  public:
    explicit ElementObject(DeclarationPtr declaration) { adopt(std::move(declaration)); }

    const DeclarationPtr& declaration() const { return m_declaration; }
    std::span<const std::uint32_t> words() const { return m_words; }
    std::span<std::uint32_t> words() { return m_words; }
    // Replaces the declaration; all values become zero.
    void adopt(DeclarationPtr declaration);

    bool has_declaration() const override { return m_declaration != nullptr; }
    Map_status set_position(const float* position) override;
    Map_status get_position(float* position) const override;

    Map_status get(const Map_field_id id, float& value) const override;
    Map_status get(const Map_field_id id, int& value) const override;
    Map_status get(const Map_field_id id, miVector& value) const override;
    Map_status get(const Map_field_id id, miColor& value) const override;
    Map_status get(const Map_field_id id, miMatrix* value) const override;
    Map_status get(const Map_field_id id, float* value) const override;
    Map_status get(const Map_field_id id, int* value) const override;

    Map_status set(const Map_field_id id, const float value) override;
    Map_status set(const Map_field_id id, const int value) override;
    Map_status set(const Map_field_id id, const miVector& value) override;
    Map_status set(const Map_field_id id, const miColor& value) override;
    Map_status set(const Map_field_id id, const miMatrix* value) override;
    Map_status set(const Map_field_id id, const float* value) override;
    Map_status set(const Map_field_id id, const int* value) override;

  private:
    Status copy_out(Map_field_id id, Map_field_type::Type type, void* value) const;
    Status copy_in(Map_field_id id, Map_field_type::Type type, const void* value);
    template <class T>
    Status copy_one_in(Map_field_id id, Map_field_type::Type type, const T& value);

    DeclarationPtr m_declaration;
    std::vector<std::uint32_t> m_words;
};

} // namespace vx::maps
