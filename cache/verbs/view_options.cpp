#include "cache/verbs/view_options.h"

#include "cache/formats/text.h"
#include "cache/html/page.h"
#include "cache/picture/color_map.h"
#include "cache/verbs/sequence.h"

#include <cmath>

namespace vx::cache {

namespace {

constexpr std::int64_t kLongestSide = 32768;
constexpr std::int64_t kMostPixels = std::int64_t{1} << 26;

Vec parse_vec(const std::string& text, const std::string& option) {
    const std::vector<double> v = parse_numbers(text, 3, option);
    const Vec out{v[0], v[1], v[2]};
    if (!is_finite(out)) throw UsageError(option + ": '" + text + "' is not finite");
    return out;
}

} // namespace

bool is_possible_size(std::int64_t width, std::int64_t height) {
    return width >= 1 && height >= 1 && width <= kLongestSide && height <= kLongestSide &&
           width * height <= kMostPixels;
}

void ViewOptions::add(CLI::App& app) {
    app.add_option("input", input,
                   "a cloud; #### stands for the frame number, - for standard input")
        ->required();
    app.add_option("-o,--output", output, "the picture: a name that ends in .png or .exr");
    app.add_option("--html", html,
                   "an interactive page for browsers: one file, which needs no network");
    app.add_option("--max-points", page_points,
                   "number of points of the page; a larger cloud is sampled evenly")
        ->check(CLI::Range(std::int64_t{1}, kMostPagePoints))
        ->capture_default_str();
    app.add_option("--frames", frames,
                   "frames of a #### name, as 1-100x2 (default: all existing files); @@@@, %04d "
                   "and $F4 mean the same as ####");
    app.add_flag("-f,--force", force, "replace existing files");

    const char* const look = "Appearance";
    app.add_option("--by", style.by,
                   "attribute that colors the points; for vectors NAME.x, NAME.length or NAME.rgb "
                   "(default: rgbPP)")
        ->group(look);
    app.add_option(
           "--range", m_range,
           "min,max: range of values that the colors cover (default: the range of the data)")
        ->group(look);
    app.add_flag_callback(
           "--flat", [this] { style.lit = false; },
           "unshaded colors (default: lit from the upper left)")
        ->group(look);
    app.add_flag("--raw", raw,
                 "png: store linear values, as vx_render does (default: sRGB, for display)")
        ->group(look);
    app.add_option_function<std::string>(
           "--labels", [this](const std::string& text) { style.labels = text; },
           "only the points of these labels, as 1,3,5-7")
        ->group(look);
    app.add_option_function<double>(
           "--radius", [this](double r) { style.radius = r; },
           "radius of all discs (default: the radius of each point, or the distance between "
           "neighbors)")
        ->group(look);
    app.add_option("--radius-scale", style.radius_scale, "factor for the radii of the discs")
        ->group(look);
    app.add_option("--background", m_background,
                   "r,g,b from 0 to 1, stored unchanged (default: dark gray)")
        ->group(look);
    app.add_flag_callback(
           "--no-legend", [this] { legend = false; }, "omit the color bar")
        ->group(look);
    app.add_option("--samples", style.samples, "antialiasing samples per pixel and axis")
        ->check(CLI::Range(1, 8))
        ->capture_default_str()
        ->group(look);
    app.add_option("--size", m_size, "WxH pixels (default: 1280x960, or the scene's)")->group(look);

    const char* const where = "Camera";
    app.add_option("--view", camera.view, "front, back, left, right, top or bottom")
        ->check(CLI::IsMember({"front", "back", "left", "right", "top", "bottom"}))
        ->group(where);
    app.add_option("--from", m_from, "x,y,z: position of the eye")->group(where);
    app.add_option("--to", m_to, "x,y,z: the point to look at (default: the center)")->group(where);
    app.add_option("--up", m_up, "x,y,z: the up direction (default: 0,1,0)")->group(where);
    app.add_option("--fov", camera.field_of_view, "horizontal field of view, in degrees")
        ->capture_default_str()
        ->group(where);
    app.add_flag("--ortho", camera.orthographic, "orthographic projection")->group(where);
    app.add_option("--camera", camera.scene,
                   "scene.mi or scene.mi:instance: the camera of a scene, pixel by pixel")
        ->group(where);
    app.add_option("--turntable", turntable,
                   "number of pictures around the up axis: NAME.0001.png, or #### in the name")
        ->check(CLI::Range(1, 100000))
        ->group(where);
}

void ViewOptions::settle() {
    if (output.empty() && html.empty()) throw UsageError("needs --output, --html or both");
    if (!html.empty() && has_frame_field(input) != has_frame_field(html)) {
        throw UsageError("--html: either both names have #### or neither");
    }
    if (!html.empty() && !output.empty() && input == "-") {
        throw UsageError("standard input can be read only once: use --output or --html, not both");
    }
    if (style.labels) need_labels("--labels", *style.labels);
    if (!m_range.empty()) {
        const std::vector<double> r = parse_numbers(m_range, 2, "--range");
        if (!(r[0] < r[1]) || !std::isfinite(r[1] - r[0])) {
            throw UsageError("--range: '" + m_range + "' does not go from less to more");
        }
        range = {r[0], r[1]};
    }
    if (output.empty()) {
        const CameraChoice& c = camera;
        const bool placed = !m_from.empty() || !m_to.empty() || !m_up.empty() || !c.view.empty() ||
                            c.orthographic || !c.scene.empty();
        if (placed || turntable > 0 || !m_size.empty() || !m_background.empty() || style.radius ||
            style.radius_scale != 1) {
            throw UsageError("of the options for looks and camera, --html knows --by, --range and "
                             "--labels; the others are set in the page");
        }
        return;
    }
    const ImageFormat file = format();
    if (!m_size.empty()) {
        const std::size_t x = m_size.find('x');
        const auto width = parse_int(m_size.substr(0, x));
        const auto height = x == std::string::npos ? std::nullopt : parse_int(m_size.substr(x + 1));
        if (!width || !height) throw UsageError("--size: '" + m_size + "' is not like 1280x960");
        if (!is_possible_size(*width, *height)) {
            throw UsageError("--size: '" + m_size + "' cannot be made; sides are 1 to " +
                             std::to_string(kLongestSide) + " pixels, and " +
                             std::to_string(kMostPixels / 1000000) + " million together");
        }
        camera.width = static_cast<int>(*width);
        camera.height = static_cast<int>(*height);
    }
    style.background = {0.012f, 0.013f, 0.016f};
    if (!m_background.empty()) {
        const Vec b = parse_vec(m_background, "--background");
        style.background = {static_cast<float>(b.x), static_cast<float>(b.y),
                            static_cast<float>(b.z)};
        if (file == ImageFormat::png && !raw) style.background = from_display(style.background);
    }
    if (style.radius && !(*style.radius >= 0 && std::isfinite(*style.radius))) {
        throw UsageError("--radius: must not be below 0");
    }
    if (!(style.radius_scale > 0) || !std::isfinite(style.radius_scale)) {
        throw UsageError("--radius-scale: must be above 0");
    }
    if (!m_from.empty()) camera.from = parse_vec(m_from, "--from");
    if (!m_to.empty()) camera.to = parse_vec(m_to, "--to");
    if (!m_up.empty()) camera.up = parse_vec(m_up, "--up");
    if (!(length(camera.up) > 0)) throw UsageError("--up: the direction has no length");
    camera.up = normalized(camera.up);
    if (!(camera.field_of_view >= 0.1 && camera.field_of_view <= 170)) {
        throw UsageError("--fov: must be from 0.1 to 170 degrees");
    }
    const bool placed = camera.from || camera.to;
    if (placed && !camera.view.empty()) throw UsageError("--view excludes --from and --to");
    if (camera.from && camera.to && *camera.from == *camera.to) {
        throw UsageError("--from and --to are the same place");
    }
    if (!camera.scene.empty() && (placed || !camera.view.empty() || camera.orthographic)) {
        throw UsageError("--camera excludes --from, --to, --view and --ortho");
    }
    if (turntable > 0 && has_frame_field(input)) {
        throw UsageError("--turntable applies to one cloud, not to a sequence of frames");
    }
    if (turntable == 0 && has_frame_field(input) != has_frame_field(output)) {
        throw UsageError("either both names have #### or neither");
    }
    if (turntable > 0 && !has_frame_field(output)) {
        output.insert(output.rfind('.'), ".####");
    }
}

ImageFormat ViewOptions::format() const {
    const auto found = image_format_of_name(output);
    if (!found) throw UsageError("--output: '" + output + "' ends neither in .png nor in .exr");
    return *found;
}

} // namespace vx::cache
