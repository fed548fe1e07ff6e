/// @file
/// The renderer's maps: points of dimension 1 to 6 with fields, in memory and in files, and
/// searches for the nearest points. C++ only; include shader.h, which includes this header.
///
/// The order of virtual functions, names, status codes and the layout of the wrappers follow the
/// renderer's public manual and are part of the binary interface: functions are only appended. The
/// manual leaves open the names of the declaration, element, iterator and lookup functions, the two
/// handles, and the field types; here they are in the style of Map_base.
///
/// Ownership: objects that a factory function of the interface returns are destroyed through their
/// virtual destructor, or by the wrapper that holds them. A Map_base belongs to its handle.
///
/// Threads: const functions of maps and declarations may run concurrently. All other functions need
/// exclusive access. A lookup, iterator or element must be used by one thread at a time.
///
/// Failure: functions return a Map_status and do not throw.
#pragma once

#include "shader.h"

#include <cstring>

namespace mi {
namespace shader_v3 {

struct Interface;
class Access_map;
class Edit_map;
class Map_declaration;
class Map_element;
class Map_iterator_base;

/// Number of a field: 0, 1, ... in the order of declaration, including global fields.
typedef miUint Map_field_id;
/// Identifier of an unknown name. Calls with it return No_such_field.
const Map_field_id map_no_such_field = 0xffffffffu;

// ---- status ----

/// The result of a call.
class Map_status {
  public:
    enum Status_code {
        OK = 0,
        Insufficient_memory, ///< also: more elements than an index can count
        No_such_field,       ///< the declaration does not have the name or identifier
        Out_of_bounds,       ///< element index beyond the size, or string beyond its length
        No_declaration,      ///< the map or element has no declaration
        Declaration_mismatch,
        Wrong_dimension, ///< not 1 to 6
        Illegal_on_slave,
        Failure = 15, ///< writing failed, or a pointer is null
        File_could_not_be_opened = 16,
        File_not_a_map, ///< another type of file, or truncated or damaged
        File_version_unsupported,
        Field_undefined = 32, ///< not a field type
        Field_name_too_long,
        Field_name_empty,
        Field_name_illegal,
        Field_null_array, ///< an array or string of length 0, or its pointer is null
        Field_type_mismatch,
        Field_illegal, ///< duplicate name, string that is not global, or global field of an element
        Iterator_invalid = 48,
        Iterator_past_end,
        Iterator_out_of_bounds,
        Lookup_invalid = 64,
        Lookup_past_end,
        Lookup_out_of_bounds,
        Lookup_dimension_mismatch,
        Lookup_no_previous_search
    };

    Map_status() : m_code(OK) {}
    Map_status(Status_code status) : m_code(status) {}
    Map_status(const Map_status& status) : m_code(status.m_code) {}
    Map_status& operator=(const Status_code& rhs) {
        m_code = rhs;
        return *this;
    }
    Map_status& operator=(const Map_status& rhs) {
        m_code = rhs.m_code;
        return *this;
    }
    bool operator==(const Status_code rhs) const { return m_code == rhs; }
    bool operator==(const Map_status& rhs) const { return m_code == rhs.m_code; }
    bool operator!=(const Status_code rhs) const { return m_code != rhs; }
    bool operator!=(const Map_status& rhs) const { return m_code != rhs.m_code; }
    bool is_ok() const { return m_code == OK; }
    Status_code get_code() const { return m_code; }

  private:
    Status_code m_code;
};

// ---- field types ----

/// Type of a field. A field has one value per element, or, if it is global, one value for the whole
/// map. Strings are always global.
class Map_field_type {
  public:
    enum Type {
        Undefined = 0,
        Integer,       ///< int, 32 bits
        Scalar,        ///< float
        Vector,        ///< miVector
        Color,         ///< miColor
        Transform,     ///< miMatrix
        Integer_array, ///< int[n], with n in the declaration
        Scalar_array,  ///< float[n]
        String         ///< char[n], up to n characters and a terminating zero
    };

