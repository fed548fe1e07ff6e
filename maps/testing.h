/// @file
/// What tests see of the map engine beyond its interface. Not for any other program.
#pragma once

#include "maps/names.h"

namespace vx::maps {

/// Declarations, elements, iterators, lookups and map handles that exist, over all threads. Exact
/// while no other thread creates or destroys any.
long live_object_count();

/// Interfaces that mi_get_shader_interface() returned and that were not released.
long live_interface_count();

/// Pins of a map in the engine's own store.
/// @param tag  any tag; 0 pins for a tag that names no map
unsigned pin_count(miTag tag);

/// Instruction sets that searches are compiled for, from slow to fast.
enum class InstructionSet { sse2, avx2, avx512 };

/// The fastest that the machine has. This is what searches use by themselves.
InstructionSet best_instruction_set();

/// Makes all searches use an instruction set. Does nothing if the machine does not have it.
void force_instruction_set(InstructionSet set);

} // namespace vx::maps
