/*
 * Maps of the renderer: points of dimension 1 to 6 with fields, in memory and in files, and
 * searches for the nearest of them. C++ only; comes in with shader.h.
 *
 * Orders of virtual functions, names, status codes and the layout of the wrappers follow the
 * renderer's public manual and are part of the binary interface: functions are only ever appended.
 * Where the manual leaves a point open (names of the declaration, element, iterator and lookup
 * functions, the two handles, the field types) the choice made here is in the style of Map_base.
 *
 * Ownership: what a factory of the interface hands out is destroyed through its virtual destructor,
 * or by the wrapper that holds it. A Map_base belongs to its handle.
 * Threads: const functions of a map and of a declaration may run at once without a lock; everything
 * else needs exclusive access. Lookups, iterators and elements belong to one thread.
 */
#ifndef SHADER_MAP_H
#define SHADER_MAP_H

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

/* Number of a field: 0, 1, ... in the order of declaration, global fields included. */
typedef miUint Map_field_id;
/* What a lookup by name gives for an unknown name; every call with it ends in No_such_field. */
const Map_field_id map_no_such_field = 0xffffffffu;

/* ---- status -----------------------------------------------------------------------------------
 */

class Map_status {
  public:
    enum Status_code {
        OK = 0,
        Insufficient_memory, /* memory, or more elements than an index can name */
        No_such_field,       /* a name or id that the declaration does not have */
        Out_of_bounds,       /* element index beyond the size */
        No_declaration,      /* map or element without a declaration */
        Declaration_mismatch,
        Wrong_dimension, /* outside 1 to 6 */
        Illegal_on_slave,
        Failure = 15, /* writing failed, or a null pointer was given */
        File_could_not_be_opened = 16,
        File_not_a_map, /* foreign, cut off or damaged */
        File_version_unsupported,
        Field_undefined = 32, /* a declaration without a usable field type */
        Field_name_too_long,
        Field_name_empty,
        Field_name_illegal,
        Field_null_array, /* array or string of length 0, or a null pointer for one */
        Field_type_mismatch,
        Field_illegal, /* name taken, string not global, or a global field where an element's is due
                        */
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

/* ---- field types ------------------------------------------------------------------------------
 */

/* Kind of a field. Every kind but String may be global (one value for the whole map) or not; a
 * String is always global. */
class Map_field_type {
  public:
    enum Type {
        Undefined = 0,
        Integer,       /* int, 32 bits */
        Scalar,        /* float */
        Vector,        /* miVector */
        Color,         /* miColor */
        Transform,     /* miMatrix */
        Integer_array, /* int[n], n fixed by the declaration */
        Scalar_array,  /* float[n] */
        String         /* char[n], at most n characters without the terminating zero */
    };

    Map_field_type() : m_type(Undefined) {}
    Map_field_type(Type type) : m_type(type) {}
    bool operator==(const Map_field_type& rhs) const { return m_type == rhs.m_type; }
    bool operator!=(const Map_field_type& rhs) const { return m_type != rhs.m_type; }
    Type get_type() const { return m_type; }

  private:
    Type m_type;
};

/* ---- declaration ------------------------------------------------------------------------------
 */

class Map_declaration_base {
  public:
    virtual ~Map_declaration_base() {}

    /* 1 to 6; 0 for a declaration that was asked for with another dimension. */
    virtual miUint get_dimension() const = 0;

    /*
     * Adds a field at the end. Names: 1 to 255 characters, letters, digits and . _ - : only, no two
     * the same. `length` is for arrays and strings, 1 to 2^20, and ignored for all others. Maps and
     * elements made from the declaration before do not change.
     */
    virtual Map_status append_field(const char* name, const Map_field_type type,
                                    const miUint length = 0, const bool is_global = false) = 0;

    virtual bool has_field(const char* name) const = 0;
    /* map_no_such_field (and No_such_field in *status) for an unknown name. */
    virtual Map_field_id get_field_id(const char* name, Map_status* status = 0) const = 0;

    virtual miUint get_field_count() const = 0;
    /* Valid until the declaration changes; null for an unknown id. */
    virtual const char* get_field_name(const Map_field_id field_id) const = 0;
    /* Undefined for an unknown id. */
    virtual Map_field_type get_field_type(const Map_field_id field_id) const = 0;
    /* Length of an array or string; 1 for every other kind; 0 for an unknown id. */
    virtual miUint get_field_length(const Map_field_id field_id) const = 0;
    virtual bool is_field_global(const Map_field_id field_id) const = 0;
    /* Same dimension and the same fields in the same order. */
    virtual bool is_equal(const Map_declaration_base* other) const = 0;
};

/* ---- element ----------------------------------------------------------------------------------
 */

/*
 * One element outside of any map: a value that can be refilled and appended again and again. Starts
 * with zeros. Global fields are the map's, not an element's: Field_illegal. get by pointer writes
 * as many values as the field is long.
 */
class Map_element_base {
  public:
    virtual ~Map_element_base() {}

