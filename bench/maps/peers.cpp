#include "bench/maps/peers.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

// Headers of other projects cause these warnings.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wshadow"
#include <embree3/rtcore.h>
#include <nanoflann.hpp>
#pragma GCC diagnostic pop

namespace vx::bench {

namespace {

// What all result sets share: the limit, and the filter of elements that are near enough.
class Filtered {
  public:
    using DistanceType = float;

    Filtered(const Cloud& cloud, const Search& search, const Float3& query, const Float3& normal)
        : m_search(search),
          m_limit(search.radius * search.radius),
          m_cloud(cloud),
          m_query(query),
          m_normal(normal) {}

    // NOLINTBEGIN(readability-identifier-naming): nanoflann calls these by name.
    // It passes only points that are nearer than worstDist; points at the limit count, too.
    float worstDist() const { return std::nextafter(m_limit, std::numeric_limits<float>::max()); }
    // NOLINTEND(readability-identifier-naming)
    float limit() const { return m_limit; }

  protected:
    bool passes(float distance, std::size_t index) const {
        if (distance > m_limit) return false;
        if (m_search.filter != Filter::none && !passes_label(m_cloud.tags[index], m_search))
            return false;
        return m_search.filter != Filter::label_cone_facing ||
               passes_cone_and_facing(m_cloud.normals[index], m_cloud.points[index], m_query,
                                      m_normal, m_search);
    }

    const Search& m_search;
    float m_limit;

  private:
    const Cloud& m_cloud;
    const Float3 m_query;
    const Float3 m_normal;
};

// The nearest elements so far, sorted.
class Sorted : public Filtered {
  public:
    using Filtered::Filtered;

    // NOLINTBEGIN(readability-identifier-naming): nanoflann calls these by name.
    bool full() const { return m_count == m_search.most; }
    std::size_t size() const { return m_count; }
    bool addPoint(float distance, std::size_t index) {
        if (!passes(distance, index)) return true;
        unsigned place = m_count;
        if (full()) {
            if (distance >= m_distances[m_count - 1]) return true;
            --place;
        } else {
            ++m_count;
        }
        for (; place > 0 && m_distances[place - 1] > distance; --place) {
            m_distances[place] = m_distances[place - 1];
            m_indices[place] = m_indices[place - 1];
        }
        m_distances[place] = distance;
        m_indices[place] = static_cast<std::uint32_t>(index);
        if (full()) m_limit = m_distances[m_count - 1];
        return true;
    }
    // NOLINTEND(readability-identifier-naming)

    Found found() {
        Found sum;
        sum.points = m_count;
        for (unsigned i = 0; i < m_count; ++i)
            sum.squared_distances += double{m_distances[i]};
        return sum;
    }

  private:
    unsigned m_count = 0;
    float m_distances[kMostSorted];
    std::uint32_t m_indices[kMostSorted];
};

// The nearest elements and others, unsorted. With kCut the others are dropped, and the limit is
// lowered, when there are as many as elements are wanted.
template <bool kCut>
class Unsorted : public Filtered {
  public:
    Unsorted(const Cloud& cloud, const Search& search, const Float3& query, const Float3& normal)
        : Filtered(cloud, search, query, normal) {
        m_found.clear();
    }

    // NOLINTBEGIN(readability-identifier-naming): nanoflann calls these by name.
    bool full() const { return false; }
    std::size_t size() const { return m_found.size(); }
    bool addPoint(float distance, std::size_t index) {
        if (!passes(distance, index)) return true;
        m_found.emplace_back(distance, static_cast<std::uint32_t>(index));
        if (kCut && m_found.size() >= std::size_t{2} * m_search.most) {
            cut();
            m_limit = m_found.back().first;
        }
        return true;
    }
    // NOLINTEND(readability-identifier-naming)

    Found found() {
        if (m_found.size() > m_search.most) cut();
        std::sort(m_found.begin(), m_found.end());
        Found sum;
        sum.points = m_found.size();
        for (const auto& [distance, index] : m_found)
            sum.squared_distances += double{distance};
        return sum;
    }

  private:
    void cut() {
        const auto last = m_found.begin() + (m_search.most - 1);
        std::nth_element(m_found.begin(), last, m_found.end());
        m_found.resize(m_search.most);
    }

    // Keeps its memory from query to query.
    static inline thread_local std::vector<std::pair<float, std::uint32_t>> m_found;
};

struct Adaptor {
    const Cloud& cloud;
    std::size_t kdtree_get_point_count() const { return cloud.points.size(); }
    float kdtree_get_pt(std::size_t index, std::size_t axis) const {
        return (&cloud.points[index].x)[axis];
    }
    template <class Box>
    bool kdtree_get_bbox(Box&) const {
        return false;
    }
};

const char* name_of(Collect collect, const char* sorted, const char* buffer, const char* all) {
    return collect == Collect::sorted ? sorted : collect == Collect::buffer ? buffer : all;
}

template <class Nearest>
class Nanoflann final : public Peer {
  public:
    Nanoflann(const Cloud& cloud, const char* name)
        : m_name(name), m_cloud(cloud), m_adaptor{cloud} {}
    const char* name() const override { return m_name; }
    void build() override {
        m_tree =
            std::make_unique<Tree>(3, m_adaptor, nanoflann::KDTreeSingleIndexAdaptorParams(10));
        m_tree->buildIndex();
    }
    Found run(const Queries& queries, std::size_t begin, std::size_t end,
              const Search& search) const override {
        Found sum;
        const nanoflann::SearchParams params;
        for (std::size_t i = begin; i < end; ++i) {
            Nearest nearest(m_cloud, search, queries.points[i], queries.normals[i]);
            m_tree->findNeighbors(nearest, &queries.points[i].x, params);
            sum += nearest.found();
        }
        return sum;
    }

