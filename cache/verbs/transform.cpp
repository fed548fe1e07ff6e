// transform: scales, rotates and moves a cloud.
#include "cache/cloud/derived.h"
#include "cache/verbs/input_output.h"
#include "cache/verbs/verbs.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace vx::cache {

Run add_transform(CLI::App& app) {
    struct Options {
        InputOutput files;
        std::string matrix;
        std::string translate;
        double scale = 1;
        std::string up;
    };
    auto o = std::make_shared<Options>();
    o->files.add(app);
    app.add_option("--scale", o->scale, "scale factor; applied first");
    app.add_option("--up", o->up, "convert the up axis: y-to-z or z-to-y; applied second")
        ->check(CLI::IsMember({"y-to-z", "z-to-y"}));
    app.add_option("--matrix", o->matrix,
                   "16 numbers separated by commas, row by row as in scene files, with the "
                   "translation in the last row; "
                   "applied third");
    app.add_option("--translate", o->translate, "x,y,z: translation; applied last");
    return [o](Session& session) {
        if (!(o->scale > 0) || !std::isfinite(o->scale))
            throw UsageError("--scale: must be above 0");
        const double s = o->scale;
        Matrix m{s, 0, 0, 0, 0, s, 0, 0, 0, 0, s, 0, 0, 0, 0, 1};
        if (o->up == "y-to-z") m *= Matrix(1, 0, 0, 0, 0, 0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1);
        if (o->up == "z-to-y") m *= Matrix(1, 0, 0, 0, 0, 0, -1, 0, 0, 1, 0, 0, 0, 0, 0, 1);
        if (!o->matrix.empty()) {
            Matrix given;
            const std::vector<double> numbers = parse_numbers(o->matrix, 16, "--matrix");
            std::copy(numbers.begin(), numbers.end(), given.getValue());
            if (given[0][3] != 0 || given[1][3] != 0 || given[2][3] != 0 || given[3][3] != 1) {
                throw UsageError("--matrix: the last column must be 0,0,0,1");
            }
            m *= given;
        }
        if (!o->translate.empty()) {
            const std::vector<double> t = parse_numbers(o->translate, 3, "--translate");
            m *= Matrix().setTranslation(Imath::V3d(t[0], t[1], t[2]));
        }
        o->files.each(session, [&](const EditedInput& in, const std::string& path) {
            TransformedCloud moved(in.cloud, m);
            o->files.options.write(session, moved, path, in.format);
        });
    };
}

} // namespace vx::cache