    Map_field_type() : m_type(Undefined) {}
    Map_field_type(Type type) : m_type(type) {}
    bool operator==(const Map_field_type& rhs) const { return m_type == rhs.m_type; }
    bool operator!=(const Map_field_type& rhs) const { return m_type != rhs.m_type; }
    Type get_type() const { return m_type; }

  private:
    Type m_type;
};

// ---- declaration ----

/// The dimension and the fields of maps and elements.
class Map_declaration_base {
  public:
    virtual ~Map_declaration_base() {}

    /// @return 1 to 6; 0 if the declaration was created with another dimension
    virtual miUint get_dimension() const = 0;

    /// Appends a field. Maps and elements that were created with the declaration do not change.
    /// @param name       unique; 1 to 255 letters, digits or characters of "._-:"
    /// @param length     of arrays and strings, 1 to 2^20; ignored for other types
    /// @param is_global  must be true for strings
    virtual Map_status append_field(const char* name, const Map_field_type type,
                                    const miUint length = 0, const bool is_global = false) = 0;

    virtual bool has_field(const char* name) const = 0;
    /// @param status  receives the result; may be null
    /// @return map_no_such_field, with the status No_such_field, for an unknown name
    virtual Map_field_id get_field_id(const char* name, Map_status* status = 0) const = 0;

    virtual miUint get_field_count() const = 0;
    /// @return valid until the declaration changes; null for an unknown field
    virtual const char* get_field_name(const Map_field_id field_id) const = 0;
    /// @return Undefined for an unknown field
    virtual Map_field_type get_field_type(const Map_field_id field_id) const = 0;
    /// @return length of an array or string; 1 for other types; 0 for an unknown field
    virtual miUint get_field_length(const Map_field_id field_id) const = 0;
    virtual bool is_field_global(const Map_field_id field_id) const = 0;
    /// @return whether dimension and fields, including their order, are the same
    virtual bool is_equal(const Map_declaration_base* other) const = 0;
};

// ---- element ----

/// An element outside of maps, which can be changed and appended any number of times. All values
/// are initially 0. Functions return Field_illegal for global fields, which belong to maps, and
/// Field_type_mismatch if the value is of another type than the field. Arrays have the length that
/// is declared.
class Map_element_base {
  public:
    virtual ~Map_element_base() {}

    virtual bool has_declaration() const = 0;

    /// @param position  as many floats as the dimension
    virtual Map_status set_position(const float* position) = 0;
    /// @param position  receives as many floats as the dimension
    virtual Map_status get_position(float* position) const = 0;

    virtual Map_status get(const Map_field_id field_id, float& value) const = 0;
    virtual Map_status get(const Map_field_id field_id, int& value) const = 0;
    virtual Map_status get(const Map_field_id field_id, miVector& value) const = 0;
    virtual Map_status get(const Map_field_id field_id, miColor& value) const = 0;
    virtual Map_status get(const Map_field_id field_id, miMatrix* value) const = 0;
    virtual Map_status get(const Map_field_id field_id, float* value) const = 0;
    virtual Map_status get(const Map_field_id field_id, int* value) const = 0;

    virtual Map_status set(const Map_field_id field_id, const float value) = 0;
    virtual Map_status set(const Map_field_id field_id, const int value) = 0;
    virtual Map_status set(const Map_field_id field_id, const miVector& value) = 0;
    virtual Map_status set(const Map_field_id field_id, const miColor& value) = 0;
    virtual Map_status set(const Map_field_id field_id, const miMatrix* value) = 0;
    virtual Map_status set(const Map_field_id field_id, const float* value) = 0;
    virtual Map_status set(const Map_field_id field_id, const int* value) = 0;
};

// ---- map ----

/// Elements in the order of appending, and values of global fields. Searches see the elements of
/// the last consolidate().
class Map_base {
  public:
    /// File formats. The functions that read a file detect its format.
    enum File_format { Closed_binary = 0, Open_binary, Open_ASCII };

    virtual miUint size() const = 0;
    virtual bool is_empty() const = 0;
    virtual bool has_declaration() const = 0;

