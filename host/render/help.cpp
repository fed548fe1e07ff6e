#include "host/render/command_line.h"

namespace vx::render {

const char* help_text() {
    return R"(vx_render: renders .mi scenes

  vx_render [options] scene.mi ...

Several files are read as one scene; "-", or no file at all, is standard input. Long options may be
written with one dash or two and shortened as long as they stay unambiguous. An option overrides the
scene, which overrides the defaults given here.

Scene:
  -I DIR                    look for included files here too (repeatable); then MI_RAY_INCPATH
  -L DIR                    look for shader libraries here too (repeatable); then MI_LIBRARY_PATH
  -D NAME=VALUE             set a variable for $ifdef and the like before reading (repeatable)
  -rc FILE                  read this startup file first                     default: none
  -render FIRST [LAST [STEP]]
                            which render commands to run, counted from 1     default: all
  -parse                    read and check the scene, render nothing
  -texture_continue on|off  go on when a texture cannot be read              default: on

Pictures:
  -file_name FILE           name of the picture, instead of the scene's
  -file_type FORMAT         its format: png, exr, tif, jpg, hdr, ...         default: the scene's
  -file_dir DIR             put pictures below this directory
  -resolution W H           pixels                                           default: 768 576
  -window XL YL XH YH       render this part only, both corners included, from the lower left
  -aperture F               width of the image plane                         default: 1
  -aspect F                 its width / height                               default: 1.33
  -focal F|infinity         its distance; infinity: orthographic             default: 1

Sampling:
  -samples MIN MAX          4^MIN to 4^MAX samples per pixel                 default: -2 0
  -contrast R G B [A]       refine where neighbours differ by more           default: 0.1 each
  -filter TYPE [W [H]]      box, triangle, gauss, mitchell or lanczos        default: box 1 1
  -jitter F                 0 regular to 1 fully displaced                   default: 0

Rays and shaders:
  -trace on|off             secondary rays                                   default: on
  -trace_depth R [F [S]]    limits for reflection, refraction and their sum  default: 2 2 4
  -shadow off|on|sort|segments                                               default: on
  -face front|back|both     sides of surfaces that eye rays see              default: both
  -lens on|off              lens shaders                                     default: on
  -volume on|off            volume shaders                                   default: on

Program:
  -threads N                rendering threads                                default: all cores
  -task_size N              tile size in pixels                              default: 32
  -verbose, -v on|off|N     messages: 0 none, 1 fatal, 2 error, 3 warning, 4 progress,
                            5 information, 6 and 7 debugging                 default: 4
  -quiet, -q                errors only, and no progress
  -help, -h                 this text
  -version                  version of the program

Exit status: 0 every requested render finished, 1 an error in the scene or a library, 2 a render
failed or was interrupted, 3 wrong command line.

Examples:
  vx_render tent.mi
      renders the scene into the files that its camera names
  vx_render -resolution 320 240 -samples 0 2 -file_name small.exr -file_dir out tent.mi
      a small, well sampled picture with another name and format
  vx_render -L build/lib -I decl -render 1 10 -v 5 shot.mi
      the first ten frames of an animation, with shaders from build/lib and all messages
)";
}

} // namespace vx::render
