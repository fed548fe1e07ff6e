#include "host/render/command_line.h"

#include "host/scene/frame_list.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

namespace vx::render {

namespace {

// A long option and the number of its values. Options with a varying number of values are joined
// with commas into one argument, so that a scene file after them is not taken for another value.
struct LongOption {
    std::string_view name;
    int words = 0;       // words before the numbers
    int max_numbers = 0; // 0 without words: a flag
    bool joined = false;
};

constexpr std::array kLongOptions{
    LongOption{"help"},
    LongOption{"version"},
    LongOption{"parse"},
    LongOption{"quiet"},
    LongOption{"strict"},
    LongOption{"progress", 1},
    LongOption{"verbose", 1},
    LongOption{"threads", 1},
    LongOption{"render", 0, 3, true},
    LongOption{"frames", 1},
    LongOption{"skip_existing"},
    LongOption{"file_name", 1},
    LongOption{"file_type", 1},
    LongOption{"file_dir", 1},
    LongOption{"resolution", 0, 2, true},
    LongOption{"window", 0, 4, true},
    LongOption{"samples", 0, 2, true},
    LongOption{"contrast", 0, 4, true},
    LongOption{"filter", 1, 2, true},
    LongOption{"jitter", 1},
    LongOption{"aperture", 1},
    LongOption{"aspect", 1},
    LongOption{"focal", 1},
    LongOption{"trace", 1},
    LongOption{"trace_depth", 0, 3, true},
    LongOption{"shadow", 1},
    LongOption{"face", 1},
    LongOption{"lens", 1},
    LongOption{"volume", 1},
    LongOption{"displace", 1},
    LongOption{"output", 1},
    LongOption{"geometry", 1},
    LongOption{"texture_continue", 1},
    LongOption{"rc", 1},
    LongOption{"task_size", 1},
    // Accepted for compatibility; without effect.
    LongOption{"memory", 1},
    LongOption{"acceleration", 1},
    LongOption{"scanline", 1},
    LongOption{"x", 1},
    LongOption{"imgpipe", 1},
    LongOption{"progress_frequency", 1},
    LongOption{"finalgather_display", 1},
    LongOption{"swap_limit", 1},
    LongOption{"swap_dir", 1},
};

bool is_number(std::string_view text) {
    double value = 0;
    const char* const end = text.data() + text.size();
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc{} && stop == end && !text.empty() && std::isfinite(value);
}

struct Failure {
    std::string text;
};

// The long option with this name or abbreviation; null if there is none.
const LongOption* find_option(std::string_view name) {
    const LongOption* found = nullptr;
    bool ambiguous = false;
    std::string candidates;
    for (const LongOption& option : kLongOptions) {
        if (option.name == name) return &option;
        if (name.size() < 2 || !option.name.starts_with(name)) continue;
        candidates += (found != nullptr ? ", -" : "-") + std::string(option.name);
        ambiguous = found != nullptr;
        found = &option;
    }
    if (ambiguous) throw Failure{fmt::format("ambiguous option -{}: {}", name, candidates)};
    return found;
}

// Whether the argument has the form of an option. Negative numbers do not.
bool is_option(const std::string& argument) {
    return argument.size() >= 2 && argument[0] == '-' && argument != "--" && !is_number(argument);
}

// The long option that an argument names; null for short options and unknown names.
const LongOption* long_option(const std::string& argument, std::string_view name) {
    const bool one_dash = !argument.starts_with("--");
    const bool short_name = name.starts_with('I') || name.starts_with('L') || name.starts_with('D');
    return one_dash && short_name ? nullptr : find_option(name);
}

// Reads the values of the option at arguments[i], which follow "=" or are the next arguments, and
// moves `i` to the last of them. Returns the option as one argument.
std::string joined_option(const LongOption& option, const std::optional<std::string>& given,
                          const std::vector<std::string>& arguments, std::size_t& i) {
    std::string value = given.value_or("");
    bool has_value = given.has_value();
    if (option.words > 0 && !has_value) {
        if (i + 1 >= arguments.size())
            throw Failure{fmt::format("-{} requires a value", option.name)};
        value = arguments[++i];
        has_value = true;
    }
    if (option.joined && !given)
        for (int n = 0;
             n < option.max_numbers && i + 1 < arguments.size() && is_number(arguments[i + 1]);
             ++n) {
            if (has_value) value += ",";
            value += arguments[++i];
            has_value = true;
        }
    if (option.joined && !has_value)
        throw Failure{fmt::format("-{} requires numeric values", option.name)};
    return "--" + std::string(option.name) + (has_value ? "=" + value : "");
}

// Spells long options with two dashes and joins their values with "=".
std::vector<std::string> normalized(const std::vector<std::string>& arguments) {
    std::vector<std::string> out;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (!is_option(argument)) {
            out.push_back(argument);
            continue;
        }
        const std::string body = argument.substr(argument.starts_with("--") ? 2 : 1);
        const std::size_t equals = body.find('=');
        const LongOption* const option = long_option(argument, body.substr(0, equals));
        if (option == nullptr) {
            out.push_back(argument);
            continue;
        }
        std::optional<std::string> given;
        if (equals != std::string::npos) given = body.substr(equals + 1);
        out.push_back(joined_option(*option, given, arguments, i));
    }
    return out;
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::size_t from = 0;
    for (std::size_t at = text.find(separator); at != std::string::npos;
         at = text.find(separator, from)) {
        parts.push_back(text.substr(from, at - from));
        from = at + 1;
    }
    parts.push_back(text.substr(from));
    return parts;
}

float real(const std::string& option, const std::string& text) {
    if (!is_number(text)) throw Failure{fmt::format("-{}: '{}' is not a number", option, text)};
    return std::strtof(text.c_str(), nullptr);
}

int integer(const std::string& option, const std::string& text, long low = -2147483648L,
            long high = 2147483647L) {
    long value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc{} || stop != end)
        throw Failure{fmt::format("-{}: '{}' is not an integer", option, text)};
    if (value < low || value > high)
        throw Failure{fmt::format("-{}: {} is out of range ({} to {})", option, value, low, high)};
    return static_cast<int>(value);
}

