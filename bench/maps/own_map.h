// The map engine as a shader uses it: through its public interface, with a functor that filters.
#pragma once

#include "bench/maps/clouds.h"
#include "shader.h"

#include <cmath>
#include <cstddef>
#include <memory>

namespace vx::bench {

using namespace mi::shader_v3;

// A functor as a point cloud shader has it: it filters, after comparing the distance with the limit
// axis by axis.
class ShaderDistance final : public Map_distance<3> {
  public:
    ShaderDistance(const Float3& point, const Float3& normal, const Search& search,
                   Map_field_id tag_id, Map_field_id normal_id)
        : Map_distance<3>(&point.x),
          m_normal(normal),
          m_search(search),
          m_squared(search.radius * search.radius),
          m_tag_id(tag_id),
          m_normal_id(normal_id) {}

    float operator()(const Map_iterator_base* element) const override {
        constexpr float kRejected = 1e36f;
        if (m_search.filter != Filter::none) {
            int tag = 0;
            element->get(m_tag_id, tag);
            if (!passes_label(tag, m_search)) return kRejected;
        }
        const float* const p = element->get_position();
        float sum = 0.0f;
        for (int i = 0; i < 3; ++i) {
            const float d = p[i] - m_point[i];
            sum += d * d;
            if (sum > m_squared) return kRejected;
        }
        if (m_search.filter == Filter::label_cone_facing) {
            miVector n;
            element->get(m_normal_id, n);
            if (!passes_cone_and_facing({n.x, n.y, n.z}, {p[0], p[1], p[2]},
                                        {m_point[0], m_point[1], m_point[2]}, m_normal, m_search)) {
                return kRejected;
            }
        }
        return sum;
    }

  private:
    Float3 m_normal;
    const Search& m_search;
    float m_squared;
    Map_field_id m_tag_id;
    Map_field_id m_normal_id;
};

struct OwnMap {
    std::unique_ptr<Edit_map> edit;
    std::unique_ptr<Access_map> access;
    Map_field_id tag_id = map_no_such_field;
    Map_field_id normal_id = map_no_such_field;

    void fill(const Cloud& cloud) {
        Map_declaration declaration(3);
        declaration->append_field("normalPP", Map_field_type::Vector);
        declaration->append_field("rgbPP", Map_field_type::Vector);
        declaration->append_field("opacityPP", Map_field_type::Scalar);
        declaration->append_field("tag", Map_field_type::Integer);
        tag_id = declaration->get_field_id("tag");
        normal_id = declaration->get_field_id("normalPP");
        access.reset();
        edit = std::make_unique<Edit_map>(declaration);
        Map_element element(declaration);
        for (std::size_t i = 0; i < cloud.points.size(); ++i) {
            element->set_position(&cloud.points[i].x);
            const Float3& n = cloud.normals[i];
            element->set(normal_id, miVector{n.x, n.y, n.z});
            element->set(tag_id, cloud.tags[i]);
            (*edit)->append(element);
        }
    }
    void open() { access = std::make_unique<Access_map>(edit->store()); }

    // A lookup per query, as in a shader.
    Found run(const Queries& queries, std::size_t begin, std::size_t end,
              const Search& search) const {
        Found sum;
        for (std::size_t i = begin; i < end; ++i) {
            Map_lookup lookup(*access);
            lookup->search(
                ShaderDistance(queries.points[i], queries.normals[i], search, tag_id, normal_id),
                static_cast<int>(search.most), search.radius * search.radius);
            Found here;
            here.points = lookup->size();
            for (; !lookup->at_end(); lookup->next()) {
                here.squared_distances += double{lookup->get_squared_distance()};
            }
            sum += here;
        }
        return sum;
    }
};

} // namespace vx::bench
