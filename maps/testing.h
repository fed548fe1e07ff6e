/// @file
/// What tests see of the map engine beyond its interface. Not for any other program.
#pragma once

#include <cstdint>

namespace vx::maps {

/// Instruction sets that searches are compiled for, from slow to fast.
enum class InstructionSet { sse2, avx2, avx512 };

/// The fastest that the machine has. This is what searches use by themselves.
InstructionSet best_instruction_set();

/// Makes all searches use an instruction set. Does nothing if the machine does not have it.
void force_instruction_set(InstructionSet set);

/// Closed binary files beyond this size are opened without comparing their checksum. Replaces the
/// built-in size, which kVerifiedBytes restores.
void set_verified_size(std::uint64_t bytes);
inline constexpr std::uint64_t kVerifiedBytes = std::uint64_t{64} << 20;

} // namespace vx::maps