template <std::size_t N, class T, class Convert>
std::array<T, N> numbers(const std::string& option, const std::string& text, Convert convert) {
    const auto parts = split(text, ',');
    if (parts.size() != N)
        throw Failure{fmt::format("-{} takes {} numbers, got {}", option, N, parts.size())};
    std::array<T, N> values{};
    for (std::size_t i = 0; i < N; ++i)
        values[i] = convert(option, parts[i]);
    return values;
}

bool on_off(const std::string& option, const std::string& text) {
    if (text == "on" || text == "true") return true;
    if (text == "off" || text == "false") return false;
    throw Failure{fmt::format("-{} must be on or off, not '{}'", option, text)};
}

template <class T>
T choice(const std::string& option, const std::string& text,
         const std::vector<std::pair<std::string_view, T>>& choices) {
    std::string names;
    for (const auto& [name, value] : choices) {
        if (name == text) return value;
        names.append(names.empty() ? "" : ", ").append(name);
    }
    throw Failure{fmt::format("-{} must be one of {}, not '{}'", option, names, text)};
}

void set_render_range(RenderSettings& r, const std::string& text) {
    const auto parts = split(text, ',');
    if (parts.size() > 3) throw Failure{"-render takes one to three numbers"};
    r.first = integer("render", parts[0], 1);
    r.last = parts.size() > 1 ? integer("render", parts[1], 1) : r.first;
    r.step = parts.size() > 2 ? integer("render", parts[2], 1) : 1;
    if (r.last < r.first)
        throw Failure{fmt::format("-render: LAST ({}) is less than FIRST ({})", r.last, r.first)};
}

void set_frames(RenderSettings& r, const std::string& text) {
    std::vector<int> frames;
    if (const std::string why = scene::parse_frame_list(text, frames); !why.empty())
        throw Failure{"-frames: " + why};
    r.frames = {frames.begin(), frames.end()};
}

