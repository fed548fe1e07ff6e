#!/bin/sh
# ./vx demo: bakes the bunny, shows what was baked, and reads it back without any light.
# Usage: demo.sh PROJECT_ROOT [OUTPUT_FOLDER]
set -eu

root=$1
out=${2:-$root/out/demo}
bin=$root/build/release/bin
mkdir -p "$out"
cd "$out"

step() {
    text=$1
    shift
    printf '\n== %s\n' "$text"
    start=$(date +%s)
    "$@"
    printf '   (%d s)\n' "$(($(date +%s) - start))"
}

step "baking and rendering examples/bunny_bake.mi" "$bin/vx_render" "$root/examples/bunny_bake.mi"
step "what the cache holds" "$bin/vx_cache" info bunny.0001.pdc
step "rendering examples/bunny_read.mi: the baked points alone, no light" \
    "$bin/vx_render" "$root/examples/bunny_read.mi"

cat <<EOF

In $out:
  bunny.png          the plain render; the bake leaves it as it is
  bunny.0001.pdc     the point cloud, as Maya reads it
  bunny.0001.mrmap   the same points as a map
  bunny_read.png     what comes back: no light in the scene, only baked points, blended

Next: change "radius" and "maxPoints" in examples/bunny_read.mi, or "layers" in
examples/bunny_bake.mi; docs/guide.md says what every parameter does.
EOF
