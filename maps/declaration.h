// What a map's elements consist of: the dimension and the fields.
#pragma once

#include "maps/live.h"
#include "maps/names.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vx::maps {

inline constexpr std::size_t max_name_length = 255;
inline constexpr std::uint32_t max_field_length = 1u << 20;
inline constexpr std::size_t max_fields = 4096;
// Of an element's record, and of all global values: a small file must not ask for a lot of memory.
inline constexpr std::uint64_t max_words = 1u << 22;

struct Field {
    std::string name;
    Map_field_type::Type type = Map_field_type::Undefined;
    std::uint32_t length = 1;
    bool is_global = false;
    // In 32-bit words; a string has room for its terminating zero. The offset is from the start of
    // an element's record, or of the map's global values.
    std::uint32_t words = 0;
    std::uint64_t offset = 0;

    // Bytes of the value as the typed functions copy it.
    std::size_t bytes() const;
    bool operator==(const Field&) const = default;
};

// An element's record is its position and then its fields, all in 32-bit words.
struct Declaration {
    unsigned dimension = 3;
    std::vector<Field> fields;
    std::uint64_t record_words = 3;
    std::uint64_t global_words = 0;

    explicit Declaration(unsigned dim) : dimension(dim), record_words(dim) {}

    Status append(std::string_view name, Map_field_type::Type type, std::uint32_t length,
                  bool is_global);
    // map_no_such_field if there is none.
    Map_field_id find(std::string_view name) const;
    // Checks id, kind and type, in this order.
    Status locate(Map_field_id id, Map_field_type::Type type, bool is_global,
                  const Field*& field) const;
    bool operator==(const Declaration&) const = default;
};

using DeclarationPtr = std::shared_ptr<const Declaration>;

// Equal content; the common case of one shared object is decided first.
inline bool same(const DeclarationPtr& a, const DeclarationPtr& b) {
    return a == b || (a && b && *a == *b);
}

class DeclarationObject final : public Map_declaration_base {
  public:
    explicit DeclarationObject(Declaration content)
        : m_content(std::make_shared<const Declaration>(std::move(content))) {}

    // What later changes of this object do not reach; null for a wrong dimension. Always the same
    // object between two changes: what is made from one declaration is seen to fit at a glance.
    DeclarationPtr snapshot() const;
    const Declaration& content() const { return *m_content; }

    miUint get_dimension() const override { return m_content->dimension; }
    Map_status append_field(const char* name, const Map_field_type type, const miUint length,
                            const bool is_global) override;
    bool has_field(const char* name) const override;
    Map_field_id get_field_id(const char* name, Map_status* status) const override;
    miUint get_field_count() const override;
    const char* get_field_name(const Map_field_id field_id) const override;
    Map_field_type get_field_type(const Map_field_id field_id) const override;
    miUint get_field_length(const Map_field_id field_id) const override;
    bool is_field_global(const Map_field_id field_id) const override;
    bool is_equal(const Map_declaration_base* other) const override;

  private:
    DeclarationPtr m_content; // never null; replaced, not changed
    Counted m_counted;
};

} // namespace vx::maps
