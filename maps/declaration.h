// What a map's elements consist of: the dimension and the fields.
#pragma once

#include "maps/names.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vx::maps {

inline constexpr std::size_t kMaxNameLength = 255;
inline constexpr std::uint32_t kMaxFieldLength = 1u << 20;
inline constexpr std::size_t kMaxFields = 4096;
// Of an element's record, and of all global values: limits the memory that a small file can ask
// for.
inline constexpr std::uint64_t kMaxWords = 1u << 22;

struct Field {
    std::string name;
    Map_field_type::Type type = Map_field_type::Undefined;
    std::uint32_t length = 1;
    bool is_global = false;
    // In 32-bit words, including a string's terminating zero. The offset is from the start of an
    // element's record, or of the map's global values.
    std::uint32_t words = 0;
    std::uint64_t offset = 0;

    // Bytes that the typed get and set functions copy.
    std::size_t bytes() const;
    bool operator==(const Field&) const = default;
};

// An element's record is its position followed by its fields, all in 32-bit words.
struct Declaration {
    unsigned dimension = 3;
    std::vector<Field> fields;
    std::uint64_t record_words = 3;
    std::uint64_t global_words = 0;

    explicit Declaration(unsigned dim) : dimension(dim), record_words(dim) {}

    Status append(std::string_view name, Map_field_type::Type type, std::uint32_t length,
                  bool is_global);
    // Returns map_no_such_field for an unknown name.
    Map_field_id find(std::string_view name) const;
    // Checks id, kind and type, in this order.
    Status locate(Map_field_id id, Map_field_type::Type type, bool is_global,
                  const Field*& field) const;
    bool operator==(const Declaration&) const = default;
};

using DeclarationPtr = std::shared_ptr<const Declaration>;

// Compares contents; one shared object is the common case.
inline bool same(const DeclarationPtr& a, const DeclarationPtr& b) {
    return a == b || (a && b && *a == *b);
}

class DeclarationObject final : public Map_declaration_base {
  public:
    explicit DeclarationObject(Declaration content)
        : m_content(std::make_shared<const Declaration>(std::move(content))) {}

    // The current content, which later changes of this object do not affect; null if the dimension
    // is invalid. All snapshots between two changes are one object, so that same() is fast for maps
    // and elements made from one declaration.
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
};

} // namespace vx::maps