void set_samples(RenderSettings& r, const std::string& text) {
    const auto parts = split(text, ',');
    // A single number is the maximum, as in a scene.
    const int last = integer("samples", parts.back(), -100, 100);
    const int first = parts.size() > 1 ? integer("samples", parts[0], -100, 100) : last - 2;
    if (parts.size() > 2) throw Failure{"-samples takes one or two numbers"};
    if (first > last)
        throw Failure{fmt::format("-samples: MIN ({}) is greater than MAX ({})", first, last)};
    r.samples = {{first, last}};
}

void set_trace_depth(RenderSettings& r, const std::string& text) {
    const auto parts = split(text, ',');
    if (parts.size() > 3) throw Failure{"-trace_depth takes one to three numbers"};
    const int a = integer("trace_depth", parts[0], 0, 1000);
    const int b = parts.size() > 1 ? integer("trace_depth", parts[1], 0, 1000) : a;
    const int c = parts.size() > 2 ? integer("trace_depth", parts[2], 0, 1000) : a + b;
    r.trace_depth = {{a, b, c}};
}

void set_contrast(RenderSettings& r, const std::string& text) {
    const auto parts = split(text, ',');
    if (parts.size() != 3 && parts.size() != 4)
        throw Failure{"-contrast takes three or four numbers"};
    std::array<float, 4> c{};
    for (std::size_t i = 0; i < parts.size(); ++i)
        c[i] = real("contrast", parts[i]);
    if (parts.size() == 3) c[3] = (c[0] + c[1] + c[2]) / 3.0f;
    r.contrast = c;
}

void set_filter(RenderSettings& r, const std::string& text) {
    const auto parts = split(text, ',');
    std::vector<std::pair<std::string_view, image::FilterKind>> kinds;
    kinds.reserve(image::kFilters.size());
    for (const image::FilterInfo& filter : image::kFilters)
        kinds.emplace_back(filter.name, filter.kind);
    FilterSetting filter;
    filter.kind = choice("filter", parts[0], kinds);
    // A single size is both the width and the height.
    for (std::size_t i = 1; i < parts.size(); ++i) {
        filter.height = real("filter", parts[i]);
        if (i == 1) filter.width = filter.height;
    }
    r.filter = filter;
}

int verbosity(const std::string& text) {
    if (text == "on") return kInformation;
    if (text == "off") return kErrorsOnly;
    return integer("verbose", text, 0, kAllMessages);
}

float positive(const std::string& option, const std::string& text) {
    const float value = real(option, text);
    if (!(value > 0.0f)) throw Failure{fmt::format("-{} must be greater than 0", option)};
    return value;
}

