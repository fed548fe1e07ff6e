#include "tests/renderer_stub/map_stub.h"

#include "tests/renderer_stub/map_writing.h"

#include <algorithm>
#include <stdexcept>

namespace vx::stub {

namespace {

using namespace mi::shader_v3;

std::atomic<Maps*> the_maps = nullptr;

[[noreturn]] void nobody_needs(const char* what) {
    throw std::logic_error(std::string("the stand-in has no ") + what);
}

class StubMap final : public Map_base {
  public:
    explicit StubMap(MapContent all) : content(std::move(all)) {}

    const MapContent content;

    miUint size() const override { return static_cast<miUint>(content.positions.size()); }
    bool is_empty() const override {
        Maps::current().note("map.is_empty()");
        return content.positions.empty();
    }
    bool has_declaration() const override { return !content.names().empty(); }

    Map_status get(const miUint, ::mi::shader_v3::Map_element&) const override {
        nobody_needs("map.get");
    }
    Map_status set(const miUint, const ::mi::shader_v3::Map_element&) override {
        nobody_needs("map.set");
    }
    Map_status append(const ::mi::shader_v3::Map_element&) override { nobody_needs("map.append"); }
    Map_status read(const char*, const bool) override { nobody_needs("map.read"); }
    Map_status append_to(const char*, const bool) const override { nobody_needs("map.append_to"); }
    Map_status append_from(const char*, const bool) override { nobody_needs("map.append_from"); }
    Map_status write(const char*, const bool, const File_format) const override {
        nobody_needs("map.write");
    }
    Map_status consolidate(const float) override { nobody_needs("map.consolidate"); }
    Map_status get(const Map_field_id, float&) const override { nobody_needs("global fields"); }
    Map_status get(const Map_field_id, int&) const override { nobody_needs("global fields"); }
    Map_status get(const Map_field_id, miVector&) const override { nobody_needs("global fields"); }
    Map_status get(const Map_field_id, miColor&) const override { nobody_needs("global fields"); }
    Map_status get(const Map_field_id, miMatrix*) const override { nobody_needs("global fields"); }
    Map_status get(const Map_field_id, float*) const override { nobody_needs("global fields"); }
    Map_status get(const Map_field_id, int*) const override { nobody_needs("global fields"); }
    Map_status get(const Map_field_id, char*) const override { nobody_needs("global fields"); }
    Map_status set(const Map_field_id, const float) override { nobody_needs("global fields"); }
    Map_status set(const Map_field_id, const int) override { nobody_needs("global fields"); }
    Map_status set(const Map_field_id, const miVector&) override { nobody_needs("global fields"); }
    Map_status set(const Map_field_id, const miColor&) override { nobody_needs("global fields"); }
    Map_status set(const Map_field_id, const miMatrix*) override { nobody_needs("global fields"); }
    Map_status set(const Map_field_id, const float*) override { nobody_needs("global fields"); }
    Map_status set(const Map_field_id, const int*) override { nobody_needs("global fields"); }
    Map_status set(const Map_field_id, const char*) override { nobody_needs("global fields"); }
};

class StubAccess final : public Access_map_dbhandle {
  public:
    explicit StubAccess(std::shared_ptr<const StubMap> map)
        : m_map(std::move(map)), m_number(++Maps::current().accesses_made) {
        ++Maps::current().counts.accesses;
    }
    ~StubAccess() override {
        Maps::current().note("access " + std::to_string(m_number) + " destroyed");
        --Maps::current().counts.accesses;
    }
    StubAccess(const StubAccess&) = delete;
    StubAccess& operator=(const StubAccess&) = delete;

    const Map_base* get_map() const override { return m_map.get(); }
    miTag get_tag() const override { return miNULLTAG; }
    miTag store() override { nobody_needs("access.store"); }

    int number() const { return m_number; }
    const std::shared_ptr<const StubMap>& map() const { return m_map; }

  private:
    std::shared_ptr<const StubMap> m_map;
    int m_number;
};

class StubDeclaration final : public Map_declaration_base {
  public:
    explicit StubDeclaration(const MapContent& content) : m_names(content.names()) {
        ++Maps::current().counts.declarations;
    }
    ~StubDeclaration() override {
        Maps::current().note("declaration destroyed");
        --Maps::current().counts.declarations;
    }
    StubDeclaration(const StubDeclaration&) = delete;
    StubDeclaration& operator=(const StubDeclaration&) = delete;

