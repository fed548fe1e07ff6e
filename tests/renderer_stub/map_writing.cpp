#include "tests/renderer_stub/map_writing.h"

#include "tests/renderer_stub/map_stub.h"

#include <stdexcept>
#include <utility>

namespace vx::stub {

namespace {

using namespace mi::shader_v3;

// What the library is not known to call: a test that gets here has found something new.
[[noreturn]] void unexpected(const char* call) {
    throw std::logic_error(std::string("the stand-in has no ") + call);
}

const char* name_of(const Map_field_type& type) {
    switch (type.get_type()) {
    case Map_field_type::Integer:
        return "integer";
    case Map_field_type::Scalar:
        return "scalar";
    case Map_field_type::Vector:
        return "vector";
    case Map_field_type::Color:
        return "color";
    default:
        return "other";
    }
}

struct Field {
    std::string name;
    Map_field_type type;
};

class NewDeclaration final : public Map_declaration_base {
  public:
    explicit NewDeclaration(miUint dimension) : m_dimension(dimension) {
        ++Maps::current().counts.declarations;
    }
    ~NewDeclaration() override {
        --Maps::current().counts.declarations;
        Maps::current().note("declaration destroyed");
    }

    miUint get_dimension() const override { return m_dimension; }
    Map_status append_field(const char* name, const Map_field_type type, const miUint /*length*/,
                            const bool is_global) override {
        Maps::current().note(std::string("append_field(") + name + ", " + name_of(type) + ")");
        if (is_global) unexpected("global fields");
        fields.push_back({name, type});
        return Map_status::OK;
    }
    bool has_field(const char* name) const override { return find(name) < fields.size(); }
    Map_field_id get_field_id(const char* name, Map_status* status) const override {
        Maps::current().note(std::string("get_field_id(") + name + ")");
        const size_t found = find(name);
        if (found < fields.size()) return static_cast<Map_field_id>(found);
        if (status != nullptr) *status = Map_status::No_such_field;
        return map_no_such_field;
    }
    miUint get_field_count() const override { return static_cast<miUint>(fields.size()); }
    const char* get_field_name(const Map_field_id id) const override {
        return id < fields.size() ? fields[id].name.c_str() : nullptr;
    }
    Map_field_type get_field_type(const Map_field_id id) const override {
        return id < fields.size() ? fields[id].type : Map_field_type();
    }
    miUint get_field_length(const Map_field_id id) const override {
        return id < fields.size() ? 1 : 0;
    }
    bool is_field_global(const Map_field_id /*id*/) const override { return false; }
    bool is_equal(const Map_declaration_base* other) const override { return other == this; }

    std::vector<Field> fields;

  private:
    size_t find(const char* name) const {
        size_t i = 0;
        while (i < fields.size() && fields[i].name != name)
            ++i;
        return i;
    }
    miUint m_dimension;
};

class NewElement final : public Map_element_base {
  public:
    explicit NewElement(const NewDeclaration& declaration)
        : position(declaration.get_dimension()), m_fields(declaration.fields) {
        ++Maps::current().counts.elements;
    }
    ~NewElement() override {
        --Maps::current().counts.elements;
        Maps::current().note("element destroyed");
    }

    bool has_declaration() const override { return true; }
    Map_status set_position(const float* to) override {
        if (Maps::current().quiet_elements) return Map_status::OK;
        std::string text;
        for (size_t i = 0; i < position.size(); ++i) {
            position[i] = to[i];
            if (i > 0) text += ' ';
            text += text_of(to[i]);
        }
        Maps::current().note("set_position(" + text + ")");
        return Map_status::OK;
    }
    Map_status get_position(float* /*to*/) const override { unexpected("get_position"); }

    Map_status get(const Map_field_id /*id*/, float& /*value*/) const override { no_get(); }
    Map_status get(const Map_field_id /*id*/, int& /*value*/) const override { no_get(); }
    Map_status get(const Map_field_id /*id*/, miVector& /*value*/) const override { no_get(); }
    Map_status get(const Map_field_id /*id*/, miColor& /*value*/) const override { no_get(); }
    Map_status get(const Map_field_id /*id*/, miMatrix* /*value*/) const override { no_get(); }
    Map_status get(const Map_field_id /*id*/, float* /*value*/) const override { no_get(); }
    Map_status get(const Map_field_id /*id*/, int* /*value*/) const override { no_get(); }

    Map_status set(const Map_field_id id, const float value) override {
        return store(id, Map_field_type::Scalar, [&] { return text_of(value); });
    }
    Map_status set(const Map_field_id id, const int value) override {
        return store(id, Map_field_type::Integer, [&] { return std::to_string(value); });
    }
    Map_status set(const Map_field_id id, const miVector& value) override {
        return store(id, Map_field_type::Vector, [&] { return text_of(value); });
    }
    Map_status set(const Map_field_id /*id*/, const miColor& /*value*/) override {
        unexpected("set of a color");
    }
    Map_status set(const Map_field_id /*id*/, const miMatrix* /*value*/) override {
        unexpected("set of a transform");
    }
    Map_status set(const Map_field_id /*id*/, const float* /*value*/) override {
        unexpected("set of an array");
    }
    Map_status set(const Map_field_id /*id*/, const int* /*value*/) override {
        unexpected("set of an array");
    }

    std::vector<float> position;
    std::map<std::string, std::string> values;

  private:
    [[noreturn]] static void no_get() { unexpected("get of an element's field"); }

