#!/bin/sh
# ./vx demo: bakes the bunny, renders the cloud, and renders the scene with the baked light.
# Usage: demo.sh PROJECT_ROOT [OUTPUT_FOLDER]
set -eu

root=$1
out=${2:-$root/out/demo}
bin=$root/build/release/bin
mkdir -p "$out"
cd "$out"
out=$(pwd)

seconds() { date +%s.%N; }
begin=$(seconds)

# step TEXT COMMAND...: prints the text, runs the command, prints its time.
step() {
    printf '\n== %s\n' "$1"
    shift
    start=$(seconds)
    "$@"
    echo "$start $(seconds)" | awk '{ printf "   %.1f s\n", $2 - $1 }'
}

# caption PICTURE TEXT RESULT: adds a line of text below the picture.
caption() {
    oiiotool -i "$1" --ch R,G,B --resize 800x600 --fullsize 800x660+0+0 --croptofull \
        --fill:color=0.11,0.12,0.13 800x60+0+600 \
        --text:x=24:y=638:size=26:color=0.9,0.9,0.9:font=DejaVuSans "$2" -o "$3"
}

contact_sheet() {
    caption bunny.png "Plain: two lamps, direct light only" sheet.1.png
    caption cloud.png "Baked: the cloud, thinned out to see its points" sheet.2.png
    caption bunny_read.png "Read back: the same lamps, and light from the cloud" sheet.3.png
    oiiotool sheet.1.png sheet.2.png sheet.3.png --mosaic:pad=12 3x1 -o sheet.png
    rm -f sheet.1.png sheet.2.png sheet.3.png
}

thin() {
    "$bin/vx_cache" filter --force -q --labels 1 --spacing 0.04 bunny.0001.pdc soft.0001.mrmap
    "$bin/vx_cache" filter --force -q --spacing 0.2 bunny.0001.pdc bounce.0001.mrmap
}

picture_of_cloud() {
    "$bin/vx_cache" filter --force -q --spacing 0.02 bunny.0001.pdc points.0001.pdc
    "$bin/vx_cache" view --force -q points.0001.pdc -o cloud.png --size 800x600 --radius 0.009 \
        --from 4.6,3.4,6.2 --to 0,1.15,-0.2 --fov 38
    rm -f points.0001.pdc
}

step "baking and rendering examples/bunny_bake.mi" "$bin/vx_render" "$root/examples/bunny_bake.mi"
step "contents of the cache" "$bin/vx_cache" info bunny.0001.pdc
step "thinning the cloud for readers with a large radius" thin
step "rendering the cloud, as a picture and as an HTML viewer" picture_of_cloud
"$bin/vx_cache" view --force -q bunny.0001.pdc --html cloud.html
step "rendering examples/bunny_read.mi with the baked light" \
    "$bin/vx_render" "$root/examples/bunny_read.mi"
step "making a contact sheet" contact_sheet

echo "$begin $(seconds)" | awk '{ printf "\nDone in %.1f s. ", $2 - $1 }'
cat <<EOF
In $out:
  sheet.png           contact sheet of the three pictures; start here
  bunny.png           the plain render, with two lamps
  cloud.png           a part of the baked points, from the side
  cloud.html          interactive viewer of all points; opens in any browser
  bunny_read.png      the same lamps plus the baked light: waxy bunny, color bleeding from the walls
  bunny.0001.pdc      the point cloud, in Maya's format
  bunny.0001.mrmap    the same points as a map
  soft.0001.mrmap     the bunny's points, thinned; bounce.0001.mrmap: all, thinned further

Next steps, in the project's folder:
  change "radius" or "falloff" of "inside" in examples/bunny_read.mi, then ./vx demo again
  ./vx cache view $out/bunny.0001.pdc -o tags.png --by tag
  ./vx cache lookup $out/bunny.0001.mrmap --point 0,1.5,0.4 --normal 0,0,1 --radius 0.05
  docs/guide.md describes all parameters, docs/vx_cache.md all verbs of vx_cache
EOF