    /// Copies an element of the map.
    /// @param map_element  receives the values; an element without a declaration takes the map's
    virtual Map_status get(const miUint index, Map_element& map_element) const = 0;
    /// Replaces an element. Searches see the new values after the next consolidate().
    virtual Map_status set(const miUint index, const Map_element& map_element) = 0;
    /// Appends a copy of an element. Searches see it after the next consolidate().
    virtual Map_status append(const Map_element& map_element) = 0;

    /// Replaces declaration and content by those of a file. The map counts as consolidated. On
    /// failure the map is empty and has no declaration.
    /// @param notify  reports the operation in the renderer's log, here and below: file, elements
    /// and
    ///                time, or the reason of a failure
    virtual Map_status read(const char* file_name, const bool notify = true) = 0;
    /// Appends the elements to a file, which must exist and have the same declaration. The format
    /// of the file does not change.
    virtual Map_status append_to(const char* file_name, const bool notify = true) const = 0;
    /// Appends the elements of a file, as append() does. A map without a declaration takes that of
    /// the file.
    virtual Map_status append_from(const char* file_name, const bool notify = true) = 0;
    /// Writes the map to a file. On failure an existing file does not change.
    virtual Map_status write(const char* file_name, const bool notify = true,
                             const File_format file_format = Closed_binary) const = 0;

    /// Prepares searches of all elements.
    /// @param bvh_quality  clamped to [0, 1]; higher values take longer here and make searches
    ///                     faster, with the same results
    virtual Map_status consolidate(const float bvh_quality = 0.6f) = 0;

    // Global fields. get() and set() with an array access as many values as are declared.
    virtual Map_status get(const Map_field_id field_id, float& value) const = 0;
    virtual Map_status get(const Map_field_id field_id, int& value) const = 0;
    virtual Map_status get(const Map_field_id field_id, miVector& value) const = 0;
    virtual Map_status get(const Map_field_id field_id, miColor& value) const = 0;
    virtual Map_status get(const Map_field_id field_id, miMatrix* value) const = 0;
    virtual Map_status get(const Map_field_id field_id, float* value) const = 0;
    virtual Map_status get(const Map_field_id field_id, int* value) const = 0;
    /// @param value  has room for the declared length and a terminating zero
    virtual Map_status get(const Map_field_id field_id, char* value) const = 0;

    virtual Map_status set(const Map_field_id field_id, const float value) = 0;
    virtual Map_status set(const Map_field_id field_id, const int value) = 0;
    virtual Map_status set(const Map_field_id field_id, const miVector& value) = 0;
    virtual Map_status set(const Map_field_id field_id, const miColor& value) = 0;
    virtual Map_status set(const Map_field_id field_id, const miMatrix* value) = 0;
    virtual Map_status set(const Map_field_id field_id, const float* value) = 0;
    virtual Map_status set(const Map_field_id field_id, const int* value) = 0;
    /// @return Out_of_bounds, without a change, if the string is longer than declared
    virtual Map_status set(const Map_field_id field_id, const char* value) = 0;

