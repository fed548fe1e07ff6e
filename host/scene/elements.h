// The elements of a scene except objects. Elements are delivered complete: the reader merges
// `incremental` definitions with the earlier contents. The initial values of the members are the
// defaults of the scene language.
#pragma once

#include "host/image/filter_kind.h"
#include "host/scene/values.h"

#include <cstddef>
#include <map>
#include <optional>

namespace vx::scene {

// Common to all named elements.
struct Element {
    std::string name;
    Location where;           // of the name
    bool incremental = false; // an existing element of this name is replaced in either case
};

enum class Face : std::uint8_t { front = 1, back = 2, both = 3 };

enum class ShadowMode : std::uint8_t { off, on, sort, segments };
using image::FilterKind;
enum class Space : std::uint8_t { object, camera, mixed };
enum class ColorClip : std::uint8_t { rgb, alpha, raw };

struct Filter {
    FilterKind kind = FilterKind::box;
    bool clip = false;
    float width = 1, height = 1; // pixels; the default size of the kind if not given
};

// The value of a string option: a boolean, a string, or numbers.
using OptionValue = std::variant<bool, std::string, std::vector<Number>>;

struct Options : Element {
    bool trace = true;
    bool scanline = true;
    int reflection_depth = 2, refraction_depth = 2, trace_depth = 4;
    int min_samples = -2, max_samples = 0; // a pixel has 4^min to 4^max samples
    int default_min_samples = -128, default_max_samples = 127;
    Color contrast = {0.1f, 0.1f, 0.1f, 0.1f};
    Color time_contrast = {0.2f, 0.2f, 0.2f, 0.2f};
    Filter filter;
    float jitter = 0;
    bool samplelock = true;
    ShadowMode shadow = ShadowMode::on;
    Face face = Face::both;
    Space space = Space::object;
    float max_displace = 0;
    float shutter_delay = 0, shutter = 0; // motion blur is on when shutter > 0, see motion
    bool motion = false;
    int motion_steps = 1;
    bool lens = true, volume = true, geometry = true, displace = true, output = true, merge = true,
         hair = true, pass = true, lightmap = true, autovolume = false;
    bool desaturate = false, dither = true, premultiply = true;
    ColorClip colorclip = ColorClip::raw;
    float gamma = 1;
    int task_size = 0; // pixels; 0: automatic
    ShaderList state;
    std::string inheritance, traversal;
    std::vector<std::string> data;
    std::map<std::string, OptionValue, std::less<>> strings;
};

// One output statement of a camera: a file, or an output shader.
struct Output {
    std::string types;  // "rgba", "+rgb_fp,z", … as written; empty: the default of the format
    std::string format; // "png"
    std::string file;   // as written, not yet substituted
    std::optional<int> quality;
    std::optional<float> dpi;
    std::string compression;
    ShaderList shader; // not empty for an output shader, which has no format and file
    Location where;
};

struct FrameBuffer {
    std::string name;
    std::string datatype;    // "rgba_h", …
    std::string filename;    // as written; empty: not written to a file
    std::string filetype;    // "exr", …
    std::string compression; // empty: the default of the format
    std::optional<bool> filtering, primary, premultiplied, tiled, user, useopacity, useprimary;
    std::optional<int> quality, dpi;
    Location where;
};

struct Window {
    int xl = 0, yl = 0, xh = 0, yh = 0; // pixels from the lower left corner
};

struct Camera : Element {
    std::vector<Output> outputs;
    std::vector<FrameBuffer> framebuffers;
    ShaderList lens, volume, environment;
    bool orthographic = false;
    float focal = 1; // 1 when orthographic
    float aperture = 1;
    float aspect = 1.33f;
    int x_resolution = 768, y_resolution = 576; // both at least 1
    std::optional<Window> window;               // none: the whole image
    float x_offset = 0, y_offset = 0;
    float clip_near = 0.0001f, clip_far = 1000000;
    std::optional<std::array<float, 2>> dof; // focus, radius
    int frame = 0;
    float frame_time = 0;
    int field = 0;
    std::vector<std::string> data;
};

enum class LightKind : std::uint8_t { point, directional, spot };
enum class AreaKind : std::uint8_t { none, rectangle, disc, sphere, cylinder, object, user };

struct AreaShape {
    AreaKind kind = AreaKind::none;
    Vec3 u, v;        // rectangle: edges; disc, cylinder: u is the normal or axis
    float radius = 0; // disc, sphere, cylinder
    std::string object;
    int samples_u = 3, samples_v = 3;
};

struct Light : Element {
    ShaderList shaders, emitter;
    std::optional<Vec3> origin;
    std::optional<Vec3> direction; // normalized
    std::optional<float> spread;   // cosine of the half angle of the outer cone
    Color energy = {0, 0, 0, 1};
    float exponent = 2;
    bool visible = false;
    std::uint32_t label = 0;
    AreaShape area;
    std::vector<std::string> data;