    virtual bool has_declaration() const = 0;

    /* As many floats as the dimension. */
    virtual Map_status set_position(const float* position) = 0;
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

/* ---- map --------------------------------------------------------------------------------------
 */

class Map_base {
  public:
    /* How a map is written. Reading recognises the format by content. */
    enum File_format { Closed_binary = 0, Open_binary, Open_ASCII };

    virtual miUint size() const = 0;
    virtual bool is_empty() const = 0;
    virtual bool has_declaration() const = 0;

    /* An element without a declaration takes the map's. */
    virtual Map_status get(const miUint index, Map_element& map_element) const = 0;
    /* Searches see the new value after the next consolidate. */
    virtual Map_status set(const miUint index, const Map_element& map_element) = 0;
    /* Copies the element; its index is the size before. Searches see it after consolidate. */
    virtual Map_status append(const Map_element& map_element) = 0;

    /*
     * Replaces declaration and content by a file's; the map counts as consolidated then. On failure
     * the map is empty and without a declaration. `notify` sends one information message that names
     * file, elements and time, here and below.
     */
    virtual Map_status read(const char* file_name, const bool notify = true) = 0;
    /* The file keeps its format. It must exist and have the same declaration. */
    virtual Map_status append_to(const char* file_name, const bool notify = true) const = 0;
    /* Takes the file's declaration if there is none yet. Needs a consolidate, as append does. */
    virtual Map_status append_from(const char* file_name, const bool notify = true) = 0;
    /* The file appears whole or not at all: on failure an older file stays. */
    virtual Map_status write(const char* file_name, const bool notify = true,
                             const File_format file_format = Closed_binary) const = 0;

    /*
     * Takes all elements into account for searches. `bvh_quality`, clamped to 0..1, trades the time
     * this takes for the time that searches take; results do not depend on it.
     */
    virtual Map_status consolidate(const float bvh_quality = 0.6f) = 0;

    /* Global fields. */
    virtual Map_status get(const Map_field_id field_id, float& value) const = 0;
    virtual Map_status get(const Map_field_id field_id, int& value) const = 0;
    virtual Map_status get(const Map_field_id field_id, miVector& value) const = 0;
    virtual Map_status get(const Map_field_id field_id, miColor& value) const = 0;
    virtual Map_status get(const Map_field_id field_id, miMatrix* value) const = 0;
    virtual Map_status get(const Map_field_id field_id, float* value) const = 0;
    virtual Map_status get(const Map_field_id field_id, int* value) const = 0;
    /* Room for the declared length and a terminating zero. */
    virtual Map_status get(const Map_field_id field_id, char* value) const = 0;

    /* A string longer than declared is Out_of_bounds and changes nothing. */
    virtual Map_status set(const Map_field_id field_id, const float value) = 0;
    virtual Map_status set(const Map_field_id field_id, const int value) = 0;
    virtual Map_status set(const Map_field_id field_id, const miVector& value) = 0;
    virtual Map_status set(const Map_field_id field_id, const miColor& value) = 0;
    virtual Map_status set(const Map_field_id field_id, const miMatrix* value) = 0;
    virtual Map_status set(const Map_field_id field_id, const float* value) = 0;
    virtual Map_status set(const Map_field_id field_id, const int* value) = 0;
    virtual Map_status set(const Map_field_id field_id, const char* value) = 0;

  protected:
    /* Not virtual: no slot of the table is a destructor. */
    ~Map_base() {}
};

/* Hold a map; not for direct use in shaders that can use the wrappers. Never hold a null map. */
class Access_map_dbhandle {
  public:
    virtual ~Access_map_dbhandle() {}
    virtual const Map_base* get_map() const = 0;
    virtual miTag get_tag() const = 0;
    virtual miTag store() = 0;
};

class Edit_map_dbhandle {
  public:
    virtual ~Edit_map_dbhandle() {}
    virtual Map_base* get_map() const = 0;
    virtual miTag get_tag() const = 0;
    virtual miTag store() = 0;
};

/* ---- reading fields without a call --------------------------------------------------------------
 */

/*
 * Where one field's values stand: value number `row` at data + row * stride. A global field has
 * stride 0. Filled in by the renderer.
 */
struct Map_column {
    const unsigned char* data;
    size_t stride;
    int type; /* Map_field_type::Type */
    miUint length;
};

/* The current element of an iterator or of a lookup's result. */
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
    /* Room for the declared length and a terminating zero. */
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
    /* 0 while there is no current element; m_absent says why then, and is No_such_field else. */
    miUint m_column_count;
    Map_status::Status_code m_absent;
};

/* ---- iterator ---------------------------------------------------------------------------------
 */

/*
 * Steps through the elements of a map in the order of appending; also what a distance functor is
 * handed for a candidate. Reading is inline: a candidate costs no call but the functor's own.
 * Values of a functor's candidate are valid during the functor's call only.
 */
class Map_iterator_base : public Map_row {
  public:
    virtual ~Map_iterator_base() {}