  protected:
    // Not virtual: the virtual table has no slot for a destructor.
    ~Map_base() {}
};

/// Holds a map for reading. Shaders use the wrapper Access_map.
class Access_map_dbhandle {
  public:
    virtual ~Access_map_dbhandle() {}
    /// @return never null; owned by the handle
    virtual const Map_base* get_map() const = 0;
    /// @return the null tag if the map is not in the database
    virtual miTag get_tag() const = 0;
    /// Stores the map in the database, unless it is there already.
    /// @return the map's tag; the null tag on failure
    virtual miTag store() = 0;
};

/// Holds a map for reading and writing, as Access_map_dbhandle does. Shaders use the wrapper
/// Edit_map.
class Edit_map_dbhandle {
  public:
    virtual ~Edit_map_dbhandle() {}
    virtual Map_base* get_map() const = 0;
    virtual miTag get_tag() const = 0;
    virtual miTag store() = 0;
};

// ---- reading fields without a call ----

/// The values of one field: that of `row` is at data + row * stride. Global fields have stride 0.
/// Filled in by the renderer.
struct Map_column {
    const unsigned char* data;
    size_t stride;
    int type; ///< Map_field_type::Type
    miUint length;
};

/// The current element of an iterator, or of the result of a lookup.
class Map_row {
  public:
    Map_status get(const Map_field_id field_id, float& value) const {
        return copy(field_id, Map_field_type::Scalar, &value, sizeof value);
    }
    Map_status get(const Map_field_id field_id, int& value) const {
        return copy(field_id, Map_field_type::Integer, &value, sizeof value);
    }
    Map_status get(const Map_field_id field_id, miVector& value) const {
        return copy(field_id, Map_field_type::Vector, &value, sizeof value);
    }
    Map_status get(const Map_field_id field_id, miColor& value) const {
        return copy(field_id, Map_field_type::Color, &value, sizeof value);
    }
    Map_status get(const Map_field_id field_id, miMatrix* value) const {
        return copy(field_id, Map_field_type::Transform, value, sizeof *value);
    }
    Map_status get(const Map_field_id field_id, float* value) const {
        return copy(field_id, Map_field_type::Scalar_array, value, 4 * length(field_id));
    }
    Map_status get(const Map_field_id field_id, int* value) const {
        return copy(field_id, Map_field_type::Integer_array, value, 4 * length(field_id));
    }
    /// @param value  has room for the declared length and a terminating zero
    Map_status get(const Map_field_id field_id, char* value) const {
        return copy(field_id, Map_field_type::String, value, length(field_id) + 1);
    }

  protected:
    explicit Map_row(const Map_status::Status_code absent)
        : m_columns(0), m_row(0), m_column_count(0), m_absent(absent) {}
    ~Map_row() {}

    size_t length(const Map_field_id field_id) const {
        return field_id < m_column_count ? m_columns[field_id].length : 0;
    }
    Map_status copy(const Map_field_id field_id, const Map_field_type::Type type, void* value,
                    const size_t bytes) const {
        if (field_id >= m_column_count) return m_absent;
        const Map_column& column = m_columns[field_id];
        if (column.type != type) return Map_status::Field_type_mismatch;
        if (!value) return Map_status::Field_null_array;
        std::memcpy(value, column.data + m_row * column.stride, bytes);
        return Map_status::OK;
    }

    const Map_column* m_columns;
    size_t m_row;
    miUint m_column_count; // 0 without a current element
    // Status for a field that is not there: No_such_field, or why there is no current element.
    Map_status::Status_code m_absent;
};

// ---- iterator ----

/// Visits the elements of a map in the order of appending. Also the candidate that a distance
/// functor measures, which is valid during the functor's call only. Values are read without virtual
/// calls.
class Map_iterator_base : public Map_row {
  public:
    virtual ~Map_iterator_base() {}

    /// @return index of the current element in the order of appending; 0 without one
    virtual miUint get_index() const = 0;
    virtual bool at_end() const = 0;
    virtual Map_status next() = 0;
    /// @return Iterator_out_of_bounds, without a move, beyond the last element
    virtual Map_status go_to(const miUint index) = 0;

    /// @return as many floats as the dimension, valid until the next step; null without a current
    ///         element
    const float* get_position() const { return m_position; }

  protected:
    Map_iterator_base() : Map_row(Map_status::Iterator_invalid), m_position(0) {}
    Map_iterator_base(const Map_iterator_base& other) = default;
    Map_iterator_base& operator=(const Map_iterator_base& other) = default;

    const float* m_position;
};

// ---- distance functors ----

/// Measures distances for a search. All distances are squared, like the limit of the search. The
/// distance of an element must not be less than that of any box that contains it; it may be larger,
/// up to a huge value that rejects the element. A search calls the functor from its own thread, in
/// no particular order, also for elements that it does not find in the end.
class Map_distance_base {
  public:
    virtual miUint get_dimension() const = 0;
    virtual const float* get_point() const = 0;
    /// @param min, max  corners of a box
    /// @return least squared distance of elements in the box
    virtual float operator()(const float* min, const float* max) const = 0;
    /// @return squared distance of the element
    virtual float operator()(const Map_iterator_base* element) const = 0;