// Registers all options with CLI11. Values are passed as text and checked here, for uniform error
// messages.
void add_options(CLI::App& app, CommandLine& line) {
    RenderSettings& r = line.render;
    const auto option = [&](const char* names, auto&& handler) {
        app.add_option_function<std::string>(
            names, [handler, name = std::string(names)](const std::string& text) {
                handler(name.substr(name.rfind('-') + 1), text);
            });
    };
    using Text = const std::string&;
    app.add_flag("-h,--help", line.help);
    app.add_flag("--version", line.version);
    app.add_flag("--parse", line.parse_only);
    app.add_flag("-q,--quiet", line.quiet);
    app.add_flag("--strict", line.strict);
    app.add_flag("--skip_existing", r.skip_existing);
    option("-v,--verbose", [&](Text, Text t) { line.verbosity = verbosity(t); });
    option("--threads", [&](Text n, Text t) { r.threads = integer(n, t, 0, 1024); });
    option("--task_size", [&](Text n, Text t) { r.task_size = integer(n, t, 0, 1024); });
    option("--render", [&](Text, Text t) { set_render_range(r, t); });
    option("--frames", [&](Text, Text t) { set_frames(r, t); });
    option("--progress", [&](Text n, Text t) {
        line.json_progress = choice<bool>(n, t, {{"text", false}, {"json", true}});
    });
    option("--file_name", [&](Text, Text t) { r.file_name = t; });
    option("--file_type", [&](Text, Text t) { r.file_type = t; });
    option("--file_dir", [&](Text, Text t) { r.file_dir = t; });
    option("--resolution", [&](Text n, Text t) {
        r.resolution =
            numbers<2, int>(n, t, [](Text o, Text v) { return integer(o, v, 1, 65535); });
    });
    option("--window", [&](Text n, Text t) {
        r.window = numbers<4, int>(n, t, [](Text o, Text v) { return integer(o, v); });
    });
    option("--samples", [&](Text, Text t) { set_samples(r, t); });
    option("--contrast", [&](Text, Text t) { set_contrast(r, t); });
    option("--filter", [&](Text, Text t) { set_filter(r, t); });
    option("--jitter", [&](Text n, Text t) { r.jitter = real(n, t); });
    option("--aperture", [&](Text n, Text t) { r.aperture = positive(n, t); });
    option("--aspect", [&](Text n, Text t) { r.aspect = positive(n, t); });
    option("--focal", [&](Text n, Text t) { r.focal = t == "infinity" ? 0.0f : positive(n, t); });
    option("--trace", [&](Text n, Text t) { r.trace = on_off(n, t); });
    option("--trace_depth", [&](Text, Text t) { set_trace_depth(r, t); });
    option("--shadow", [&](Text n, Text t) {
        using scene::ShadowMode;
        r.shadow = choice<ShadowMode>(n, t,
                                      {{"off", ShadowMode::off},
                                       {"on", ShadowMode::on},
                                       {"sort", ShadowMode::sort},
                                       {"segments", ShadowMode::segments}});
    });
    option("--face", [&](Text n, Text t) {
        using scene::Face;
        r.face = choice<Face>(n, t,
                              {{"front", Face::front}, {"back", Face::back}, {"both", Face::both}});
    });
    option("--lens", [&](Text n, Text t) { r.lens = on_off(n, t); });
    option("--volume", [&](Text n, Text t) { r.volume = on_off(n, t); });
    option("--displace", [&](Text n, Text t) { r.displace = on_off(n, t); });
    option("--output", [&](Text n, Text t) { r.output = on_off(n, t); });
    option("--geometry", [&](Text n, Text t) { r.geometry = on_off(n, t); });
    option("--texture_continue", [&](Text n, Text t) { r.texture_continue = on_off(n, t); });
    option("--rc", [&](Text, Text t) { line.startup_file = t; });
    for (const char* const name :
         {"--memory", "--acceleration", "--scanline", "--x", "--imgpipe", "--progress_frequency",
          "--finalgather_display", "--swap_limit", "--swap_dir"})
        option(name, [](Text, Text) {});
    app.add_option("-I", line.include_directories)->allow_extra_args(false);
    app.add_option("-L", line.library_directories)->allow_extra_args(false);
    app.add_option_function<std::vector<std::string>>(
           "-D",
           [&](const std::vector<std::string>& texts) {
               for (const std::string& text : texts) {
                   const std::size_t equals = text.find('=');
                   if (equals == 0 || text.empty())
                       throw Failure{fmt::format("-D: missing variable name in '{}'", text)};
                   line.variables.emplace_back(
                       text.substr(0, equals),
                       equals == std::string::npos ? "1" : text.substr(equals + 1));
               }
           })
        ->allow_extra_args(false);
    app.add_option("scenes", line.scenes);
}

} // namespace

CommandLineResult parse_command_line(const std::vector<std::string>& arguments) {
    CommandLineResult result;
    CLI::App app("vx_render");
    app.set_help_flag();
    try {
        add_options(app, result.line);
        for (CLI::Option* const option : app.get_options())
            if (option->get_items_expected_max() == 1)
                option->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
        std::vector<std::string> reversed = normalized(arguments);
        std::reverse(reversed.begin(), reversed.end());
        app.parse(reversed);
    } catch (const Failure& failure) {
        result.error = failure.text;
    } catch (const CLI::Error& error) {
        result.error = error.what();
    }
    return result;
}

std::vector<std::string> split_options(const std::string& text) {
    std::vector<std::string> parts;
    for (std::string& part : split(text, ' '))
        if (!part.empty()) parts.push_back(std::move(part));
    return parts;
}

} // namespace vx::render
