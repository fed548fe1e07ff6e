/// @file
/// The map engine as its host sees it. Shaders reach the engine through mi_get_shader_interface(3),
/// which this library defines; a program that loads shader libraries links the engine and exports
/// that symbol. Beyond the interface a host may direct messages, and decide where maps are stored
/// that have a tag.
///
/// This is the engine's only public header. maps/testing.h is for tests, all other headers are the
/// engine's own.
#pragma once

#include "shader.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace vx::maps {

class BodyBuilder;
class Map;

/// Receives one message about each operation on a map file that is called with `notify`: file,
/// elements and time, or the reason of a failure. Must accept calls from any thread.
/// @param failed   whether the operation failed
/// @param message  one line without its end; valid during the call
using Notify = void (*)(bool failed, const char* message);

/// Directs the messages of all file operations that end after the call.
/// @param notify  null, the initial value, discards messages
void set_notify(Notify notify);

/// Maps by tag: what Access_map, Edit_map and their store() work on. The engine has a store of its
/// own, which numbers its tags from 1. A host with a scene database replaces it, so that a map is
/// an element of the scene like any other.
///
/// All functions must accept calls from any thread.
class MapStore {
  public:
    /// Adds a map, without a pin.
    /// @param map  not null; the store shares it until it is removed, at the latest until the store
    ///             ends
    /// @return the map's tag; the null tag if the store is full
    /// @throws std::bad_alloc
    virtual miTag store(std::shared_ptr<Map> map) = 0;

    /// Pins a map. Each pin needs its own unpin().
    /// @param tag  any tag
    /// @return the map; null, without a pin, if the tag does not name a map
    virtual std::shared_ptr<Map> pin(miTag tag) = 0;

    /// Removes one pin.
    /// @param tag  as in the call of pin() that returned the map
    virtual void unpin(miTag tag) noexcept = 0;

  protected:
    ~MapStore() = default;
};

/// Replaces the store. Call it before the first use of the interface, or while nothing uses it.
/// @param store  owned by the caller, must live as long as anything that was accessed through it;
///               null restores the engine's own
void set_map_store(MapStore* store);

/// Removes a map from the engine's own store, for programs that don't replace it.
/// @return false if the map is pinned, or if the tag does not name a map of that store
bool remove_map(miTag tag);

/// The elements of a map as arrays, in tree order: a program that reads all elements reads them
/// fastest in this order, row by row. The arrays last until the map changes.
struct Rows {
    std::uint64_t count = 0;
    unsigned dimension = 0;
    /// Coordinate a of row r is at positions[(r / 16 * dimension + a) * 16 + r % 16].
    const float* positions = nullptr;
    /// The index of each row's element in the order of appending, and the row of each index. All
    /// are below `count`. If the map was read from a damaged file they need not undo each other.
    const std::uint32_t* order = nullptr;
    const std::uint32_t* rank = nullptr;
    /// One per field, by row.
    std::span<const mi::shader_v3::Map_column> columns;
};

/// @return the rows of a map; nothing if it has changed since it was consolidated or read
std::optional<Rows> rows_of(const mi::shader_v3::Map_base& map);

/// Fills an empty map with columns of values. The result is that of appending all elements and
/// consolidating the map, but is made in less time and in little more memory than the map itself
/// has.
///
/// In this order: the positions of all elements, sort(), the values of fields, finish(). Elements
/// are numbered in the order of appending. Different threads may set different elements at the same
/// time.
class MapBuilder {
  public:
    /// @param map    has a declaration and no elements; must outlive the object, and must not be
    ///               changed meanwhile
    /// @param count  number of elements, at most 2^32 - 1
    /// @throws std::bad_alloc
    MapBuilder(mi::shader_v3::Map_base& map, std::uint64_t count);
    ~MapBuilder();
    MapBuilder(const MapBuilder&) = delete;
    MapBuilder& operator=(const MapBuilder&) = delete;

    /// @param first,n    the elements
    /// @param positions  as many floats per element as the map has dimensions
    /// @param stride     bytes from one element's position to the next; 0: all have the same
    void set_positions(std::uint64_t first, std::uint64_t n, const float* positions,
                       std::size_t stride);
    /// Sorts the elements, as Map_base::consolidate() does.
    void sort(float quality);
    /// Sets a field. Fields that are not set are zero.
    /// @param id      of a field that is not global
    /// @param values  of the field's type: int, float, miVector, miColor, miMatrix, or an array
    /// @param stride  bytes from one element's values to the next; 0: all have the same
    void set_values(mi::shader_v3::Map_field_id id, std::uint64_t first, std::uint64_t n,
                    const void* values, std::size_t stride);
    /// Gives the elements to the map. Call it last.
    void finish();

  private:
    Map& m_map;
    std::unique_ptr<BodyBuilder> m_builder;
};

/// Reads a whole map file and checks what opening does not check: the checksum of a large file, and
/// that the rows of its elements are a permutation.
/// @return OK, or what opening a damaged file returns
mi::shader_v3::Map_status verify_file(const char* file_name);

/// Removes the temporary files of maps that are being written. Async-signal-safe, for handlers that
/// end the process.
void remove_unfinished_files() noexcept;

} // namespace vx::maps
