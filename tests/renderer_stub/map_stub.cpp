#include "tests/renderer_stub/map_stub.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include <gtest/gtest.h>

namespace vx::stub {

namespace {

using namespace mi::shader_v3;

std::atomic<Maps*> the_maps = nullptr;

void note(const std::string& call) {
    Maps::current().note(call);
}

// Body of a function that the library does not call.
[[noreturn]] void unused(const char* function = __builtin_FUNCTION()) {
    throw std::logic_error(std::string("the stand-in has no ") + function);
}

// Member of an object that has to be given back. Its end is recorded.
class Tracked {
  public:
    Tracked(std::string name, std::string end) : m_name(std::move(name)), m_end(std::move(end)) {
        Maps::current().add_object(m_name);
    }
    explicit Tracked(const std::string& name) : Tracked(name, name + " destroyed") {}
    ~Tracked() {
        note(m_end);
        Maps::current().remove_object(m_name);
    }
    Tracked(const Tracked&) = delete;
    Tracked& operator=(const Tracked&) = delete;

  private:
    std::string m_name;
    std::string m_end;
};

const char* name_of(Map_field_type type) {
    if (type == Map_field_type::Integer) return "integer";
    if (type == Map_field_type::Scalar) return "scalar";
    return type == Map_field_type::Vector ? "vector" : "other";
}

struct Field {
    std::string name;
    Map_field_type type;
};

class StubDeclaration final : public Map_declaration_base {
  public:
    explicit StubDeclaration(miUint dimension) : m_dimension(dimension) {}

    std::vector<Field> fields;

    miUint get_dimension() const override { return m_dimension; }
    Map_status append_field(const char* name, const Map_field_type type, const miUint,
                            const bool is_global) override {
        note(std::string("append_field(") + name + ", " + name_of(type) + ")");
        if (is_global) unused();
        fields.push_back({name, type});
        return Map_status::OK;
    }
    bool has_field(const char* name) const override {
        note("has_field(" + std::string(name) + ")");
        return find(name) < fields.size();
    }
    Map_field_id get_field_id(const char* name, Map_status*) const override {
        note("get_field_id(" + std::string(name) + ")");
        const size_t id = find(name);
        return id < fields.size() ? static_cast<Map_field_id>(id) : map_no_such_field;
    }
    miUint get_field_count() const override { unused(); }
    const char* get_field_name(const Map_field_id) const override { unused(); }
    Map_field_type get_field_type(const Map_field_id) const override { unused(); }
    miUint get_field_length(const Map_field_id) const override { unused(); }
    bool is_field_global(const Map_field_id) const override { unused(); }
    bool is_equal(const Map_declaration_base*) const override { unused(); }

  private:
    size_t find(const std::string& name) const {
        size_t id = 0;
        while (id < fields.size() && fields[id].name != name)
            ++id;
        return id;
    }

    miUint m_dimension;
    Tracked m_tracked{"declaration"};
};

class StubElement final : public Map_element_base {
  public:
    explicit StubElement(const StubDeclaration& declaration)
        : m_dimension(declaration.get_dimension()), m_fields(declaration.fields) {}

    AppendedElement content;

    bool has_declaration() const override { unused(); }
    Map_status set_position(const float* position) override {
        if (Maps::current().quiet_elements) return Map_status::OK;
        content.position.assign(position, position + m_dimension);
        std::string text;
        for (const float coordinate : content.position)
            text += (text.empty() ? "" : " ") + text_of(coordinate);
        note("set_position(" + text + ")");
        return Map_status::OK;
    }
    Map_status get_position(float*) const override { unused(); }

    Map_status get(const Map_field_id, float&) const override { unused(); }
    Map_status get(const Map_field_id, int&) const override { unused(); }
    Map_status get(const Map_field_id, miVector&) const override { unused(); }
    Map_status get(const Map_field_id, miColor&) const override { unused(); }
    Map_status get(const Map_field_id, miMatrix*) const override { unused(); }
    Map_status get(const Map_field_id, float*) const override { unused(); }
    Map_status get(const Map_field_id, int*) const override { unused(); }

