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

#include <memory>

namespace vx::maps {

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

/// Removes the temporary files of maps that are being written. Async-signal-safe, for handlers that
/// end the process.
void remove_unfinished_files() noexcept;

} // namespace vx::maps