  protected:
    Map_distance_base() {}
    Map_distance_base(const Map_distance_base&) {}
    Map_distance_base& operator=(const Map_distance_base&) { return *this; }
    // Not virtual: functors are on the caller's stack, and the virtual table has no slot for it.
    ~Map_distance_base() {}
};

/// Measures boxes by their Euclidean distance. Derived classes measure elements.
template <miUint DIM>
class Map_distance : public Map_distance_base {
  public:
    static constexpr miUint DIMENSION = DIM;

    /// Does not initialize the point.
    Map_distance() {}
    /// @param point  DIM floats, which are copied
    Map_distance(const float* point) {
        for (miUint i = 0; i < DIM; ++i)
            m_point[i] = point[i];
    }
    miUint get_dimension() const { return DIM; }
    const float* get_point() const { return m_point; }
    float operator()(const float* min, const float* max) const {
        float sum = 0.0f;
        for (miUint i = 0; i < DIM; ++i) {
            const float below = min[i] - m_point[i];
            const float above = m_point[i] - max[i];
            const float outside = below > above ? below : above;
            if (outside > 0.0f) sum += outside * outside;
        }
        return sum;
    }
    virtual float operator()(const Map_iterator_base* element) const = 0;

  protected:
    ~Map_distance() {}

    float m_point[DIM];
};

#ifdef __GNUC__
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

/// The squared Euclidean distance: a search without a filter.
template <miUint DIM>
class Map_quad_distance : public Map_distance<DIM> {
  public:
    Map_quad_distance() {}
    Map_quad_distance(const float* point) : Map_distance<DIM>(point) {}
    using Map_distance<DIM>::operator();
    float operator()(const Map_iterator_base* element) const {
        const float* position = element->get_position();
        float sum = 0.0f;
        for (miUint i = 0; i < DIM; ++i) {
            const float d = position[i] - this->m_point[i];
            sum += d * d;
        }
        return sum;
    }
};

#ifdef __GNUC__
#pragma GCC diagnostic pop
#endif

/// Whether a functor inherits its box distance from Map_distance<DIM>: a search may then measure
/// boxes without calling it. Compares the entries of virtual tables, and so detects overrides
/// anywhere in the hierarchy.
/// @return the functor's point, or null if it overrides the box distance, or if the compiler's
///         virtual tables have another layout
template <miUint DIM>
const float* map_euclidean_point(const Map_distance<DIM>& distance) {
#ifdef __GXX_ABI_VERSION
    const Map_quad_distance<DIM> plain;
    const Map_distance<DIM>* objects[2] = {&distance, &plain};
    void* entries[2];
    for (int i = 0; i < 2; ++i) {
        const char* table;
        std::memcpy(&table, static_cast<const void*>(objects[i]), sizeof table);
        std::memcpy(&entries[i], table + 2 * sizeof(void*), sizeof(void*));
    }
    if (entries[0] == entries[1]) return distance.Map_distance<DIM>::get_point();
#endif
    return 0;
}

// ---- lookup ----

/// A found element: the distance that the functor returned, and the element's row.
struct Map_result {
    float distance;
    miUint row;
};

/// Searches a map, any number of times. Holds the result of the last search and a position in it.
/// Results are sorted by distance; elements at the same distance are in the order of appending.
class Map_lookup_base : public Map_row {
  public:
    virtual ~Map_lookup_base() {}

    /// Implements search().
    /// @param euclidean_point  of map_euclidean_point()
    virtual Map_status search_with(const Map_distance_base& distance, const float* euclidean_point,
                                   const int max_count, const float max_squared_distance) = 0;
    /// Moves to the first result.
    virtual Map_status rewind() = 0;
    /// Moves to a result by its position in the result.
    virtual Map_status go_to(const miUint index) = 0;
    /// @param index  receives the element's index in the order of appending
    virtual Map_status get_index(miUint& index) const = 0;
    /// @param position  receives as many floats as the dimension
    virtual Map_status get_position(float* position) const = 0;