    Map_status set(const Map_field_id id, const float value) override {
        return store(id, Map_field_type::Scalar, value);
    }
    Map_status set(const Map_field_id id, const int value) override {
        return store(id, Map_field_type::Integer, value);
    }
    Map_status set(const Map_field_id id, const miVector& value) override {
        return store(id, Map_field_type::Vector, value);
    }
    Map_status set(const Map_field_id, const miColor&) override { unused(); }
    Map_status set(const Map_field_id, const miMatrix*) override { unused(); }
    Map_status set(const Map_field_id, const float*) override { unused(); }
    Map_status set(const Map_field_id, const int*) override { unused(); }

  private:
    template <class T>
    Map_status store(Map_field_id id, Map_field_type type, const T& value) {
        if (id >= m_fields.size()) return Map_status::No_such_field;
        if (Maps::current().quiet_elements) return Map_status::OK;
        const std::string& name = m_fields[id].name;
        const std::string text = text_of(value);
        note("set(" + name + ", " + text + ")");
        if (type != m_fields[id].type) ADD_FAILURE() << name << " is not of type " << name_of(type);
        content.fields[name] = std::string(name_of(type)) + " " + text;
        return Map_status::OK;
    }

    miUint m_dimension;
    std::vector<Field> m_fields;
    Tracked m_tracked{"element"};
};

class StubMap final : public Map_base {
  public:
    explicit StubMap(MapContent to_read) : content(std::move(to_read)) {}
    explicit StubMap(const StubDeclaration& declaration) {
        m_appended.dimension = declaration.get_dimension();
        for (const Field& field : declaration.fields)
            m_appended.fields.push_back(field.name + " " + name_of(field.type));
    }

    const MapContent content; // of a map that was read

    miUint size() const override { unused(); }
    bool is_empty() const override {
        note("map.is_empty()");
        return content.positions.empty();
    }
    bool has_declaration() const override { unused(); }
    Map_status get(const miUint, Map_element&) const override { unused(); }
    Map_status set(const miUint, const Map_element&) override { unused(); }
    Map_status append(const Map_element& element) override {
        const bool quiet = Maps::current().quiet_elements;
        const bool refused = Maps::current().refuse_append == static_cast<int>(m_appended.count);
        if (!quiet) note(refused ? "append() -> refused" : "append()");
        if (refused) return Map_status::Insufficient_memory;
        ++m_appended.count;
        if (!quiet)
            m_appended.elements.push_back(
                dynamic_cast<const StubElement&>(*element.operator->()).content);
        m_appended.consolidated = false;
        return Map_status::OK;
    }
    Map_status read(const char*, const bool) override { unused(); }
    Map_status append_to(const char*, const bool) const override { unused(); }
    Map_status append_from(const char*, const bool) override { unused(); }
    // The library must ignore the results of write and consolidate.
    Map_status write(const char* name, const bool notify, const File_format format) const override {
        note(std::string("write(") + name + ", " + (notify ? "notify" : "quiet") + ", format " +
             std::to_string(format) + ")");
        Maps::current().written.push_back(m_appended);
        Maps::current().written.back().file_name = name;
        return Map_status::Failure;
    }
    Map_status consolidate(const float quality) override {
        note("consolidate(" + text_of(quality) + ")");
        m_appended.consolidated = true;
        return Map_status::Failure;
    }

