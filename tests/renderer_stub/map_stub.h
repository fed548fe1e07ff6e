// The map half of the renderer's stand-in: maps that can be read, brute-force searches, and maps
// that are written to memory.
//
// While a Maps exists, mi_get_shader_interface returns its interfaces, on any thread. Calls are
// recorded with the Renderer's; the inline functions of the headers (walking a result, reading
// fields) cannot be seen. Functions that the library does not call throw std::logic_error.
#pragma once

#include "mi_shader_if.h"
#include "shader.h"
#include "tests/renderer_stub/renderer_stub.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace vx::stub {

// A three-dimensional map to be read: positions, and one column of values per field.
class MapContent {
  public:
    std::vector<std::array<float, 3>> positions;

    void add(const std::string& name, const std::vector<float>& values) {
        add(name, mi::shader_v3::Map_field_type::Scalar, values);
    }
    void add(const std::string& name, const std::vector<int>& values) {
        add(name, mi::shader_v3::Map_field_type::Integer, values);
    }
    void add(const std::string& name, const std::vector<miVector>& values) {
        add(name, mi::shader_v3::Map_field_type::Vector, values);
    }
    void add(const std::string& name, const std::vector<miColor>& values) {
        add(name, mi::shader_v3::Map_field_type::Color, values);
    }

    const std::vector<std::string>& names() const { return m_names; }
    const std::vector<mi::shader_v3::Map_column>& columns() const { return m_columns; }

  private:
    template <class T>
    void add(const std::string& name, mi::shader_v3::Map_field_type::Type type,
             const std::vector<T>& values) {
        auto bytes = std::make_shared<std::vector<unsigned char>>(values.size() * sizeof(T));
        if (!values.empty()) std::memcpy(bytes->data(), values.data(), bytes->size());
        m_names.push_back(name);
        m_columns.push_back({bytes->data(), sizeof(T), type, 1});
        m_data.push_back(std::move(bytes));
    }

    std::vector<std::string> m_names;
    std::vector<mi::shader_v3::Map_column> m_columns;
    std::vector<std::shared_ptr<const std::vector<unsigned char>>> m_data;
};

// Element `row` of a map, as a distance functor gets it.
class Element final : public mi::shader_v3::Map_iterator_base {
  public:
    explicit Element(const MapContent& content, size_t row = 0);

    miUint get_index() const override { return static_cast<miUint>(m_row); }
    bool at_end() const override { return false; }
    mi::shader_v3::Map_status next() override { return mi::shader_v3::Map_status::Failure; }
    mi::shader_v3::Map_status go_to(const miUint) override {
        return mi::shader_v3::Map_status::Failure;
    }
};

// An appended element. Fields by name: "vector 1 2 3", "scalar 0.5", "integer -4".
struct AppendedElement {
    std::vector<float> position;
    std::map<std::string, std::string> fields;
};

struct WrittenMap {
    std::string file_name;
    unsigned dimension = 0;
    std::vector<std::string> fields;       // "name kind", in the order of declaration
    std::vector<AppendedElement> elements; // empty with quiet_elements
    size_t count = 0;
    bool consolidated = false; // since the last append
};

class Maps {
  public:
    // Records its calls with `renderer`, which must outlive it.
    explicit Maps(Renderer& renderer);
    ~Maps();
    Maps(const Maps&) = delete;
    Maps& operator=(const Maps&) = delete;

    // The only one; throws if there is none.
    static Maps& current();

    // Maps that can be read, by file name. Other names give an empty map.
    std::map<std::string, MapContent> files;
    // Returned by every search, whatever it finds.
    mi::shader_v3::Map_status search_status;
    // Called before every search.
    std::function<void(const mi::shader_v3::Map_distance_base&, const float* euclidean_point)>
        on_search;
    // Maps that were written, in order.
    std::vector<WrittenMap> written;
    // The append to this index fails with Insufficient_memory; -1: none does.
    int refuse_append = -1;
    // Count elements without recording or storing them: for large maps.
    bool quiet_elements = false;
    // Whether mi_get_shader_interface returns an interface.
    bool has_interface = true;
    // How many more interfaces it returns; -1: any number.
    int interface_limit = -1;

    // Names of the objects that were not given back.
    std::vector<std::string> left_over() const;

    // ---- for the stand-in's objects only ----
    void note(const std::string& call) { m_renderer.note(call); }
    void add_object(const std::string& name);
    void remove_object(const std::string& name);
    std::atomic<int> accesses_made = 0; // accesses are numbered

  private:
    Renderer& m_renderer;
    mutable std::mutex m_mutex;
    std::multiset<std::string> m_objects;
};

} // namespace vx::stub
