"""build_options_test.py SOURCE WORK CMAKE CXX

Configures the project with every combination of its parts switched on and off, each in a fresh build
folder, and looks for what the combination should build. The smallest one, the library alone, is built
as well.
"""

import itertools
import pathlib
import re
import shutil
import subprocess
import sys

# What each option adds to the build, as it is named in build.ninja. The library is always there.
PARTS = {
    "VX_BUILD_HOST": ("bin/vx_render", "lib/base.so"),
    "VX_BUILD_CACHE": ("bin/vx_cache",),
    "VX_BUILD_TESTS": ("tests/points/test_points", "tests/maps/test_maps"),
    "VX_BUILD_BENCH": ("bench/bench_pdc", "bench/bench_maps"),
}
LIBRARY = "lib/vx_pc.so"
MAP_ENGINE = "maps/libvx_maps.a"


def fail(text):
    sys.exit(f"build_options_test: {text}")


def run(*command):
    done = subprocess.run(command, capture_output=True, text=True)
    if done.returncode != 0:
        fail(f"{' '.join(map(str, command))}\n{done.stdout}{done.stderr}")


def configure(source, build, cmake, cxx, *settings):
    """The files that the configured build folder would build."""
    run(cmake, "-S", source, "-B", build, "-G", "Ninja", f"-DCMAKE_CXX_COMPILER={cxx}",
        "-DCMAKE_BUILD_TYPE=Release", *settings)
    rules = (build / "build.ninja").read_text()
    # CMake takes the name of a target that does not exist for that of a system library.
    if missing := set(re.findall(r"-l(vx_\w+)", rules)):
        fail(f"{' '.join(settings)}: linked but not built: {', '.join(sorted(missing))}")
    files = set()
    for line in rules.splitlines():
        if line.startswith("build "):
            files.update(line[len("build "):].split(": ")[0].split())
    return files


def check(name, files, wanted):
    """`wanted` maps a file to whether the build should have it."""
    for file, there in wanted.items():
        if (file in files) != there:
            fail(f"{name}: {file} {'is missing' if there else 'should not be there'}")


def main():
    source, work = map(pathlib.Path, sys.argv[1:3])
    cmake, cxx = sys.argv[3:5]
    shutil.rmtree(work, ignore_errors=True)
    for values in itertools.product((False, True), repeat=len(PARTS)):
        settings = [f"-D{option}={'ON' if on else 'OFF'}" for option, on in zip(PARTS, values)]
        wanted = {LIBRARY: True, MAP_ENGINE: any(values)}
        for files, on in zip(PARTS.values(), values):
            wanted.update(dict.fromkeys(files, on))
        build = work / "".join("01"[on] for on in values)
        check(" ".join(settings), configure(source, build, cmake, cxx, *settings), wanted)
        if not any(values):
            run(cmake, "--build", build)
            if not (build / LIBRARY).is_file():
                fail(f"{LIBRARY} was not built")
        shutil.rmtree(build)

    # With a renderer's headers only the library is built, whatever the options say.
    settings = [f"-D{option}=ON" for option in PARTS]
    files = configure(source, work / "headers", cmake, cxx, *settings,
                      f"-DVX_RENDERER_HEADERS={source / 'include'}")
    wanted = dict.fromkeys(itertools.chain([MAP_ENGINE], *PARTS.values()), False)
    check("VX_RENDERER_HEADERS", files, {LIBRARY: True, **wanted})
    shutil.rmtree(work)


main()
