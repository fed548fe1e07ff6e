#include "cache/formats/integers.h"

#include "cache/cloud/attribute_reader.h"

#include <algorithm>

namespace vx::cache {

namespace {

bool is_whole(const Attribute& a) {
    return is_integer(a.type) || ((a.name == "id" || a.name == "tag") && a.width == 1);
}

} // namespace

bool holds_int32(Cloud& cloud, std::size_t attribute) {
    const Attribute& a = cloud.attributes[attribute];
    if (a.type == Type::int32) return true;
    if (!is_whole(a)) return false;
    AttributeReader reader(cloud, attribute, Type::int32);
    for (std::int64_t first = 0; first < (a.single ? 1 : cloud.count); first += kBlockPoints) {
        const std::int64_t n = a.single ? 1 : std::min(kBlockPoints, cloud.count - first);
        reader.read(first, n);
        if (reader.changed() > 0) return false;
    }
    return true;
}

Type narrow_type(Cloud& cloud, std::size_t attribute) {
    if (holds_int32(cloud, attribute)) return Type::int32;
    return is_whole(cloud.attributes[attribute]) ? Type::float64 : Type::float32;
}

} // namespace vx::cache