    miUint get_dimension() const override { return 3; }
    Map_status append_field(const char*, const Map_field_type, const miUint, const bool) override {
        nobody_needs("declaration.append_field");
    }
    bool has_field(const char* name) const override {
        Maps::current().note("has_field(" + std::string(name) + ")");
        return std::find(m_names.begin(), m_names.end(), name) != m_names.end();
    }
    Map_field_id get_field_id(const char* name, Map_status* status) const override {
        Maps::current().note("get_field_id(" + std::string(name) + ")");
        const auto found = std::find(m_names.begin(), m_names.end(), name);
        if (status != nullptr)
            *status = found == m_names.end() ? Map_status::No_such_field : Map_status::OK;
        return found == m_names.end() ? map_no_such_field
                                      : static_cast<Map_field_id>(found - m_names.begin());
    }
    miUint get_field_count() const override { return static_cast<miUint>(m_names.size()); }
    const char* get_field_name(const Map_field_id) const override { nobody_needs("field names"); }
    Map_field_type get_field_type(const Map_field_id) const override {
        nobody_needs("field types");
    }
    miUint get_field_length(const Map_field_id) const override { nobody_needs("field lengths"); }
    bool is_field_global(const Map_field_id) const override { nobody_needs("global fields"); }
    bool is_equal(const Map_declaration_base*) const override { nobody_needs("is_equal"); }

  private:
    std::vector<std::string> m_names;
};

class StubLookup final : public Map_lookup_base {
  public:
    explicit StubLookup(const StubMap& map) : m_map(map) {
        m_columns = map.content.columns().data();
        m_all_columns = static_cast<miUint>(map.content.columns().size());
        ++Maps::current().counts.lookups;
    }
    ~StubLookup() override {
        Maps::current().note("lookup destroyed");
        --Maps::current().counts.lookups;
    }
    StubLookup(const StubLookup&) = delete;
    StubLookup& operator=(const StubLookup&) = delete;