    template <class Text>
    Map_status store(Map_field_id id, Map_field_type type, Text text_of_value) {
        if (id >= m_fields.size()) return Map_status::No_such_field;
        if (Maps::current().quiet_elements) return Map_status::OK;
        const std::string& name = m_fields[id].name;
        const std::string text = text_of_value();
        Maps::current().note("set(" + name + ", " + text + ")");
        if (type != m_fields[id].type) {
            Maps::current().complain("the field " + name + " is no " + name_of(type));
            return Map_status::Field_type_mismatch;
        }
        values[name] = std::string(name_of(type)) + " " + text;
        return Map_status::OK;
    }

    std::vector<Field> m_fields;
};

class NewMap final : public Map_base {
  public:
    explicit NewMap(const NewDeclaration& declaration) {
        m_content.dimension = declaration.get_dimension();
        for (const Field& field : declaration.fields)
            m_content.fields.push_back(field.name + " " + name_of(field.type));
    }

    miUint size() const override { return static_cast<miUint>(m_content.count); }
    bool is_empty() const override { return m_content.count == 0; }
    bool has_declaration() const override { return true; }
    Map_status get(const miUint /*index*/, Map_element& /*element*/) const override { no_access(); }
    Map_status set(const miUint /*index*/, const Map_element& /*element*/) override { no_access(); }
    Map_status append(const Map_element& element) override {
        const auto* given = dynamic_cast<const NewElement*>(element.operator->());
        if (given == nullptr) unexpected("elements of other makes");
        const bool refused = Maps::current().refuse_append == static_cast<int>(m_content.count);
        if (!Maps::current().quiet_elements)
            Maps::current().note(refused ? "append() -> refused" : "append()");
        if (refused) return Map_status::Insufficient_memory;
        ++m_content.count;
        if (!Maps::current().quiet_elements)
            m_content.elements.push_back({given->position, given->values});
        m_content.consolidated = false;
        return Map_status::OK;
    }
    Map_status read(const char* /*name*/, const bool /*notify*/) override { unexpected("read"); }
    Map_status append_to(const char* /*name*/, const bool /*notify*/) const override {
        unexpected("append_to");
    }
    Map_status append_from(const char* /*name*/, const bool /*notify*/) override {
        unexpected("append_from");
    }
    Map_status write(const char* name, const bool notify, const File_format format) const override {
        Maps::current().note(std::string("write(") + name + ", " + (notify ? "notify" : "quiet") +
                             ", format " + std::to_string(format) + ")");
        Maps::current().written.push_back(m_content);
        Maps::current().written.back().file_name = name;
        return Map_status::Failure; // nobody may rely on it
    }
    Map_status consolidate(const float quality) override {
        Maps::current().note("consolidate(" + text_of(quality) + ")");
        m_content.consolidated = true;
        return Map_status::Failure; // nor on this
    }

    Map_status get(const Map_field_id /*id*/, float& /*v*/) const override { no_access(); }
    Map_status get(const Map_field_id /*id*/, int& /*v*/) const override { no_access(); }
    Map_status get(const Map_field_id /*id*/, miVector& /*v*/) const override { no_access(); }
    Map_status get(const Map_field_id /*id*/, miColor& /*v*/) const override { no_access(); }
    Map_status get(const Map_field_id /*id*/, miMatrix* /*v*/) const override { no_access(); }
    Map_status get(const Map_field_id /*id*/, float* /*v*/) const override { no_access(); }
    Map_status get(const Map_field_id /*id*/, int* /*v*/) const override { no_access(); }
    Map_status get(const Map_field_id /*id*/, char* /*v*/) const override { no_access(); }
    Map_status set(const Map_field_id /*id*/, const float /*v*/) override { no_access(); }
    Map_status set(const Map_field_id /*id*/, const int /*v*/) override { no_access(); }
    Map_status set(const Map_field_id /*id*/, const miVector& /*v*/) override { no_access(); }
    Map_status set(const Map_field_id /*id*/, const miColor& /*v*/) override { no_access(); }
    Map_status set(const Map_field_id /*id*/, const miMatrix* /*v*/) override { no_access(); }
    Map_status set(const Map_field_id /*id*/, const float* /*v*/) override { no_access(); }
    Map_status set(const Map_field_id /*id*/, const int* /*v*/) override { no_access(); }
    Map_status set(const Map_field_id /*id*/, const char* /*v*/) override { no_access(); }

  private:
    [[noreturn]] static void no_access() { unexpected("access to a map's contents"); }
    WrittenMap m_content;
};

class NewHandle final : public Edit_map_dbhandle {
  public:
    explicit NewHandle(const NewDeclaration& declaration) : m_map(declaration) {
        ++Maps::current().counts.maps;
    }
    ~NewHandle() override {
        --Maps::current().counts.maps;
        Maps::current().note("map destroyed");
    }
    Map_base* get_map() const override { return &m_map; }
    miTag get_tag() const override { return miNULLTAG; }
    miTag store() override { unexpected("store"); }

  private:
    mutable NewMap m_map;
};

const NewDeclaration& own(const Map_declaration_base* declaration) {
    const auto* found = dynamic_cast<const NewDeclaration*>(declaration);
    if (found == nullptr) unexpected("maps and elements without a declaration");
    return *found;
}

} // namespace

Map_declaration_base* new_declaration(miUint dimension) {
    Maps::current().note("createMapDeclaration(" + std::to_string(dimension) + ")");
    return new NewDeclaration(dimension);
}

Edit_map_dbhandle* new_map(const Map_declaration_base* declaration) {
    Maps::current().note("createMap()");
    return new NewHandle(own(declaration));
}

Map_element_base* new_element(const Map_declaration_base* declaration) {
    Maps::current().note("createMapElement()");
    return new NewElement(own(declaration));
}

} // namespace vx::stub
