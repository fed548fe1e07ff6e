#include "cache/cloud/derived.h"

#include "cache/cloud/attribute_reader.h"
#include "cache/cloud/error.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vx::cache {

SelectedCloud::SelectedCloud(Cloud& cloud, std::vector<bool> keep)
    : m_cloud(cloud), m_keep(std::move(keep)) {
    file_name = cloud.file_name;
    attributes = cloud.attributes;
    for_blocks(cloud.count, [&](std::int64_t first, std::int64_t n) {
        m_starts.push_back(count);
        count += std::count(m_keep.begin() + first, m_keep.begin() + first + n, true);
    });
}

void SelectedCloud::read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) {
    if (attributes[attribute].single) {
        m_cloud.read(attribute, 0, 1, out);
        return;
    }
    const std::size_t size = attributes[attribute].bytes();
    auto* target = static_cast<std::byte*>(out);
    auto block = std::upper_bound(m_starts.begin(), m_starts.end(), first) - m_starts.begin() - 1;
    for (std::int64_t done = 0; done < n; ++block) {
        const std::int64_t begin = block * kBlockPoints;
        const std::int64_t points = std::min(kBlockPoints, m_cloud.count - begin);
        std::int64_t rank = m_starts[static_cast<std::size_t>(block)];
        m_raw.resize(static_cast<std::size_t>(points) * size);
        m_cloud.read(attribute, begin, points, m_raw.data());
        for (std::int64_t i = 0; i < points && done < n; ++i) {
            if (!m_keep[static_cast<std::size_t>(begin + i)]) continue;
            if (rank++ < first) continue;
            std::memcpy(target + static_cast<std::size_t>(done) * size,
                        m_raw.data() + static_cast<std::size_t>(i) * size, size);
            ++done;
        }
    }
}

TransformedCloud::TransformedCloud(Cloud& cloud, const Matrix& matrix)
    : m_cloud(cloud), m_matrix(matrix) {
    file_name = cloud.file_name;
    count = cloud.count;
    attributes = cloud.attributes;
    for (Attribute& attribute : attributes) {
        const std::string& name = attribute.name;
        const bool moves = name == "position" || name == "normalPP" || name == "radius";
        if (moves && is_integer(attribute.type)) attribute.type = Type::float64;
    }
    const Imath::V3d a = row_of(matrix, 0);
    const Imath::V3d b = row_of(matrix, 1);
    const Imath::V3d c = row_of(matrix, 2);
    // Cofactors: the inverse transpose times the determinant.
    const Imath::V3d x = b.cross(c);
    const Imath::V3d y = c.cross(a);
    const Imath::V3d z = a.cross(b);
    const double determinant = a.dot(x);
    if (!(std::abs(determinant) > 0) || !std::isfinite(determinant)) {
        throw UsageError("the matrix has no inverse");
    }
    m_normal = Imath::M33d(x.x, x.y, x.z, y.x, y.y, y.z, z.x, z.y, z.z);
    m_normal /= determinant;
    m_scale = std::cbrt(std::abs(determinant));
}

void TransformedCloud::read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) {
    const Attribute& a = attributes[attribute];
    const bool is_position = a.name == "position" && a.width == 3;
    const bool is_normal = a.name == "normalPP" && a.width == 3;
    if (!is_position && !is_normal && a.name != "radius") {
        m_cloud.read(attribute, first, n, out);
        return;
    }
    TypedReader<double> reader(m_cloud, attribute);
    const auto values = reader.read(first, n);
    m_values.assign(values.begin(), values.end());
    for (std::size_t i = 0; i + 2 < m_values.size() && (is_position || is_normal); i += 3) {
        const Imath::V3d p(m_values[i], m_values[i + 1], m_values[i + 2]);
        Imath::V3d q;
        if (is_position) {
            m_matrix.multDirMatrix(p, q);
            q += m_matrix.translation();
        } else {
            q = p * m_normal;
            const double before = std::hypot(p.x, p.y, p.z);
            const double after = std::hypot(q.x, q.y, q.z);
            if (after > 0) q *= before / after;
        }
        m_values[i] = q.x;
        m_values[i + 1] = q.y;
        m_values[i + 2] = q.z;
    }
    if (a.name == "radius") {
        for (double& v : m_values)
            v *= m_scale;
    }
    convert_values(Type::float64, m_values.data(), a.type, out, m_values.size());
}

