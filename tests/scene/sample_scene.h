// A small complete scene: a tent and a light, with three shaders of a baking library.
#pragma once

#include <string>

namespace vx::scene {

inline constexpr const char* kTentObject = R"(object "tent"
    visible on   shadow 3   trace on   tagged on
    group
        # vectors 0..4: positions
        -1 0  1     1 0  1     1 0 -1    -1 0 -1     0 1 0
        # vectors 5..7: normals
        0 0.70711 0.70711      0.70711 0.70711 0      0 -1 0
        # vectors 8..10: texture coordinates
        0 0 0       1 0 0      0.5 1 0

        v 0 n 5 t 8        # vertex 0   front slope
        v 1 n 5 t 9        # vertex 1
        v 4 n 5 t 10       # vertex 2
        v 1 n 6 t 8        # vertex 3   right slope
        v 2 n 6 t 9        # vertex 4
        v 4 n 6 t 10       # vertex 5
        v 0 n 7 t 8        # vertex 6   floor, seen from below
        v 3 n 7 t 8        # vertex 7
        v 2 n 7 t 8        # vertex 8
        v 1 n 7 t 8        # vertex 9

        c 0   0 1 2
        c 0   3 4 5
        p 1   6 7 8 9
    end group
end object
)";

inline constexpr const char* kSceneHead = R"(verbose 5
link "vx_pc.so"

options "opt"
    object space
    samples 0 1     contrast 0.1 0.1 0.1 0.1    filter box 1 1
    trace on        trace depth 2 2 4           shadow on   face both
end options

camera "cam"
    output "rgba" "png" "out.png"
    focal 1.4       aperture 1.4     aspect 1.3333
    resolution 64 48
    frame 1
    lens "vx_pc_write" (
        "jitter" off, "layers" 1, "outputMode" 2, "frame" 1, "radius" 0.05,
        "pdcFileName" "cloud.0001.pdc", "mapFileName" "cloud.0001.mrmap" )
end camera

light "lamp"
    "mib_light_point" ( "color" 1 1 1, "shadow" on, "factor" 0 )
    origin 0 0 0
end light

instance "lampInst" "lamp"
    transform  1 0 0 0   0 1 0 0   0 0 1 0   -2 -4 -3 1     # lamp at (2,4,3)
end instance

shader "slope" "mib_illum_lambert" (
    "ambience" 1 1 1,  "ambient" 0.05 0.05 0.05,  "diffuse" 0.7 0.3 0.2,
    "mode" 0,          "lights" [ "lampInst" ] )

shader "slopeTag" "vx_pc_tag" (
    "color" = "slope",  "bakeColor" = "slope",  "tag" 3 )

material "slopeMtl"  opaque  = "slopeTag"  end material
material "floorMtl"  opaque
    "vx_pc_tag" ( "color" 0.2 0.2 0.2 1, "bakeColor" 1 1 1 1, "tag" 5 )
end material

)";

inline constexpr const char* kSceneTail = R"(
instance "tentInst" "tent"
    material [ "slopeMtl", "floorMtl" ]
end instance

instance "camInst" "cam"
    transform  1 0 0 0   0 1 0 0   0 0 1 0   0 -0.5 -5 1    # camera at (0,0.5,5)
end instance

instgroup "world"  "camInst" "lampInst" "tentInst"  end instgroup

render "world" "camInst" "opt"
)";

inline std::string sample_scene() {
    return std::string(kSceneHead) + kTentObject + kSceneTail;
}

} // namespace vx::scene
