// vx_cache: the command line.
#include "cache/verbs/typos.h"
#include "cache/verbs/verbs.h"

#include <cstdio>
#include <exception>

namespace {

struct Verb {
    const char* name;
    const char* what;
    const char* group;
    const char* examples;
    vx::cache::Run (*add)(CLI::App&);
};

constexpr Verb kVerbs[] = {
    {"info", "show the counts, ranges, bounds, labels and spacing of a cloud", "Inspect",
     "Examples:\n  vx_cache info shot.0001.pdc\n  vx_cache info --json 'shot.####.pdc' --frames "
     "1-100x2",
     vx::cache::add_info},
    {"check", "check that a file is complete, consistent, finite and plausible", "Inspect",
     "Examples:\n  vx_cache check shot.0001.pdc\n  vx_cache check --strict 'shot.####.pdc'",
     vx::cache::add_check},
    {"view", "render a cloud to a picture, or make an interactive page", "Inspect",
     "Examples:\n  vx_cache view shot.0001.pdc -o shot.png\n"
     "  vx_cache view shot.0001.pdc --html shot.html    opens in any browser\n"
     "  vx_cache view shot.0001.pdc -o tags.png --by tag --labels 1-4\n"
     "  vx_cache view shot.0001.pdc -o opacity.exr --by opacityPP --range 0,1 --flat\n"
     "  vx_cache view shot.0001.pdc -o cam.png --camera scene.mi    as the render sees it\n"
     "  vx_cache view shot.0001.pdc -o turn.png --turntable 48\n"
     "  vx_cache view 'shot.####.pdc' -o 'shot.####.png' --view top --ortho",
     vx::cache::add_view},
    {"diff", "compare two clouds; the exit status is 1 if they differ", "Inspect",
     "Examples:\n  vx_cache diff a.pdc b.ply\n  vx_cache diff --tolerance 1e-4 --nearest a.pdc "
     "b.npz\n  vx_cache diff --ignore radius,id 'shot.####.pdc' 'shot.####.mrmap'",
     vx::cache::add_diff},
    {"lookup",
     "show what vx_pc_read finds at a point: the points, their weights, the color, "
     "and why there is none",
     "Inspect",
     "Examples:\n  vx_cache lookup shot.0001.mrmap --point 0,1,0 --radius 0.2\n"
     "  vx_cache lookup shot.0001.mrmap --point 0,1,0 --normal 0,1,0 --facing --labels 1-4\n"
     "  vx_cache lookup shot.0001.mrmap --points places.csv --json",
     vx::cache::add_lookup},
    {"convert", "write a cloud in another format", "Write",
     "Examples:\n  vx_cache convert shot.0001.pdc shot.0001.ply\n"
     "  vx_cache convert --labels 1,3-5 shot.0001.pdc shot.0001.npz\n"
     "  vx_cache convert 'shot.####.pdc' 'shot.$F4.usda' --frames 1-24 --jobs 4 --newer\n"
     "  vx_cache convert shot.0001.pdc dim.0001.pdc --set 'rgbPP=rgbPP*0.5' --drop radius\n"
     "  vx_cache convert shot.0001.pdc - --to ply | other_program",
     vx::cache::add_convert},
    {"filter", "keep points by label, position, direction or opacity, or thin out a cloud", "Write",
     "Examples:\n  vx_cache filter --labels 1,3 in.pdc out.pdc\n"
     "  vx_cache filter --box 0,0,0,1,1,1 --spacing 0.01 in.ply out.ply\n"
     "  vx_cache filter --where 'opacityPP > 0.5 && position.y < 1' in.pdc out.pdc\n"
     "  vx_cache filter --for-radius 0.5 --points 16 in.pdc wide.pdc",
     vx::cache::add_filter},
    {"merge", "join many clouds into one", "Write",
     "Examples:\n  vx_cache merge a.pdc b.pdc -o all.pdc\n"
     "  vx_cache merge 'shot.####.pdc' -o all.ply --distance 0.01",
     vx::cache::add_merge},
    {"transform", "scale, rotate and move a cloud", "Write",
     "Examples:\n  vx_cache transform --scale 0.01 --up z-to-y in.ply out.pdc\n"
     "  vx_cache transform --translate 0,2.5,0 shot.0001.pdc moved.0001.pdc",
     vx::cache::add_transform},
};

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): CLI11 throws for duplicate options, our mistake
int main(int argc, char** argv) {
    vx::cache::clean_up_on_signals();
    CLI::App app("vx_cache: inspect, check, convert, edit and view point caches");
    app.name("vx_cache");
    app.require_subcommand(1);
    app.set_version_flag("--version", "vx_cache " VX_VERSION);
    app.footer(
        "Formats: pdc, mrmap, ply, csv, usda, npz, bgeo, xyz, pts. The format is detected from the "
        "content\nof a file, then from its name.\n"
        "\n"
        "Examples:\n"
        "  vx_cache info shot.0001.pdc                     what it contains\n"
        "  vx_cache check 'shot.####.pdc'                  are all frames complete\n"
        "  vx_cache lookup shot.0001.mrmap --point 0,1,0   why is it black there\n"
        "  vx_cache view shot.0001.pdc -o shot.png         render it\n"
        "  vx_cache view shot.0001.pdc --html shot.html    orbit it in a browser\n"
        "  vx_cache convert shot.0001.pdc shot.0001.ply    for other programs\n"
        "  vx_cache convert --help                         options of a verb\n"
        "\n"
        "Exit status: 0 success, 1 failure or difference, 2 invalid usage.");
    vx::cache::Session session;
    vx::cache::Run chosen;
    for (const Verb& verb : kVerbs) {
        CLI::App* const sub = app.add_subcommand(verb.name, verb.what);
        sub->group(verb.group);
        sub->footer(verb.examples);
        sub->add_flag("-q,--quiet", session.quiet, "print errors only, no notes or warnings")
            ->group("General");
        sub->add_flag("-v,--verbose", session.verbose, "print what was done as well")
            ->group("General");
        sub->add_flag("--json", session.json, "report as JSON, for scripts")->group("General");
        sub->add_option("--time", session.open_options.time,
                        "usda files with time samples: the time to read (default: the first)")
            ->group("General");
        sub->callback([&session, &chosen, name = verb.name, run = verb.add(*sub)] {
            session.verb = name;
            chosen = run;
        });
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& why) {
        if (why.get_exit_code() == 0) return app.exit(why); // --help and --version
        const std::string typo = vx::cache::find_typo(app, {argv + 1, argv + argc});
        session.error(typo.empty() ? why.what() : typo);
        session.note("'vx_cache --help' lists the verbs, 'vx_cache VERB --help' their options");
        return 2;
    }
    try {
        chosen(session);
        session.print_report();
        if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
            session.error("standard output: cannot be written");
        }
    } catch (const vx::cache::UsageError& why) {
        session.error(why.what());
        return 2;
    } catch (const std::exception& why) {
        session.error(why.what());
    }
    return session.failed ? 1 : 0;
}