    // Depends on which of origin, direction and spread are set.
    LightKind kind() const;
};

enum class TextureKind : std::uint8_t { color, scalar, vector };

struct Texture : Element {
    TextureKind kind = TextureKind::color;
    bool local = false, writable = false;
    std::optional<float> filter; // pyramid filtering with this scale
    // Exactly one of the following three is set.
    std::string file; // as written, not yet substituted
    struct Pixels {
        int width = 0, height = 0, bytes_per_component = 1;
        std::vector<std::byte> bytes; // may be fewer than the size requires
    };
    std::optional<Pixels> pixels;
    ShaderList shaders;
};

struct Material : Element {
    bool opaque = false;
    ShaderList surface; // may be empty
    ShaderList displace, shadow, volume, environment, contour, photon, photonvol, lightmap,
        hardware, bsdf;
};

struct NamedShader : Element {
    ShaderList shaders; // usually one
};

struct UserData : Element {
    std::uint32_t label = 0;
    // Exactly one of the following three is set.
    std::string file; // as written, not yet substituted
    std::vector<std::byte> bytes;
    std::optional<ShaderCall> call; // declared by `declare data`
};

// The values of miInstance.
enum class Switch : std::uint8_t { unset = 0, off = 1, on = 2 };

// Flags of an instance. Unset flags are inherited from parent instances or the object. Ray flags:
// the values 1 and 2 turn casting and receiving on, 4 and 8 turn them off; 0 is unset.
struct InstanceFlags {
    Switch visible = Switch::unset, shadowmap = Switch::unset, select = Switch::unset,
           hardware = Switch::unset;
    std::uint8_t shadow = 0, reflection = 0, refraction = 0, transparency = 0, caustic = 0,
                 globillum = 0, finalgather = 0;
    std::optional<Face> face;
};

enum class MotionKind : std::uint8_t { inherit, transform, off };

// Names of light instances or of groups of light instances.
struct LightList {
    bool exclusive = false; // all but these
    std::vector<std::string> lights;
};

struct Instance : Element {
    std::string item;            // camera, light, object or instance group; checked
    ShaderList geometry_shaders; // instead of an item
    // From parent space to item space; never singular. None: the identity.
    std::optional<Matrix> transform;
    ShaderList transform_shader; // computes the matrix
    MotionKind motion = MotionKind::inherit;
    Matrix motion_transform = kIdentityMatrix; // MotionKind::transform
    // `material "m"`: one name, and material_list is false. `material [ … ]`: any number of names,
    // and material_list is true, which differs even for one name. All names are checked.
    std::vector<std::string> materials;
    bool material_list = false;
    bool override_material = false;
    std::optional<LightList> lights;        // lights of the instance; none: not given
    std::optional<LightList> shadow_lights; // lights that cast shadows on it
    bool hide = false;
    InstanceFlags flags;
    std::uint32_t label = 0;
    std::vector<std::string> data;
};

struct InstanceGroup : Element {
    std::vector<std::string> members; // instances; checked
    float merge = 0;
    std::uint32_t label = 0;
    std::vector<std::string> data;
};

} // namespace vx::scene
