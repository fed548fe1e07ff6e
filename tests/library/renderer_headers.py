"""renderer_headers.py SOURCE WORK CMAKE CXX

Builds the library against headers in which the names that the renderer's manual does not give are
other ones, as a renderer's own headers may have them. Only src/platform is adapted to the new names:
if the build passes, that folder is the only one that knows them. Nothing but the library is built.
"""

import pathlib
import re
import shutil
import subprocess
import sys

# What to look for in the headers, and what a renderer may call it instead.
HEADER_NAMES = [
    (r"\bat_end\b", "is_past_end"),
    (r"\bget_field_id\b", "find_field"),
    (r"\bget_position\b", "get_coordinates"),
    (r"\bget_squared_distance\b", "get_distance"),
    (r"\bhas_field\b", "contains_field"),
    (r"\bmap_no_such_field\b", "map_field_none"),
    (r"\bsearch\b(?=\()", "find_nearest"),
    (r"\bshareMap\b", "openAgain"),
    (r"\bconnected\b(?=[;,])", "may_be_connected"),
    (r"\bname\[4\]", "shader_name[4]"),
    (r"\bappend_field\b", "add_field"),
    (r"\bset_position\b", "put_coordinates"),
    (r"\bset\(const Map_field_id\b", "put(const Map_field_id"),
    (r"\bVector\b", "Triple"),
    (r"\bScalar\b", "Number"),
    (r"\bInteger\b", "Whole"),
    (r"\bmiQ_FUNC_TLS_GET\b", "miQ_FUNC_THREAD_DATA"),
    (r"\bmiQ_FUNC_TLS_SET\b", "miQ_FUNC_SET_THREAD_DATA"),
    (r"\bmiSS_LIFETIME_EYERAY\b", "miSS_LIFETIME_CALL"),
    (r"\bmiGHOST_PLAIN\b", "miGHOST_NONE"),
]
# The same in src/platform, where a name stands behind "->".
PLATFORM_NAMES = [
    (r"->at_end\b", "->is_past_end"),
    (r"->get_field_id\b", "->find_field"),
    (r"\.get_position\b", ".get_coordinates"),
    (r"->get_squared_distance\b", "->get_distance"),
    (r"->has_field\b", "->contains_field"),
    (r"\bmap_no_such_field\b", "map_field_none"),
    (r"->search\b", "->find_nearest"),
    (r"->shareMap\b", "->openAgain"),
    (r"->append_field\b", "->add_field"),
    (r"->set_position\b", "->put_coordinates"),
    (r"->set\b", "->put"),
    (r"Map_field_type::Vector\b", "Map_field_type::Triple"),
    (r"Map_field_type::Scalar\b", "Map_field_type::Number"),
    (r"Map_field_type::Integer\b", "Map_field_type::Whole"),
    (r"->connected\b", "->may_be_connected"),
    (r"->name\b", "->shader_name"),
]


def fail(text):
    sys.exit("renderer_headers: " + text)


def rename(files, names, must_match):
    for old, new in names:
        hits = 0
        for path in files:
            text, count = re.subn(old, new, path.read_text())
            path.write_text(text)
            hits += count
        if must_match and hits == 0:
            fail(f"{old} is nowhere in {[str(p) for p in files]}: update this test")


def run(*command):
    done = subprocess.run(command, capture_output=True, text=True)
    if done.returncode != 0:
        fail(f"{' '.join(map(str, command))}\n{done.stdout}{done.stderr}")
    return done.stdout


def main():
    source, work = map(pathlib.Path, sys.argv[1:3])
    cmake, cxx = sys.argv[3:5]
    shutil.rmtree(work, ignore_errors=True)
    tree, headers, build = work / "tree", work / "headers", work / "build"
    shutil.copytree(source, tree, ignore=shutil.ignore_patterns("build", ".*"))
    shutil.copytree(source / "include", headers)

    header_files = sorted(headers.glob("*.h"))
    platform_files = sorted((tree / "src" / "platform").glob("*.*"))
    rename(header_files, HEADER_NAMES, must_match=True)
    rename(platform_files, PLATFORM_NAMES, must_match=True)

    configure = (cmake, "-S", tree, "-B", build, "-G", "Ninja", f"-DCMAKE_CXX_COMPILER={cxx}",
                 "-DCMAKE_BUILD_TYPE=Debug", f"-DVX_RENDERER_HEADERS={headers}")
    run(*configure)
    run(cmake, "--build", build)

    if not (build / "lib" / "vx_pc.so").is_file():
        fail("there is no lib/vx_pc.so")
    if not (build / "include" / "vx_pc.mi").is_file():
        fail("there is no include/vx_pc.mi")
    for part in ("host", "tests", "bench", "tools"):
        if (build / part).exists():
            fail(f"{part} was configured as well")
    programs = [p for p in build.rglob("*") if p.is_file() and p.suffix in ("", ".so")
                and p.read_bytes()[:4] == b"\x7fELF" and "CMakeFiles" not in p.parts]
    if [p.name for p in programs] != ["vx_pc.so"]:
        fail(f"more than the library was built: {programs}")

    # The other half: with the new headers and the old src/platform the build must break, or this
    # test would prove nothing.
    for path in platform_files:
        shutil.copy(source / "src" / "platform" / path.name, path)
    broken = subprocess.run((cmake, "--build", build), capture_output=True, text=True)
    if broken.returncode == 0:
        fail("the renamed headers made no difference")

    # A folder without the header is refused with a reason.
    (work / "empty").mkdir()
    refused = subprocess.run((cmake, "-S", tree, "-B", work / "build2", "-G", "Ninja",
                              f"-DVX_RENDERER_HEADERS={work / 'empty'}"),
                             capture_output=True, text=True)
    if refused.returncode == 0 or "no shader.h" not in refused.stderr:
        fail("a folder without shader.h was accepted")
    shutil.rmtree(work)


main()
