// The element of a particle cache's vector attributes.
#ifndef VX_POINTS_VECTOR_D_H
#define VX_POINTS_VECTOR_D_H

#include <type_traits>

// A plain value. Default construction leaves x, y and z unspecified: arrays of vectors are large
// and every element is overwritten before it is looked at.
class CVectorD {
  public:
    double x, y, z;
};

// The file code copies vectors as runs of three doubles.
static_assert(sizeof(CVectorD) == 24 && alignof(CVectorD) == alignof(double));
static_assert(std::is_trivial_v<CVectorD> && std::is_standard_layout_v<CVectorD>);

#endif
