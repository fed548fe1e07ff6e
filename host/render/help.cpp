#include "host/render/command_line.h"

namespace vx::render {

const char* help_text() {
    return R"(vx_render -- render .mi scenes

Usage: vx_render [options] scene.mi ...

Multiple files are read as one scene. If the file is "-" or omitted, the scene is read from
standard input. Long options may be written with one or two dashes and abbreviated if unambiguous.
Options override the scene, which overrides the defaults listed here.

Scene input:
  -I DIR                    Add DIR to the include path (repeatable); searched before
                            MI_RAY_INCPATH
  -L DIR                    Add DIR to the library path (repeatable); searched before
                            MI_LIBRARY_PATH
  -D NAME[=VALUE]           Set a variable for $ifdef etc., for $NAME in values, and for {NAME} in
                            file names (repeatable)                          default value: 1
  -rc FILE                  Read FILE before the scene
  -parse                    Check the scene without rendering it
  -texture_continue on|off  Continue if a texture cannot be read             default: on

Frames:
  -render FIRST [LAST [STEP]]
                            Run these render commands, counted from 1        default: all
  -frames LIST              Render these frames of the cameras, such as 1-240x2,300
                                                                             default: all
  -skip_existing            Leave out frames whose images exist with the right resolution
  -strict                   Exit with status 4 if a result is incomplete
  -threads N                Number of rendering threads                      default: all cores
  -task_size N              Tile size in pixels                              default: 32

Output files:
  -file_name FILE           Name of the (first) color image                  default: from scene
  -file_type FORMAT         File format: png, exr, tif, jpg, hdr, ...        default: from scene
  -file_dir DIR             Directory for all images

Camera:
  -resolution W H           Image size in pixels                             default: 768 576
  -window XL YL XH YH       Render only this rectangle, corners included; the origin is the
                            lower left                                       default: all
  -aperture F               Width of the image plane                         default: 1
  -aspect F                 Aspect ratio (width / height)                    default: 1.33
  -focal F|infinity         Focal distance; infinity for orthographic        default: 1

Sampling:
  -samples [MIN] MAX        Take 4^MIN to 4^MAX samples per pixel            default: -2 0
  -contrast R G B [A]       Refine where neighbors differ by more than this  default: 0.1 each
  -filter TYPE [W [H]]      Pixel filter: box, triangle, gauss, mitchell, lanczos; size in
                            pixels                                           default: box 1 1
  -jitter F                 Displace samples, from 0 (regular) to 1          default: 0

Rays and shaders:
  -trace on|off             Trace secondary rays                             default: on
  -trace_depth R [F [S]]    Maximum depth of reflection, refraction, sum     default: 2 2 4
  -shadow off|on|sort|segments
                            Trace shadow rays                                default: on
  -face front|back|both     Surface sides visible to eye rays                default: both
  -lens on|off              Run lens shaders                                 default: on
  -volume on|off            Run volume shaders                               default: on

Messages and help:
  -verbose, -v on|off|N     Verbosity: 0 none, 1 fatal, 2 errors, 3 warnings, 4 progress,
                            5 information, 6 and 7 debugging; on is 5, off is 2
                                                                             default: 4
  -quiet, -q                Print errors only, and no progress
  -progress text|json       Print messages and progress as text or as JSON   default: text
  -help, -h                 Print this help and exit
  -version                  Print the version and exit

Exit status:
  0  all requested frames were rendered and their images written; with -strict the results
     are also complete
  1  error in the scene, a shader library that cannot be loaded, or no render command
  2  rendering failed or was interrupted, a shader reported an error, an image, a map file or
     a file of a shader could not be written, a map file could not be read, or a requested
     frame is not in the scene
  3  invalid command line
  4  with -strict: all images were written, but shaders failed or parts of the scene were
     left out
  5  a shader, a shader library or the reader of a texture crashed

Examples:
  vx_render tent.mi
      Render the scene to the files that its camera names.
  vx_render -resolution 320 240 -samples 0 2 -file_name small.exr -file_dir out tent.mi
      Render a small, finely sampled image to out/small.exr.
  vx_render -L build/lib -I decl -render 1 10 -v 5 shot.mi
      Render the first ten frames with shaders from build/lib, and print informational messages.
)";
}

} // namespace vx::render
