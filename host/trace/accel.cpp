#include "host/trace/accel.h"

#include <embree3/rtcore.h>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <unordered_map>

namespace vx::trace {

namespace {

// What the filter needs to know about the ray.
struct IntersectContext {
    RTCIntersectContext base; // first: Embree passes its address to the filter
    const std::vector<Placement>* placements = nullptr;
    const Primitive* ignore = nullptr;
    bool faces = false;
    std::vector<Hit>* all = nullptr;
    std::size_t limit = 0;
};

std::uint32_t placement_of(const RTCHit& hit) {
    return hit.instID[0] != RTC_INVALID_GEOMETRY_ID ? hit.instID[0] : hit.geomID;
}

bool accepted(const IntersectContext& context, const RTCRay& ray, const RTCHit& hit) {
    const std::uint32_t placement = placement_of(hit);
    if (context.ignore != nullptr && context.ignore->placement == placement &&
        context.ignore->triangle == hit.primID)
        return false;
    if (context.faces) {
        const Placement& p = (*context.placements)[placement];
        if (p.eye_face != 3) {
            // Embree's normal is in the space of the mesh, and so is the ray within an instance.
            const float d = ray.dir_x * hit.Ng_x + ray.dir_y * hit.Ng_y + ray.dir_z * hit.Ng_z;
            const int side = (d < 0.0f) != p.mirrored ? miFACE_FRONT : miFACE_BACK;
            if ((p.eye_face & side) == 0) return false;
        }
    }
    return true;
}

void filter(const RTCFilterFunctionNArguments* args) {
    auto& context = *reinterpret_cast<IntersectContext*>(args->context);
    if (args->valid[0] != -1) return;
    const RTCRay ray = rtcGetRayFromRayN(args->ray, args->N, 0);
    const RTCHit hit = rtcGetHitFromHitN(args->hit, args->N, 0);
    if (!accepted(context, ray, hit)) {
        args->valid[0] = 0;
        return;
    }
    if (context.all != nullptr) {
        context.all->push_back({{placement_of(hit), hit.primID}, ray.tfar, hit.u, hit.v});
        // Embree goes on to the next surface after each one that is rejected.
        if (context.all->size() < context.limit) args->valid[0] = 0;
    }
}

struct SceneRelease {
    void operator()(RTCScene scene) const { rtcReleaseScene(scene); }
};
using SceneHandle = std::unique_ptr<std::remove_pointer_t<RTCScene>, SceneRelease>;

} // namespace

class Accel::Impl {
  public:
    explicit Impl(const std::string& config) {
        device = rtcNewDevice(config.empty() ? nullptr : config.c_str());
        if (device == nullptr) throw std::runtime_error("the ray tracer cannot start");
        top = new_scene();
    }
    ~Impl() {
        top.reset();
        shared.clear();
        if (device != nullptr) rtcReleaseDevice(device);
    }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    SceneHandle new_scene() const {
        SceneHandle scene(rtcNewScene(device));
        check("scene");
        rtcSetSceneFlags(scene.get(),
                         static_cast<RTCSceneFlags>(RTC_SCENE_FLAG_ROBUST |
                                                    RTC_SCENE_FLAG_CONTEXT_FILTER_FUNCTION));
        return scene;
    }

    void check(const char* what) const {
        const RTCError error = rtcGetDeviceError(device);
        if (error == RTC_ERROR_NONE) return;
        throw std::runtime_error(
            std::string("the ray tracer fails (") + what +
            "): " + (error == RTC_ERROR_OUT_OF_MEMORY ? "out of memory" : "internal error"));
    }

    void add_mesh(RTCScene scene, unsigned id, const scene::Mesh& mesh, const Matrix* to_world,
                  unsigned mask) const {
        RTCGeometry geometry = rtcNewGeometry(device, RTC_GEOMETRY_TYPE_TRIANGLE);
        // Embree adds the padding that it needs to buffers that it allocates.
        auto* const vertices = static_cast<float*>(rtcSetNewGeometryBuffer(
            geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, 3 * sizeof(float),
            std::max<std::size_t>(1, mesh.positions.size())));
        auto* const indices = static_cast<std::uint32_t*>(rtcSetNewGeometryBuffer(
            geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, 3 * sizeof(std::uint32_t),
            std::max<std::size_t>(1, mesh.triangles.size())));
        if (vertices == nullptr || indices == nullptr) {
            rtcReleaseGeometry(geometry);
            check("mesh");
            throw std::runtime_error("the ray tracer fails (mesh): out of memory");
        }
        for (std::size_t i = 0; i < mesh.positions.size(); ++i) {
            miVector p = to_vector(mesh.positions[i]);
            if (to_world != nullptr) p = point(*to_world, p);
            vertices[3 * i] = p.x;
            vertices[3 * i + 1] = p.y;
            vertices[3 * i + 2] = p.z;
        }
        for (std::size_t i = 0; i < mesh.triangles.size(); ++i)
            std::copy_n(mesh.triangles[i].begin(), 3, indices + 3 * i);
        rtcSetGeometryMask(geometry, mask);
        rtcCommitGeometry(geometry);
        rtcAttachGeometryByID(scene, geometry, id);
        rtcReleaseGeometry(geometry);
        check("mesh");
    }