  private:
    using Metric = nanoflann::L2_Simple_Adaptor<float, Adaptor>;
    using Tree = nanoflann::KDTreeSingleIndexAdaptor<Metric, Adaptor, 3, std::uint32_t>;
    const char* m_name;
    const Cloud& m_cloud;
    Adaptor m_adaptor;
    std::unique_ptr<Tree> m_tree;
};

template <class Nearest>
struct EmbreeQuery {
    const Cloud* cloud;
    Nearest* nearest;
    Float3 point;
};

void point_bounds(const RTCBoundsFunctionArguments* args) {
    const Float3& p = static_cast<const Cloud*>(args->geometryUserPtr)->points[args->primID];
    RTCBounds& b = *args->bounds_o;
    b.lower_x = b.upper_x = p.x;
    b.lower_y = b.upper_y = p.y;
    b.lower_z = b.upper_z = p.z;
}

template <class Nearest>
bool point_candidate(RTCPointQueryFunctionArguments* args) {
    const auto& query = *static_cast<const EmbreeQuery<Nearest>*>(args->userPtr);
    const Float3& p = query.cloud->points[args->primID];
    const float dx = query.point.x - p.x;
    const float dy = query.point.y - p.y;
    const float dz = query.point.z - p.z;
    const float before = query.nearest->limit();
    query.nearest->addPoint(dx * dx + dy * dy + dz * dz, args->primID);
    if (query.nearest->limit() == before) return false;
    // Round up, so that no point is lost.
    args->query->radius = std::sqrt(query.nearest->limit()) * 1.000001f;
    return true;
}

template <class Nearest>
class Embree final : public Peer {
  public:
    Embree(const Cloud& cloud, const char* name)
        : m_name(name), m_cloud(cloud), m_device(rtcNewDevice("threads=1")) {
        if (m_device == nullptr) throw std::runtime_error("no Embree device");
    }
    Embree(const Embree&) = delete;
    Embree& operator=(const Embree&) = delete;
    ~Embree() override {
        if (m_scene != nullptr) rtcReleaseScene(m_scene);
        rtcReleaseDevice(m_device);
    }
    const char* name() const override { return m_name; }
    void build() override {
        if (m_scene != nullptr) rtcReleaseScene(m_scene);
        m_scene = rtcNewScene(m_device);
        RTCGeometry geometry = rtcNewGeometry(m_device, RTC_GEOMETRY_TYPE_USER);
        rtcSetGeometryUserPrimitiveCount(geometry, static_cast<unsigned>(m_cloud.points.size()));
        // The callbacks only read through the user pointer.
        rtcSetGeometryUserData(geometry, const_cast<Cloud*>(&m_cloud));
        rtcSetGeometryBoundsFunction(geometry, point_bounds, nullptr);
        rtcSetGeometryPointQueryFunction(geometry, point_candidate<Nearest>);
        rtcCommitGeometry(geometry);
        rtcAttachGeometry(m_scene, geometry);
        rtcReleaseGeometry(geometry);
        rtcCommitScene(m_scene);
    }
    Found run(const Queries& queries, std::size_t begin, std::size_t end,
              const Search& search) const override {
        Found sum;
        for (std::size_t i = begin; i < end; ++i) {
            Nearest nearest(m_cloud, search, queries.points[i], queries.normals[i]);
            EmbreeQuery<Nearest> user{&m_cloud, &nearest, queries.points[i]};
            RTCPointQuery query;
            query.x = queries.points[i].x;
            query.y = queries.points[i].y;
            query.z = queries.points[i].z;
            query.time = 0.0f;
            query.radius = search.radius * 1.000001f;
            RTCPointQueryContext context;
            rtcInitPointQueryContext(&context);
            rtcPointQuery(m_scene, &query, &context, nullptr, &user);
            sum += nearest.found();
        }
        return sum;
    }

  private:
    const char* m_name;
    const Cloud& m_cloud;
    RTCDevice m_device;
    RTCScene m_scene = nullptr;
};

} // namespace

namespace {

template <template <class> class P>
std::unique_ptr<Peer> make_peer(const Cloud& cloud, Collect collect, const char* name) {
    switch (collect) {
    case Collect::sorted:
        return std::make_unique<P<Sorted>>(cloud, name);
    case Collect::buffer:
        return std::make_unique<P<Unsorted<true>>>(cloud, name);
    case Collect::all:
        return std::make_unique<P<Unsorted<false>>>(cloud, name);
    }
    return nullptr;
}

} // namespace

std::unique_ptr<Peer> make_nanoflann(const Cloud& cloud, Collect collect) {
    return make_peer<Nanoflann>(
        cloud, collect, name_of(collect, "nanoflann", "nanoflann, buffer", "nanoflann, radius"));
}

std::unique_ptr<Peer> make_embree(const Cloud& cloud, Collect collect) {
    return make_peer<Embree>(cloud, collect,
                             name_of(collect, "Embree", "Embree, buffer", "Embree, radius"));
}

} // namespace vx::bench
