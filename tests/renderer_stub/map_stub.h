// The map half of the renderer's stand-in: files that can be read, searches that try every point,
// and maps that are made and "written" into memory.
//
// While a Maps lives, mi_get_shader_interface hands out its interfaces, from any thread. Calls go
// into the Renderer's record, in one order with all others; what the header does inline (walking a
// result, reading fields) cannot be seen. Every interface is an object of its own that ends with
// its release, so that a sanitizer sees a later use; left_over() says what was not given back. What
// the library is not known to need throws.
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
#include <string>
#include <vector>

namespace vx::stub {

// A map of three dimensions: positions, and one column of values per field.
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

// What a functor is handed: the element `row` of a map.
class Element final : public mi::shader_v3::Map_iterator_base {
  public:
    explicit Element(const MapContent& content, size_t row = 0);
    void move(size_t row);

    miUint get_index() const override { return static_cast<miUint>(m_row); }
    bool at_end() const override { return false; }
    mi::shader_v3::Map_status next() override { return mi::shader_v3::Map_status::Failure; }
    mi::shader_v3::Map_status go_to(const miUint) override {
        return mi::shader_v3::Map_status::Failure;
    }

  private:
    const MapContent* m_content;
};

// An element as it was appended. Values of fields by name, as text: "vector 1 2 3", "scalar 0.5",
// "integer -4".
struct AppendedElement {
    std::vector<float> position;
    std::map<std::string, std::string> fields;
};

struct WrittenMap {
    std::string file_name;
    unsigned dimension = 0;
    std::vector<std::string> fields;       // "name kind", in the order of declaration
    std::vector<AppendedElement> elements; // none with quiet_elements
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

    // The one that is alive; throws when there is none.
    static Maps& current();

    // What can be read, by name. A name that is not here gives an empty map.
    std::map<std::string, MapContent> files;
    // What a search says, whatever it found.
    mi::shader_v3::Map_status search_status;
    // Sees every search before it runs.
    std::function<void(const mi::shader_v3::Map_distance_base&, const float* euclidean_point)>
        on_search;
    // What was written, in order; nothing reaches a disk.
    std::vector<WrittenMap> written;
    // The append to this index fails with Insufficient_memory; -1: none does.
    int refuse_append = -1;
    // Elements are only counted, not recorded and kept: for large maps.
    bool quiet_elements = false;
    // Whether mi_get_shader_interface has one to give.
    bool has_interface = true;
    // How many more it gives; -1: any number.
    int interface_limit = -1;

    // Empty when all that was handed out has been given back.
    std::vector<std::string> left_over() const;

    // ---- behind the interface ----
    struct Counts {
        std::atomic<int> interfaces = 0, accesses = 0, declarations = 0, lookups = 0, elements = 0,
                         maps = 0;
    };
    void note(const std::string& call) { m_renderer.note(call); }
    void complain(const std::string& what) { m_renderer.complain(what); }
    Counts counts;
    // Accesses get numbers in the order in which they are made.
    std::atomic<int> accesses_made = 0;

  private:
    Renderer& m_renderer;
};

} // namespace vx::stub
