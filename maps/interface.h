// What a program that hosts shader libraries sees of the engine.
#pragma once

#include "maps/names.h"

#include <memory>

namespace vx::maps {

class Map;

// Where information messages go (one line without its end); nullptr, the start, for nowhere. May be
// called from any thread.
using Notify = void (*)(const char* message);
void set_notify(Notify notify);

// What a host adds to the interface. A null member leaves the engine's own behaviour: none for the
// slots that are not about maps, and a table of its own for maps in the database.
struct Hooks {
    mi::shader_v3::Options* (*get_options)(miTag string_options) = nullptr;
    miTag (*create_framebuffer)() = nullptr;
    miTag (*copy_framebuffer)(miTag old_buffer_tag) = nullptr;
    // The plain light iterator has no axis.
    mi::shader_v3::LightList* (*create_light_list)(miState* state, const miVector* axis,
                                                   miScalar spread_cos, miTag* slist,
                                                   int n) = nullptr;
    // All three or none. find pins the element that holds a map (null: there is none), unpin gives
    // it back, store makes a new element.
    std::shared_ptr<Map> (*find_map)(miTag tag) = nullptr;
    void (*unpin_map)(miTag tag) = nullptr;
    miTag (*store_map)(std::shared_ptr<Map> map) = nullptr;
};
// Before the first use of the interface, or while nothing uses it.
void set_hooks(const Hooks& hooks);

// Reads a map file; the map is empty on failure.
std::shared_ptr<Map> read_map(const char* file_name, Map_status* status, bool notify = true);

// Objects handed out and not destroyed, and interfaces got and not released.
long live_object_count();
long live_interface_count();

// Pins of a map in the engine's own table; 0 for an unknown tag too.
unsigned pin_count(miTag tag);
// Takes a map out of the engine's own table; false while it is pinned or if there is none.
bool remove_map(miTag tag);

} // namespace vx::maps