    /* Index of the current element in the order of appending; 0 without one. */
    virtual miUint get_index() const = 0;
    virtual bool at_end() const = 0;
    virtual Map_status next() = 0;
    /* Iterator_out_of_bounds (and no move) beyond the last element. */
    virtual Map_status go_to(const miUint index) = 0;

    /* As many floats as the dimension, until the next step; null without a current element. */
    const float* get_position() const { return m_position; }

  protected:
    Map_iterator_base() : Map_row(Map_status::Iterator_invalid), m_position(0) {}
    Map_iterator_base(const Map_iterator_base& other) = default;
    Map_iterator_base& operator=(const Map_iterator_base& other) = default;

    const float* m_position;
};

/* ---- distance functors ------------------------------------------------------------------------
 */

/*
 * Measures distance for a search. Distances are squared, like the limit they are compared with. The
 * distance of an element must not be less than that of any box that holds it; returning more, up to
 * a huge value that rejects the element, is always allowed. Called from the searching thread only,
 * in no particular order, also for elements that do not get into the result.
 */
class Map_distance_base {
  public:
    virtual miUint get_dimension() const = 0;
    virtual const float* get_point() const = 0;
    /* Least squared distance that an element within the box can have. */
    virtual float operator()(const float* min, const float* max) const = 0;
    virtual float operator()(const Map_iterator_base* element) const = 0;

  protected:
    Map_distance_base() {}
    Map_distance_base(const Map_distance_base&) {}
    Map_distance_base& operator=(const Map_distance_base&) { return *this; }
    /* Not virtual: functors live on the caller's stack, and the table has no slot for it. */
    ~Map_distance_base() {}
};

/* Euclidean box distance; the element distance is left to the derived class. */
template <miUint DIM>
class Map_distance : public Map_distance_base {
  public:
    static constexpr miUint DIMENSION = DIM;

    /* Leaves the point unset. */
    Map_distance() {}
    /* Copies DIM floats. */
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

/* The plain squared Euclidean distance: a search without a filter. */
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

/*
 * The search point of a functor whose box distance is the one it inherits from Map_distance<DIM>,
 * and null for every other functor. A search may then measure boxes by itself. Decided by the entry
 * of the functor's own virtual table, so that an override anywhere in the hierarchy is seen; where
 * the layout of such tables is not known the answer is always null, which costs time and nothing
 * else.
 */
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

/* ---- lookup -----------------------------------------------------------------------------------
 */

/* One found element: the functor's distance, and where the element stands. */
struct Map_result {
    float distance;
    miUint row;
};

/*
 * Searches one map, any number of times; holds the result of the last search and a position in it.
 * The result goes from near to far, ties in the order of appending.
 */
class Map_lookup_base : public Map_row {
  public:
    virtual ~Map_lookup_base() {}

    /* What the inline functions below rest on; `euclidean_point` as map_euclidean_point gives it.
     */
    virtual Map_status search_with(const Map_distance_base& distance, const float* euclidean_point,
                                   const int max_count, const float max_squared_distance) = 0;
    /* Back to the first result. */
    virtual Map_status rewind() = 0;
    virtual Map_status go_to(const miUint index) = 0;
    /* Index of the current result in the order of appending. */
    virtual Map_status get_index(miUint& index) const = 0;
    /* As many floats as the dimension. */
    virtual Map_status get_position(float* position) const = 0;

    /*
     * Finds the elements nearest by the functor, at most `max_count`, none farther than
     * `max_squared_distance` (one exactly there is found). Nothing for a count of 0 or less. An
     * element whose distance is not a number is not found. Elements are those of the last
     * consolidate.
     */
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

    /* True also before any search. */
    bool is_empty() const { return m_begin == m_end; }
    /* Number of results, wherever the position is. */
    miUint size() const { return static_cast<miUint>(m_end - m_begin); }
    bool at_end() const { return m_current == m_end; }
    Map_status next() {
        if (m_current == m_end) return m_absent;
        ++m_current;
        settle();
        return Map_status::OK;
    }
    /* The very value that the functor returned; infinite without a current result. */
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

    /* Makes the fields those of the current result. */
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

/* ---- wrappers ---------------------------------------------------------------------------------
 *
 * Each holds one pointer and nothing else, null if the renderer has no interface or the factory
 * failed; `->` gives it. Copies are deep. Definitions are in mi_shader_if.h.
 */

class Access_map {
  public:
    Access_map(const miTag tag);
    /* A file that cannot be read gives an empty map and says why in *status. */
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

class Edit_map {
  public:
    Edit_map(const Map_declaration& map_declaration);
    Edit_map();
    Edit_map(const miTag tag);
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

class Map_declaration {
  public:
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

class Map_element {
  public:
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

#endif
