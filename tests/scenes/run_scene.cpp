#include "run_scene.h"

#include <fmt/format.h>

namespace vx::test {

std::string shader_declarations() {
    const std::string head = fmt::format("link \"{}\"\n", VX_TEST_SHADERS);
    std::string text = head;
    const auto declare = [&](const char* name, const char* parameters) {
        text += fmt::format("declare shader color \"{}\" ( {} ) version 1 end declare\n", name,
                            parameters);
    };
    for (const char* const name :
         {"t_constant", "t_lambert", "t_shadow", "t_shadow_seg", "t_pass", "t_fail"})
        declare(name, "color \"color\"");
    declare("t_light", "color \"color\", boolean \"shadow\", scalar \"falloff\"");
    declare("t_child", "integer \"call\", vector \"direction\", boolean \"before\"");
    declare("t_glass", "scalar \"ior\"");
    declare("t_transparent", "color \"tint\"");
    declare("t_texture", "color texture \"texture\"");
    declare("t_mean", "integer \"n\"");
    declare("t_nested_loops", "integer \"n\"");
    declare("t_probe_lens", "integer \"n\"");
    for (const char* const name :
         {"t_mirror", "t_position", "t_object_position", "t_normal", "t_environment", "t_label",
          "t_keep_state", "t_keep_child", "t_other_ray", "t_twice", "t_call_child", "t_mirrors"})
        declare(name, "");
    return text;
}

std::string options(const std::string& more) {
    return "options \"opt\" samples 0 0 trace on trace depth 4 4 8 shadow on face both " + more +
           " end options\n";
}

std::string camera(int width, int height, const std::string& more) {
    return fmt::format("camera \"cam\" focal 1 aperture 1 aspect {} resolution {} {} {} end "
                       "camera\n",
                       static_cast<double>(width) / height, width, height, more);
}

std::string flags() {
    return "visible on shadow 3 reflection 3 refraction 3 transparency 3 ";
}

std::string square(const std::string& name, float half, const std::string& more) {
    return fmt::format(R"(object "{0}" {2} {3}
group
 -{1} -{1} 0  {1} -{1} 0  {1} {1} 0  -{1} {1} 0
 0 0 0  1 0 0  1 1 0  0 1 0
 v 0 t 4  v 1 t 5  v 2 t 6  v 3 t 7
 p 0 1 2 3
end group end object
)",
                       name, half, flags(), more);
}

} // namespace vx::test
