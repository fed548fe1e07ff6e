#include "host/shaders/lights.h"

#include <algorithm>

namespace vx::shaders {

namespace {

enum Mode : miInteger { mode_inclusive = 1, mode_exclusive = 2, mode_instance = 4 };

} // namespace

Lights::Lights(miState* state, LightParameters& parameters) : few_{}, data_(few_.data()) {
    int n = std::max(0, parameters.count);
    miTag* list = parameters.x + parameters.first;
    switch (*mi_eval_integer(&parameters.mode)) {
    case mode_inclusive:
        mi_inclusive_lightlist(&n, &list, state);
        break;
    case mode_exclusive:
        mi_exclusive_lightlist(&n, &list, state);
        break;
    case mode_instance:
        mi_instance_lightlist(&n, &list, state);
        break;
    default:
        if (n == 0) mi_instance_lightlist(&n, &list, state);
    }
    count_ = std::max(0, n);
    if (static_cast<std::size_t>(count_) <= few_.size()) {
        std::copy_n(list, count_, few_.begin());
    } else {
        many_.assign(list, list + count_);
        data_ = many_.data();
    }
}

bool Lights::contains(miTag light) const {
    return std::find(begin(), end(), light) != end();
}

} // namespace vx::shaders