    void add_instance(unsigned id, RTCScene scene, const Matrix& to_world, unsigned mask) const {
        RTCGeometry geometry = rtcNewGeometry(device, RTC_GEOMETRY_TYPE_INSTANCE);
        rtcSetGeometryInstancedScene(geometry, scene);
        // Rows of a matrix for row vectors are columns of one for column vectors.
        rtcSetGeometryTransform(geometry, 0, RTC_FORMAT_FLOAT4X4_COLUMN_MAJOR, to_world.getValue());
        rtcSetGeometryMask(geometry, mask);
        rtcCommitGeometry(geometry);
        rtcAttachGeometryByID(top.get(), geometry, id);
        rtcReleaseGeometry(geometry);
        check("instance");
    }

    RTCDevice device = nullptr;
    SceneHandle top;
    std::unordered_map<const scene::Mesh*, SceneHandle> shared;
};

Accel::Accel(std::span<const Placement> placements, const std::string& config)
    : m_placements(placements.begin(), placements.end()), m_impl(std::make_unique<Impl>(config)) {
    std::unordered_map<const scene::Mesh*, std::size_t> uses;
    for (Placement& p : m_placements) {
        p.mirrors = trace::mirrors(p.to_world);
        ++uses[p.mesh];
        m_faces_matter = m_faces_matter || p.eye_face != miFACE_BOTH;
    }
    for (std::size_t i = 0; i < m_placements.size(); ++i) {
        const Placement& p = m_placements[i];
        if (p.mesh->triangles.empty()) continue;
        m_triangles += p.mesh->triangles.size();
        const auto id = static_cast<unsigned>(i);
        if (uses[p.mesh] == 1) {
            m_placements[i].mirrored = p.mirrors;
            m_impl->add_mesh(m_impl->top.get(), id, *p.mesh, p.at_origin ? nullptr : &p.to_world,
                             p.mask);
            continue;
        }
        SceneHandle& scene = m_impl->shared[p.mesh];
        if (!scene) {
            scene = m_impl->new_scene();
            m_impl->add_mesh(scene.get(), 0, *p.mesh, nullptr, ~0u);
            rtcCommitScene(scene.get());
            m_impl->check("tree");
        }
        m_impl->add_instance(id, scene.get(), p.to_world, p.mask);
    }
    rtcCommitScene(m_impl->top.get());
    m_impl->check("tree");
}

Accel::~Accel() = default;

namespace {

void fill(RTCRay& to, const Ray& ray) {
    to.org_x = ray.origin.x;
    to.org_y = ray.origin.y;
    to.org_z = ray.origin.z;
    to.tnear = ray.near_limit;
    to.dir_x = ray.direction.x;
    to.dir_y = ray.direction.y;
    to.dir_z = ray.direction.z;
    to.time = 0.0f;
    to.tfar = ray.far_limit > 0.0f ? ray.far_limit : std::numeric_limits<float>::infinity();
    to.mask = ray.mask;
    to.id = 0;
    to.flags = 0;
}

IntersectContext make_context(const Ray& ray, const std::vector<Placement>& placements,
                              bool faces) {
    IntersectContext context{};
    rtcInitIntersectContext(&context.base);
    context.placements = &placements;
    context.ignore = ray.ignore;
    context.faces = faces;
    if (ray.ignore != nullptr || faces) context.base.filter = filter;
    return context;
}

} // namespace

bool Accel::intersect(const Ray& ray, Hit& hit) const {
    if (!finite(ray.origin) || !finite(ray.direction)) return false;
    RTCRayHit query;
    fill(query.ray, ray);
    query.hit.geomID = RTC_INVALID_GEOMETRY_ID;
    query.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
    IntersectContext context = make_context(ray, m_placements, ray.faces && m_faces_matter);
    rtcIntersect1(m_impl->top.get(), &context.base, &query);
    if (query.hit.geomID == RTC_INVALID_GEOMETRY_ID) return false;
    hit.primitive = {placement_of(query.hit), query.hit.primID};
    hit.distance = query.ray.tfar;
    hit.u = query.hit.u;
    hit.v = query.hit.v;
    return true;
}

bool Accel::occluded(const Ray& ray) const {
    if (!finite(ray.origin) || !finite(ray.direction)) return false;
    RTCRay query;
    fill(query, ray);
    IntersectContext context = make_context(ray, m_placements, ray.faces && m_faces_matter);
    rtcOccluded1(m_impl->top.get(), &context.base, &query);
    return query.tfar < 0.0f;
}

void Accel::all(const Ray& ray, std::vector<Hit>& hits, std::size_t limit) const {
    hits.clear();
    if (limit == 0 || !finite(ray.origin) || !finite(ray.direction)) return;
    RTCRay query;
    fill(query, ray);
    IntersectContext context = make_context(ray, m_placements, ray.faces && m_faces_matter);
    context.base.filter = filter;
    context.all = &hits;
    context.limit = limit;
    rtcOccluded1(m_impl->top.get(), &context.base, &query);
    std::sort(hits.begin(), hits.end(), [](const Hit& a, const Hit& b) {
        if (a.distance != b.distance) return a.distance < b.distance;
        if (a.primitive.placement != b.primitive.placement)
            return a.primitive.placement < b.primitive.placement;
        return a.primitive.triangle < b.primitive.triangle;
    });
    // A triangle that the tree splits may be found twice.
    hits.erase(std::unique(hits.begin(), hits.end(),
                           [](const Hit& a, const Hit& b) { return a.primitive == b.primitive; }),
               hits.end());
}

} // namespace vx::trace