    /// Finds the nearest elements among those of the last consolidate(). Elements whose distance is
    /// not a number are not found.
    /// @param max_count             0 or less finds nothing
    /// @param max_squared_distance  an element exactly at the limit is found
    template <miUint DIM>
    Map_status search(const Map_distance<DIM>& distance, const int max_count,
                      const float max_squared_distance) {
        return search_with(distance, map_euclidean_point(distance), max_count,
                           max_squared_distance);
    }
    Map_status search(const Map_distance_base& distance, const int max_count,
                      const float max_squared_distance) {
        return search_with(distance, 0, max_count, max_squared_distance);
    }

    /// @return true also before the first search
    bool is_empty() const { return m_begin == m_end; }
    /// @return number of results
    miUint size() const { return static_cast<miUint>(m_end - m_begin); }
    bool at_end() const { return m_current == m_end; }
    Map_status next() {
        if (m_current == m_end) return m_absent;
        ++m_current;
        settle();
        return Map_status::OK;
    }
    /// @return the value that the functor returned; infinity without a current result
    float get_squared_distance() const {
        return m_current == m_end ? HUGE_VALF : m_current->distance;
    }

  protected:
    Map_lookup_base()
        : Map_row(Map_status::Lookup_no_previous_search),
          m_begin(0),
          m_current(0),
          m_end(0),
          m_all_columns(0) {}
    Map_lookup_base(const Map_lookup_base& other) = default;
    Map_lookup_base& operator=(const Map_lookup_base& other) = default;

    // Selects the fields of the current result.
    void settle() {
        if (m_current != m_end) {
            m_row = m_current->row;
            m_column_count = m_all_columns;
            m_absent = Map_status::No_such_field;
        } else {
            m_column_count = 0;
            m_absent = Map_status::Lookup_past_end;
        }
    }

    const Map_result* m_begin;
    const Map_result* m_current;
    const Map_result* m_end;
    miUint m_all_columns;
};

// ---- wrappers ----
//
// A wrapper consists of one pointer. operator-> returns the object, or null if the renderer has no
// interface or the factory function failed. Copies are deep. Definitions are in mi_shader_if.h.

/// A map for reading.
class Access_map {
  public:
    /// @param tag  if it does not name a map, the map is empty and has no tag
    Access_map(const miTag tag);
    /// @param filename  if it cannot be read, the map is empty
    /// @param status    receives the result; may be null
    Access_map(const char* filename, Map_status* status = 0);
    ~Access_map() { delete m_handle; }
    Access_map(const Access_map&) = delete;
    Access_map& operator=(const Access_map&) = delete;
    const Map_base* operator->() { return m_handle ? m_handle->get_map() : 0; }
    const Map_base* operator->() const { return m_handle ? m_handle->get_map() : 0; }
    miTag get_tag() const { return m_handle ? m_handle->get_tag() : miNULLTAG; }
    miTag store() { return m_handle ? m_handle->store() : miNULLTAG; }

  private:
    Access_map_dbhandle* m_handle;
};

/// A map for reading and writing.
class Edit_map {
  public:
    /// An empty map.
    Edit_map(const Map_declaration& map_declaration);
    /// An empty map without a declaration.
    Edit_map();
    /// As Access_map.
    Edit_map(const miTag tag);
    /// As Access_map.
    Edit_map(const char* filename, Map_status* status = 0);
    ~Edit_map() { delete m_handle; }
    Edit_map(const Edit_map&) = delete;
    Edit_map& operator=(const Edit_map&) = delete;
    Map_base* operator->() { return m_handle ? m_handle->get_map() : 0; }
    const Map_base* operator->() const { return m_handle ? m_handle->get_map() : 0; }
    miTag get_tag() const { return m_handle ? m_handle->get_tag() : miNULLTAG; }
    miTag store() { return m_handle ? m_handle->store() : miNULLTAG; }