    Map_status get(const Map_field_id, float&) const override { unused(); }
    Map_status get(const Map_field_id, int&) const override { unused(); }
    Map_status get(const Map_field_id, miVector&) const override { unused(); }
    Map_status get(const Map_field_id, miColor&) const override { unused(); }
    Map_status get(const Map_field_id, miMatrix*) const override { unused(); }
    Map_status get(const Map_field_id, float*) const override { unused(); }
    Map_status get(const Map_field_id, int*) const override { unused(); }
    Map_status get(const Map_field_id, char*) const override { unused(); }
    Map_status set(const Map_field_id, const float) override { unused(); }
    Map_status set(const Map_field_id, const int) override { unused(); }
    Map_status set(const Map_field_id, const miVector&) override { unused(); }
    Map_status set(const Map_field_id, const miColor&) override { unused(); }
    Map_status set(const Map_field_id, const miMatrix*) override { unused(); }
    Map_status set(const Map_field_id, const float*) override { unused(); }
    Map_status set(const Map_field_id, const int*) override { unused(); }
    Map_status set(const Map_field_id, const char*) override { unused(); }

  private:
    WrittenMap m_appended;
};

class StubAccess final : public Access_map_dbhandle {
  public:
    explicit StubAccess(std::shared_ptr<const StubMap> to_access) : map(std::move(to_access)) {}

    const std::shared_ptr<const StubMap> map;
    const std::string name = "access " + std::to_string(++Maps::current().accesses_made);

    const Map_base* get_map() const override { return map.get(); }
    miTag get_tag() const override { unused(); }
    miTag store() override { unused(); }

  private:
    Tracked m_tracked{name};
};

class StubEdit final : public Edit_map_dbhandle {
  public:
    explicit StubEdit(const StubDeclaration& declaration) : m_map(declaration) {}

    Map_base* get_map() const override { return &m_map; }
    miTag get_tag() const override { unused(); }
    miTag store() override { unused(); }

  private:
    mutable StubMap m_map;
    Tracked m_tracked{"map"};
};

class StubLookup final : public Map_lookup_base {
  public:
    explicit StubLookup(const MapContent& content) : m_content(content) {
        m_columns = content.columns().data();
        m_all_columns = static_cast<miUint>(content.columns().size());
    }

    Map_status search_with(const Map_distance_base& distance, const float* euclidean_point,
                           const int max_count, const float max_squared_distance) override {
        const Maps& maps = Maps::current();
        const float* const q = distance.get_point();
        note("search(at " + text_of(miVector{q[0], q[1], q[2]}) + ", most " +
             std::to_string(max_count) + ", limit " + text_of(max_squared_distance) + ")");
        if (maps.on_search) maps.on_search(distance, euclidean_point);
        m_results.clear();
        for (size_t row = 0; row < m_content.positions.size(); ++row) {
            const Element element(m_content, row);
            const float found = distance(&element);
            if (found <= max_squared_distance)
                m_results.push_back({found, static_cast<miUint>(row)});
        }
        std::stable_sort(
            m_results.begin(), m_results.end(),
            [](const Map_result& a, const Map_result& b) { return a.distance < b.distance; });
        m_results.resize(std::min(m_results.size(), static_cast<size_t>(std::max(max_count, 0))));
        m_begin = m_current = m_results.data();
        m_end = m_begin + m_results.size();
        settle();
        return maps.search_status;
    }
    Map_status rewind() override { unused(); }
    Map_status go_to(const miUint) override { unused(); }
    Map_status get_index(miUint&) const override { unused(); }
    Map_status get_position(float*) const override { unused(); }

  private:
    const MapContent& m_content;
    std::vector<Map_result> m_results;
    Tracked m_tracked{"lookup"};
};

class StubInterface final : public Interface {
  public:
    void release() override { delete this; }

