#include "tests/shading/rig.h"

namespace vx::testing {

void declare_test_shaders(scene::SceneReceiver& receiver) {
    const auto value = [](Type type) {
        return std::vector<scene::ParameterDeclaration>{parameter("value", type)};
    };
    receiver.on_declare(declaration("test_run", Type::color, {}));
    receiver.on_declare(declaration("test_constant", Type::color, value(Type::color)));
    receiver.on_declare(declaration("test_black", Type::color, {}));
    receiver.on_declare(declaration("test_add", Type::color, value(Type::color)));
    scene::Declaration structure = declaration("test_struct", Type::structure, {}, 2);
    structure.result_fields = {
        parameter("outColor", Type::color), parameter("outScalar", Type::scalar),
        parameter("outVector", Type::vector), parameter("outInteger", Type::integer),
        parameter("outBoolean", Type::boolean)};
    receiver.on_declare(structure);
    receiver.on_declare(declaration("test_transform", Type::transform, {}));
    receiver.on_declare(declaration("test_tag", Type::shader, value(Type::shader)));
    receiver.on_declare(
        declaration("test_types", Type::color,
                    {parameter("boolean", Type::boolean), parameter("integer", Type::integer),
                     parameter("scalar", Type::scalar), parameter("string", Type::string),
                     parameter("color", Type::color), parameter("vector", Type::vector),
                     parameter("transform", Type::transform), parameter("shader", Type::shader),
                     parameter("texture", Type::color_texture), parameter("light", Type::light),
                     parameter("material", Type::material)}));
    receiver.on_declare(
        declaration("test_array", Type::color,
                    {parameter("before", Type::scalar), array_of(parameter("values", Type::color)),
                     parameter("after", Type::scalar)}));
    receiver.on_declare(
        declaration("test_pair", Type::color,
                    {parameter("first", Type::color), parameter("second", Type::color)}));
    receiver.on_declare(declaration("test_queries", Type::color, value(Type::color), 5));
    receiver.on_declare(
        declaration("test_life", Type::color,
                    {parameter("label", Type::string), parameter("value", Type::scalar)}));
    receiver.on_declare(declaration("test_simple_life", Type::color, {}));
    receiver.on_declare(declaration("test_scalar", Type::scalar, value(Type::scalar)));
    receiver.on_declare(declaration("test_newer", Type::color, {}, 2));
    receiver.on_declare(declaration("test_unversioned", Type::color, {}, 1));
    receiver.on_declare(declaration("test_missing", Type::color, {}, 1));
    receiver.on_declare(declaration("test_entries", Type::color, {}));
    receiver.on_declare(
        declaration("test_c_access", Type::color, {parameter("tag", Type::integer)}));
}

} // namespace vx::testing
