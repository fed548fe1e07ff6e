#!/bin/sh
# Makes the small pictures of docs/guide.md anew: docs/pictures.sh (after ./vx setup).
# Needs oiiotool and the font DejaVu Sans.
set -eu

root=$(CDPATH='' cd -- "$(dirname -- "$0")/.." && pwd)
bin=$root/build/release/bin
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

head='link "base.so"
link "vx_pc.so"
$include <base.mi>
$include <vx_pc.mi>
options "opt" object space samples 1 2 contrast 0.04 0.04 0.04 0.04 filter mitchell 3 3
    trace on trace depth 2 2 4 shadow on face both gamma 2.2 end options'

# scene LENS MATERIAL PICTURE: the bunny in the demo's light.
scene() {
    cat <<EOF
$head
\$include "$root/examples/meshes/lamps.mi"
$2
\$include "$root/examples/meshes/bunny.mi"
instance "bunnyInst" "bunny" material [ "mtl" ] end instance
camera "cam" output "rgba" "png" "$3" focal 1.8 aperture 1 aspect 1.1
    resolution 330 300 frame 1 $1 end camera
instance "camInst" "cam"
    transform 1 0 0 0  0 0.9986 0.0523 0  0 -0.0523 0.9986 0  0 -0.85 -5.15 1
end instance
instgroup "world" "camInst" "keyInst" "rimInst" "bunnyInst" end instgroup
render "world" "camInst" "opt"
EOF
}

# bake LAYERS: bunny.0001.pdc and .mrmap, and plain.png
bake() {
    scene "lens \"vx_pc_write\" ( \"jitter\" on, \"samples\" 2, \"layers\" $1, \"outputMode\" 2,
        \"frame\" 1, \"radius\" 0.012, \"pdcFileName\" \"bunny.0001.pdc\",
        \"mapFileName\" \"bunny.0001.mrmap\" )" '
shader "lit" "mib_illum_lambert" ( "ambience" 0 0 0 1, "ambient" 0 0 0 1,
    "diffuse" 0.70 0.62 0.50 1, "mode" 0, "lights" [ "keyInst", "rimInst" ] )
shader "tag" "vx_pc_tag" ( "color" = "lit", "bakeColor" = "lit", "tag" 1 )
material "mtl" opaque = "tag" end material' plain.png >bake.mi
    "$bin/vx_render" -verbose 3 bake.mi
}

# read PARAMETERS PICTURE: the bunny in nothing but its baked light.
read_back() {
    scene "" "
shader \"cloud\" \"vx_pc_read\" ( \"fileName\" \"thin.0001.mrmap\", \"frame\" 1, $1 )
shader \"shown\" \"mib_illum_lambert\" ( \"ambience\" 1 1 1 1, \"ambient\" = \"cloud.outColor\",
    \"mode\" 0, \"lights\" [ ] )
material \"mtl\" opaque = \"shown\" end material" "$2" >read.mi
    "$bin/vx_render" -verbose 3 read.mi
}

# row NAME PICTURE CAPTION PICTURE CAPTION ...: docs/images/NAME.png
row() {
    name=$1
    shift
    n=0
    parts=
    while [ $# -gt 0 ]; do
        n=$((n + 1))
        oiiotool -i "$1" --ch R,G,B --fit 330x300 --fullsize 330x330+0+0 --croptofull \
            --fill:color=0.11,0.12,0.13 330x30+0+300 \
            --text:x=10:y=320:size=15:color=0.9,0.9,0.9:font=DejaVuSans "$2" -d uint8 -o "part$n.png"
        parts="$parts part$n.png"
        shift 2
    done
    # shellcheck disable=SC2086 # a list of files on purpose
    oiiotool $parts --mosaic:pad=4 "${n}x1" -d uint8 -o "$root/docs/images/$name.png"
}

bake 6
"$bin/vx_cache" filter -q --force --spacing 0.015 bunny.0001.pdc thin.0001.mrmap

read_back '"radius" 0.03, "maxPoints" 3000, "falloff" 1 1 1 1, "scale" 3 3 3 1, "maxAngle" 180' a.png
read_back '"radius" 0.1, "maxPoints" 3000, "falloff" 1 1 1 1, "scale" 3 3 3 1, "maxAngle" 180' b.png
read_back '"radius" 0.35, "maxPoints" 3000, "falloff" 1 1 1 1, "scale" 3 3 3 1, "maxAngle" 180' c.png
row guide_radius a.png "radius 0.03" b.png "radius 0.1" c.png "radius 0.35"

read_back '"radius" 0.3, "maxPoints" 3000, "falloff" 0 0 0 1, "scale" 1 1 1 1, "maxAngle" 180' a.png
read_back '"radius" 0.3, "maxPoints" 3000, "falloff" 4 4 4 1, "scale" 8 8 8 1, "maxAngle" 180' b.png
read_back '"radius" 0.3, "maxPoints" 3000, "falloff" 1 2 4 1, "scale" 3 5 8 1, "maxAngle" 180' c.png
row guide_falloff a.png "falloff 0, scale 1" b.png "falloff 4, scale 8" \
    c.png "falloff 1 2 4, scale 3 5 8"

read_back '"radius" 0.25, "maxPoints" 3000, "falloff" 1 1 1 1, "scale" 3 3 3 1, "maxAngle" 180' a.png
read_back '"radius" 0.25, "maxPoints" 3000, "falloff" 1 1 1 1, "scale" 3 3 3 1, "maxAngle" 90' b.png
read_back '"radius" 0.25, "maxPoints" 3000, "falloff" 1 1 1 1, "scale" 3 3 3 1, "minAngle" 90, "maxAngle" 180' c.png
row guide_cone a.png "0 to 180: both sides" b.png "0 to 90: this side" c.png "90 to 180: the far side"

for layers in 1 2 6; do
    bake $layers
    "$bin/vx_cache" view -q --force bunny.0001.pdc -o "layers$layers.png" --size 330x300 \
        --from 4.2,1.9,-2.2 --to 0.05,1,0 --fov 32
done
row guide_layers layers1.png "layers 1, seen from behind" layers2.png "layers 2" layers6.png "layers 6"