    Access_map_dbhandle* accessMap(const char* filename, Map_status* status) override {
        note("accessMap(" + std::string(filename) + (status != nullptr ? ", status)" : ")"));
        const auto& files = Maps::current().files;
        const auto found = files.find(filename);
        return new StubAccess(
            std::make_shared<StubMap>(found == files.end() ? MapContent() : found->second));
    }
    Access_map_dbhandle* shareMap(const Access_map_dbhandle* other) override {
        const auto& access = dynamic_cast<const StubAccess&>(*other);
        note("shareMap(" + access.name + ")");
        return new StubAccess(access.map);
    }
    Map_declaration_base* copyMapDeclaration(const Map_base* map, Map_status*) override {
        note("copyMapDeclaration");
        const MapContent& content = dynamic_cast<const StubMap&>(*map).content;
        auto* const declaration = new StubDeclaration(3);
        for (const std::string& name : content.names())
            declaration->fields.push_back({name, Map_field_type()});
        return declaration;
    }
    Map_lookup_base* createMapLookup(const Map_base* map, Map_status*) override {
        note("createMapLookup");
        return new StubLookup(dynamic_cast<const StubMap&>(*map).content);
    }
    Map_declaration_base* createMapDeclaration(const miUint dimension) override {
        note("createMapDeclaration(" + std::to_string(dimension) + ")");
        return new StubDeclaration(dimension);
    }
    Edit_map_dbhandle* createMap(const Map_declaration_base* declaration) override {
        note("createMap()");
        return new StubEdit(dynamic_cast<const StubDeclaration&>(*declaration));
    }
    Map_element_base* createMapElement(const Map_declaration_base* declaration) override {
        note("createMapElement()");
        return new StubElement(dynamic_cast<const StubDeclaration&>(*declaration));
    }

    Options* getOptions(miTag) override { unused(); }
    miTag createFramebuffer() override { unused(); }
    miTag copyFramebuffer(miTag) override { unused(); }
    LightList* createLightList(miState*, miTag*, int) override { unused(); }
    LightList* createLightList(miState*, const miVector&, miScalar, miTag*, int) override {
        unused();
    }
    Access_map_dbhandle* accessMap(const miTag) override { unused(); }
    Edit_map_dbhandle* editMap(const miTag) override { unused(); }
    Edit_map_dbhandle* editMap(const char*, Map_status*) override { unused(); }
    Map_declaration_base* copyMapDeclaration(const Map_declaration_base*, Map_status*) override {
        unused();
    }
    Map_declaration_base* copyMapDeclaration(const Map_element_base*, Map_status*) override {
        unused();
    }
    Map_element_base* copyMapElement(const Map_element_base*) override { unused(); }
    Map_iterator_base* createMapIterator(const Map_base*, Map_status*) override { unused(); }
    Map_iterator_base* copyMapIterator(const Map_iterator_base*, Map_status*) override { unused(); }
    Map_lookup_base* copyMapLookup(const Map_lookup_base*, Map_status*) override { unused(); }

  private:
    ~StubInterface() = default;

    Tracked m_tracked{"interface", "release"};
};

} // namespace

Element::Element(const MapContent& content, size_t row) {
    m_columns = content.columns().data();
    m_column_count = static_cast<miUint>(content.columns().size());
    m_absent = Map_status::No_such_field;
    m_row = row;
    m_position = row < content.positions.size() ? content.positions[row].data() : nullptr;
}

Maps::Maps(Renderer& renderer) : m_renderer(renderer) {
    Maps* none = nullptr;
    if (!the_maps.compare_exchange_strong(none, this)) throw std::logic_error("two maps");
}

Maps::~Maps() {
    the_maps = nullptr;
}

Maps& Maps::current() {
    Maps* const maps = the_maps;
    if (maps == nullptr) throw std::logic_error("no maps");
    return *maps;
}

void Maps::add_object(const std::string& name) {
    const std::lock_guard guard(m_mutex);
    m_objects.insert(name);
}

void Maps::remove_object(const std::string& name) {
    const std::lock_guard guard(m_mutex);
    m_objects.erase(m_objects.find(name));
}

std::vector<std::string> Maps::left_over() const {
    const std::lock_guard guard(m_mutex);
    return {m_objects.begin(), m_objects.end()};
}

} // namespace vx::stub

extern "C" mi::shader_v3::Interface* mi_get_shader_interface(int version) {
    vx::stub::Maps& maps = vx::stub::Maps::current();
    maps.note("get_interface(" + std::to_string(version) + ")");
    if (!maps.has_interface || maps.interface_limit == 0) return nullptr;
    if (maps.interface_limit > 0) --maps.interface_limit;
    return new vx::stub::StubInterface;
}
