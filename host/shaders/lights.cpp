#include "host/shaders/lights.h"

#include <algorithm>

namespace vx::shaders {

namespace {

enum Mode : miInteger { mode_inclusive = 1, mode_exclusive = 2, mode_instance = 4 };

} // namespace

Lights::Lights(miState* state, LightParameters& parameters) : m_few{}, m_data(m_few.data()) {
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
    m_count = std::max(0, n);
    if (static_cast<std::size_t>(m_count) <= m_few.size()) {
        std::copy_n(list, m_count, m_few.begin());
    } else {
        m_many.assign(list, list + m_count);
        m_data = m_many.data();
    }
}

bool Lights::contains(miTag light) const {
    return std::find(begin(), end(), light) != end();
}

} // namespace vx::shaders