  private:
    Edit_map_dbhandle* m_handle;
};

/// A declaration: a new one, or a copy.
class Map_declaration {
  public:
    /// @param dimension  1 to 6
    Map_declaration(const miUint dimension = 3);
    Map_declaration(const Access_map& map, Map_status* status = 0);
    Map_declaration(const Edit_map& map, Map_status* status = 0);
    Map_declaration(const Map_element& map_element, Map_status* status = 0);
    Map_declaration(const Map_declaration& other, Map_status* status = 0);
    ~Map_declaration() { delete m_declaration; }
    Map_declaration& operator=(const Map_declaration& other);
    Map_declaration_base* operator->() { return m_declaration; }
    const Map_declaration_base* operator->() const { return m_declaration; }

  private:
    Map_declaration_base* m_declaration;
};

/// An element of a declaration.
class Map_element {
  public:
    /// An element without a declaration: takes that of the first map it is read from.
    Map_element();
    Map_element(const Map_declaration& declaration);
    Map_element(const Map_element& other);
    ~Map_element() { delete m_element; }
    Map_element& operator=(const Map_element& other);
    Map_element_base* operator->() { return m_element; }
    const Map_element_base* operator->() const { return m_element; }

  private:
    Map_element_base* m_element;
};

/// An iterator at the first element of a map, which must outlive it.
class Map_iterator {
  public:
    Map_iterator(const Access_map& map, Map_status* status = 0);
    Map_iterator(const Edit_map& map, Map_status* status = 0);
    Map_iterator(const Map_iterator& other, Map_status* status = 0);
    ~Map_iterator() { delete m_iterator; }
    Map_iterator& operator=(const Map_iterator& other);
    Map_iterator_base* operator->() { return m_iterator; }
    const Map_iterator_base* operator->() const { return m_iterator; }

  private:
    Map_iterator_base* m_iterator;
};

/// A lookup of a map, which must outlive it.
class Map_lookup {
  public:
    Map_lookup(const Access_map& map, Map_status* status = 0);
    Map_lookup(const Map_lookup& other, Map_status* status = 0);
    ~Map_lookup() { delete m_lookup; }
    Map_lookup& operator=(const Map_lookup& other);
    Map_lookup_base* operator->() { return m_lookup; }

  private:
    Map_lookup_base* m_lookup;
};

static_assert(sizeof(Access_map) == sizeof(void*) && sizeof(Edit_map) == sizeof(void*) &&
                  sizeof(Map_declaration) == sizeof(void*) &&
                  sizeof(Map_element) == sizeof(void*) && sizeof(Map_iterator) == sizeof(void*) &&
                  sizeof(Map_lookup) == sizeof(void*),
              "a wrapper is one pointer: maps take wrappers by reference through virtual calls");
static_assert(sizeof(Map_distance<4>) == sizeof(void*) + 4 * sizeof(float) &&
                  sizeof(Map_distance<3>) <= sizeof(void*) + 4 * sizeof(float),
              "a functor is its table and its point");
static_assert(sizeof(Map_status) == 4 && Map_status::OK == 0 && Map_status::Wrong_dimension == 6 &&
                  Map_status::Illegal_on_slave == 7 && Map_status::Failure == 15 &&
                  Map_status::File_could_not_be_opened == 16 &&
                  Map_status::File_version_unsupported == 18 && Map_status::Field_undefined == 32 &&
                  Map_status::Field_illegal == 38 && Map_status::Iterator_invalid == 48 &&
                  Map_status::Iterator_out_of_bounds == 50 && Map_status::Lookup_invalid == 64 &&
                  Map_status::Lookup_no_previous_search == 68,
              "status codes are fixed");
static_assert(Map_base::Closed_binary == 0 && Map_base::Open_binary == 1 &&
                  Map_base::Open_ASCII == 2,
              "file formats are fixed");

} // namespace shader_v3
} // namespace mi