MergedCloud::MergedCloud(std::vector<Cloud*> clouds, bool renumber)
    : m_clouds(std::move(clouds)), m_renumber(renumber) {
    for (const Cloud* const c : m_clouds) {
        m_starts.push_back(count);
        count += c->count;
        for (const Attribute& a : c->attributes) {
            const int at = find(a.name);
            if (at < 0) {
                attributes.push_back(a);
                continue;
            }
            Attribute& known = attributes[static_cast<std::size_t>(at)];
            if (known.width != a.width) {
                throw FileError(c->file_name, -1,
                                "'" + a.name + "' has " + std::to_string(a.width) +
                                    " values per point, an earlier cloud " +
                                    std::to_string(known.width));
            }
            if (known.type != a.type) {
                known.type =
                    is_integer(known.type) && is_integer(a.type) ? Type::int64 : Type::float64;
            }
        }
    }
    if (m_clouds.empty()) return;
    for (const Attribute& a : attributes) {
        if (renumber && a.name == "id" && a.width == 1) continue;
        for (const Cloud* const c : m_clouds) {
            if (c->find(a.name) >= 0) continue;
            throw FileError(c->file_name, -1,
                            "has no '" + a.name + "', which other clouds have; --fill " + a.name +
                                "=VALUES gives its points one, --drop " + a.name +
                                " leaves it out");
        }
    }
    file_name = m_clouds[0]->file_name;
    // A value for all of one cloud is not one for all of several.
    for (Attribute& a : attributes)
        a.single = a.single && m_clouds.size() == 1;
}

void MergedCloud::read_part(std::size_t attribute, std::size_t cloud, std::int64_t first,
                            std::int64_t n, std::byte* out) {
    const Attribute& a = attributes[attribute];
    Cloud& source = *m_clouds[cloud];
    const auto points = static_cast<std::size_t>(n);
    const auto index = static_cast<std::size_t>(source.find(a.name));
    const Attribute& own = source.attributes[index];
    const std::size_t stored = own.single ? 1 : points;
    m_raw.resize(stored * own.bytes());
    source.read(index, own.single ? 0 : first, own.single ? 1 : n, m_raw.data());
    convert_values(own.type, m_raw.data(), a.type, out, stored * static_cast<std::size_t>(a.width));
    for (std::size_t i = stored; i < points; ++i)
        std::memcpy(out + i * a.bytes(), out, a.bytes());
}

void MergedCloud::read(std::size_t attribute, std::int64_t first, std::int64_t n, void* out) {
    const Attribute& a = attributes[attribute];
    auto* target = static_cast<std::byte*>(out);
    if (m_renumber && a.name == "id" && a.width == 1 && !a.single) {
        for (std::int64_t i = 0; i < n; ++i) {
            const std::int64_t id = first + i;
            convert_values(Type::int64, &id, a.type,
                           target + static_cast<std::size_t>(i) * a.bytes(), 1);
        }
        return;
    }
    for (std::size_t c = 0; c < m_clouds.size() && n > 0; ++c) {
        const std::int64_t end = m_starts[c] + m_clouds[c]->count;
        if (first >= end) continue;
        const std::int64_t here = std::min(n, end - first);
        read_part(attribute, c, first - m_starts[c], here, target);
        target += static_cast<std::size_t>(here) * a.bytes();
        first += here;
        n -= here;
    }
}

} // namespace vx::cache
