// The element of a particle cache's vector attributes.
#pragma once

#include <type_traits>

// A plain value without a constructor: a CVectorD that is declared without an initializer holds
// unspecified values. Elements that std::vector::resize() adds are zero.
class CVectorD {
  public:
    double x, y, z;
};

// Files store vectors as runs of three doubles, and attributes copy them as such.
static_assert(sizeof(CVectorD) == 24 && alignof(CVectorD) == alignof(double));
static_assert(std::is_trivial_v<CVectorD> && std::is_standard_layout_v<CVectorD>);