    Map_status search_with(const Map_distance_base& distance, const float* euclidean_point,
                           const int max_count, const float max_squared_distance) override {
        Maps& maps = Maps::current();
        const float* const q = distance.get_point();
        maps.note("search(at " + text_of(miVector{q[0], q[1], q[2]}) + ", most " +
                  std::to_string(max_count) + ", limit " + text_of(max_squared_distance) + ")");
        if (maps.on_search) maps.on_search(distance, euclidean_point);
        m_results.clear();
        Element element(m_map.content);
        for (size_t row = 0; row < m_map.content.positions.size(); ++row) {
            element.move(row);
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
    Map_status rewind() override { nobody_needs("lookup.rewind"); }
    Map_status go_to(const miUint) override { nobody_needs("lookup.go_to"); }
    Map_status get_index(miUint&) const override { nobody_needs("lookup.get_index"); }
    Map_status get_position(float*) const override { nobody_needs("lookup.get_position"); }

  private:
    const StubMap& m_map;
    std::vector<Map_result> m_results;
};

class StubInterface final : public Interface {
  public:
    StubInterface() { ++Maps::current().counts.interfaces; }

    void release() override {
        Maps::current().note("release");
        --Maps::current().counts.interfaces;
        delete this;
    }
    Access_map_dbhandle* accessMap(const char* filename, Map_status* status) override {
        Maps& maps = Maps::current();
        maps.note("accessMap(" + std::string(filename) + (status != nullptr ? ", status)" : ")"));
        const auto found = maps.files.find(filename);
        if (status != nullptr && found == maps.files.end())
            *status = Map_status::File_could_not_be_opened;
        return new StubAccess(
            std::make_shared<StubMap>(found == maps.files.end() ? MapContent() : found->second));
    }
    Access_map_dbhandle* shareMap(const Access_map_dbhandle* other) override {
        const auto& access = dynamic_cast<const StubAccess&>(*other);
        Maps::current().note("shareMap(access " + std::to_string(access.number()) + ")");
        return new StubAccess(access.map());
    }
    Map_declaration_base* copyMapDeclaration(const Map_base* map, Map_status*) override {
        Maps::current().note("copyMapDeclaration");
        return new StubDeclaration(static_cast<const StubMap*>(map)->content);
    }
    Map_lookup_base* createMapLookup(const Map_base* map, Map_status*) override {
        Maps::current().note("createMapLookup");
        return new StubLookup(*static_cast<const StubMap*>(map));
    }

    Options* getOptions(miTag) override { nobody_needs("getOptions"); }
    miTag createFramebuffer() override { nobody_needs("createFramebuffer"); }
    miTag copyFramebuffer(miTag) override { nobody_needs("copyFramebuffer"); }
    LightList* createLightList(miState*, miTag*, int) override { nobody_needs("createLightList"); }
    LightList* createLightList(miState*, const miVector&, miScalar, miTag*, int) override {
        nobody_needs("createLightList");
    }
    Map_declaration_base* createMapDeclaration(const miUint dimension) override {
        return new_declaration(dimension);
    }
    Edit_map_dbhandle* createMap(const Map_declaration_base* declaration) override {
        return new_map(declaration);
    }
    Map_element_base* createMapElement(const Map_declaration_base* declaration) override {
        return new_element(declaration);
    }
    Access_map_dbhandle* accessMap(const miTag) override { nobody_needs("accessMap(tag)"); }
    Edit_map_dbhandle* editMap(const miTag) override { nobody_needs("editMap(tag)"); }
    Edit_map_dbhandle* editMap(const char*, Map_status*) override { nobody_needs("editMap(file)"); }
    Map_declaration_base* copyMapDeclaration(const Map_declaration_base*, Map_status*) override {
        nobody_needs("copyMapDeclaration(declaration)");
    }
    Map_declaration_base* copyMapDeclaration(const Map_element_base*, Map_status*) override {
        nobody_needs("copyMapDeclaration(element)");
    }
    Map_element_base* copyMapElement(const Map_element_base*) override {
        nobody_needs("copyMapElement");
    }
    Map_iterator_base* createMapIterator(const Map_base*, Map_status*) override {
        nobody_needs("createMapIterator");
    }
    Map_iterator_base* copyMapIterator(const Map_iterator_base*, Map_status*) override {
        nobody_needs("copyMapIterator");
    }
    Map_lookup_base* copyMapLookup(const Map_lookup_base*, Map_status*) override {
        nobody_needs("copyMapLookup");
    }

  private:
    ~StubInterface() = default;
};

} // namespace

Element::Element(const MapContent& content, size_t row) : m_content(&content) {
    m_columns = content.columns().data();
    m_column_count = static_cast<miUint>(content.columns().size());
    m_absent = Map_status::No_such_field;
    move(row);
}

void Element::move(size_t row) {
    m_row = row;
    m_position = row < m_content->positions.size() ? m_content->positions[row].data() : nullptr;
}

Maps::Maps(Renderer& renderer) : m_renderer(renderer) {
    Maps* nothing = nullptr;
    if (!the_maps.compare_exchange_strong(nothing, this))
        throw std::logic_error("there are stand-in maps already");
}

Maps::~Maps() {
    the_maps = nullptr;
}

Maps& Maps::current() {
    Maps* maps = the_maps;
    if (maps == nullptr) throw std::logic_error("a map's function outside its renderer's life");
    return *maps;
}

std::vector<std::string> Maps::left_over() const {
    std::vector<std::string> left;
    const auto count = [&](const std::atomic<int>& number, const char* what) {
        if (number != 0) left.push_back(std::to_string(number) + " " + what);
    };
    count(counts.interfaces, "interfaces");
    count(counts.accesses, "map accesses");
    count(counts.declarations, "declarations");
    count(counts.lookups, "lookups");
    count(counts.elements, "elements");
    count(counts.maps, "maps");
    return left;
}

} // namespace vx::stub

extern "C" mi::shader_v3::Interface* mi_get_shader_interface(int version) {
    vx::stub::Maps& maps = vx::stub::Maps::current();
    maps.note("get_interface(" + std::to_string(version) + ")");
    if (!maps.has_interface || maps.interface_limit == 0) return nullptr;
    if (maps.interface_limit > 0) --maps.interface_limit;
    return new vx::stub::StubInterface;
}
