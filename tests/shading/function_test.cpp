#include "host/shading/function.h"

#include <cmath>
#include <cstring>
#include <limits>

#include "tests/shading/rig.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#endif

using namespace vx;
using namespace vx::testing;
using shading::convert;
using shading::RecordMemory;

namespace {

// The block as plain memory, because parameters[] is declared with the minimum length.
char* block(miFunction* record) {
    return reinterpret_cast<char*>(record) + offsetof(miFunction, parameters);
}

} // namespace

TEST(RecordMemory, EveryRecordHasTheSameGhostDistance) {
    RecordMemory memory;
    for (const std::size_t bytes : {0u, 4u, 36u, 1000u, 100000u, 3000000u}) {
        miFunction* const record = memory.allocate(bytes);
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(record->ghost_offs, static_cast<int>(RecordMemory::kGhostDistance));
        EXPECT_EQ(record->parameter_size, static_cast<int>(bytes));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block(record)) % 8, 0u);
        for (std::size_t i = 0; i < bytes; ++i)
            ASSERT_EQ(block(record)[i] + block(record)[i + RecordMemory::kGhostDistance], 0);
        if (bytes > 0) {
            std::memset(block(record), 1, bytes);
            std::memset(block(record) + record->ghost_offs, 2, bytes);
        }
    }
}

TEST(RecordMemory, ReleasedRecordsAreUsedAgainAndZeroed) {
    RecordMemory memory;
    miFunction* const first = memory.allocate(64);
    std::memset(block(first), 1, 64);
    std::memset(block(first) + first->ghost_offs, 1, 64);
    memory.release(first);
    miFunction* const again = memory.allocate(64);
    EXPECT_EQ(again, first);
    for (int i = 0; i < 64; ++i) {
        EXPECT_EQ(block(again)[i], 0);
        EXPECT_EQ(block(again)[i + again->ghost_offs], 0);
    }
}

#if defined(__SANITIZE_ADDRESS__)
TEST(RecordMemory, BytesBeyondABlockAndItsGhostAreWatchedByTheAddressSanitizer) {
    RecordMemory memory;
    for (const std::size_t bytes : {16u, 32u, 1000u}) {
        miFunction* const record = memory.allocate(bytes);
        const char* const parameters = block(record);
        for (const std::size_t offset : {std::size_t{0}, RecordMemory::kGhostDistance}) {
            EXPECT_FALSE(__asan_address_is_poisoned(parameters + offset));
            EXPECT_FALSE(__asan_address_is_poisoned(parameters + offset + bytes - 1));
            EXPECT_TRUE(__asan_address_is_poisoned(parameters + offset + bytes));
        }
        memory.release(record);
        EXPECT_TRUE(__asan_address_is_poisoned(parameters));
    }
}
#endif

TEST(RecordMemory, BlockBeyondTheDistanceIsRefused) {
    RecordMemory memory;
    EXPECT_EQ(memory.allocate(RecordMemory::kGhostDistance), nullptr);
    EXPECT_EQ(memory.allocate(RecordMemory::kGhostDistance - 16), nullptr);
}

TEST(RecordMemory, MoreThanOneRangeIsUsedWhenNeeded) {
    RecordMemory memory;
    const std::size_t large = RecordMemory::kGhostDistance / 2;
    miFunction* const a = memory.allocate(large);
    miFunction* const b = memory.allocate(large);
    miFunction* const c = memory.allocate(16);
    ASSERT_TRUE(a != nullptr && b != nullptr && c != nullptr);
    EXPECT_EQ(a->ghost_offs, b->ghost_offs);
    block(a)[large - 1] = 1;
    block(b)[large - 1 + RecordMemory::kGhostDistance] = 1;
    EXPECT_EQ(block(c)[0], 0);
}

namespace {

template <class To, class From>
To converted(miParam_type from, const From& value, miParam_type to) {
    To result;
    std::memset(&result, 0x5A, sizeof result);
    convert(from, &value, to, &result);
    return result;
}

} // namespace

TEST(Convert, ColorToScalarIsTheMeanOfRedGreenBlue) {
    EXPECT_EQ(converted<miScalar>(miTYPE_COLOR, miColor{1, 2, 6, 100}, miTYPE_SCALAR), 3.0f);
}

TEST(Convert, ScalarToColorIsOpaqueGrey) {
    EXPECT_THAT(converted<miColor>(miTYPE_SCALAR, 0.25f, miTYPE_COLOR),
                IsColor(0.25, 0.25, 0.25, 1));
}

TEST(Convert, VectorsAndColorsExchangeTheirNumbers) {
    const auto v = converted<miVector>(miTYPE_COLOR, miColor{1, 2, 3, 4}, miTYPE_VECTOR);
    EXPECT_EQ(v.x, 1);
    EXPECT_EQ(v.y, 2);
    EXPECT_EQ(v.z, 3);
    EXPECT_THAT(converted<miColor>(miTYPE_VECTOR, miVector{1, 2, 3}, miTYPE_COLOR),
                IsColor(1, 2, 3, 1));
    EXPECT_EQ(converted<miScalar>(miTYPE_VECTOR, miVector{1, 2, 3}, miTYPE_SCALAR), 2.0f);
}

TEST(Convert, RealsBecomeIntegersByTruncation) {
    const auto to_integer = [](float f) {
        return converted<miInteger>(miTYPE_SCALAR, f, miTYPE_INTEGER);
    };
    EXPECT_EQ(to_integer(2.9f), 2);
    EXPECT_EQ(to_integer(-2.9f), -2);
    EXPECT_EQ(to_integer(1e20f), std::numeric_limits<int>::max());
    EXPECT_EQ(to_integer(-1e20f), std::numeric_limits<int>::min());
    EXPECT_EQ(to_integer(std::nanf("")), 0);
}

TEST(Convert, BooleansAreNonZeroAndIntegersKeepTheirValue) {
    EXPECT_EQ(converted<miBoolean>(miTYPE_SCALAR, 0.25f, miTYPE_BOOLEAN), 1);
    EXPECT_EQ(converted<miBoolean>(miTYPE_SCALAR, 0.0f, miTYPE_BOOLEAN), 0);
    EXPECT_EQ(converted<miBoolean>(miTYPE_INTEGER, 16777217, miTYPE_BOOLEAN), 1);
    EXPECT_EQ(converted<miInteger>(miTYPE_BOOLEAN, 1, miTYPE_INTEGER), 1);
    EXPECT_EQ(converted<miScalar>(miTYPE_INTEGER, -7, miTYPE_SCALAR), -7.0f);
}

TEST(Convert, TagsComeFromTheirOwnKindOrFromAShader) {
    EXPECT_TRUE(shading::convertible(miTYPE_LIGHT, miTYPE_LIGHT));
    EXPECT_TRUE(shading::convertible(miTYPE_SHADER, miTYPE_COLOR_TEX));
    EXPECT_TRUE(shading::convertible(miTYPE_COLOR_TEX, miTYPE_SCALAR_TEX));
    EXPECT_FALSE(shading::convertible(miTYPE_LIGHT, miTYPE_MATERIAL));
    EXPECT_FALSE(shading::convertible(miTYPE_SCALAR, miTYPE_STRING));
    EXPECT_FALSE(shading::convertible(miTYPE_STRING, miTYPE_INTEGER));
    EXPECT_FALSE(shading::convertible(miTYPE_COLOR, miTYPE_TRANSFORM));
    EXPECT_TRUE(shading::convertible(miTYPE_TRANSFORM, miTYPE_TRANSFORM));
    EXPECT_EQ(converted<miTag>(miTYPE_SHADER, miTag{12}, miTYPE_LIGHT), 12u);
}

TEST(FunctionTable, DeclarationElementHoldsNameVersionAndParameters) {
    db::Database database;
    shading::FunctionTable table(database);
    const auto& d = table.declare(
        declaration("my_shader", Type::scalar,
                    {parameter("a", Type::color), array_of(parameter("b", Type::light)),
                     struct_of("c", {parameter("d", Type::scalar_texture)})},
                    4));
    const auto* const record = database.find<miFunction_decl>(d.tag, miSCENE_FUNCTION_DECL);
    ASSERT_NE(record, nullptr);
    EXPECT_STREQ(record->name, "my_shader");
    EXPECT_EQ(record->version, 4);
    EXPECT_EQ(record->result_type, miTYPE_SCALAR);
    EXPECT_EQ(record->result_size, 4);
    EXPECT_STREQ(reinterpret_cast<const char*>(record) + record->parameter_offs,
                 "color \"a\", array light \"b\", struct \"c\" { scalar texture \"d\" }");
    EXPECT_EQ(table.declaration("my_shader"), &d);
    EXPECT_EQ(table.declaration(d.tag), &d);
    EXPECT_EQ(table.declaration("other"), nullptr);
}

TEST(FunctionTable, NewContentsKeepTagIndexAndSurfaceMark) {
    db::Database database;
    shading::FunctionTable table(database);
    shading::DeclaredShader& d =
        table.declare(declaration("x", Type::color, {parameter("a", Type::color)}));
    shading::Function* const f = table.create(d, 16, "one");
    f->surface = true;
    const miTag tag = f->tag;
    const auto index = f->index;
    shading::Function* const g = table.create(d, 4000, "two", tag);
    shading::FunctionTable::connect(*g);
    EXPECT_EQ(f, g);
    EXPECT_EQ(g->tag, tag);
    EXPECT_EQ(g->index, index);
    EXPECT_EQ(g->record->parameter_size, 4000);
    EXPECT_EQ(g->record->connected, 1);
    EXPECT_EQ(table.find(tag), g);
    EXPECT_EQ(database.find(tag), g->record);
    EXPECT_EQ(database.name(tag), "two");
}

TEST(FunctionTable, OwnerOfAnAddressIsTheFunctionWhoseBlockHoldsIt) {
    db::Database database;
    shading::FunctionTable table(database);
    shading::DeclaredShader& d = table.declare(declaration("x", Type::color, {}));
    shading::Function* const a = table.create(d, 16, "a");
    shading::Function* const b = table.create(d, 100, "b");
    EXPECT_EQ(table.owner(a->record->parameters), a);
    EXPECT_EQ(table.owner(a->record->parameters + 15), a);
    EXPECT_EQ(table.owner(a->record->parameters + 16), nullptr);
    EXPECT_EQ(table.owner(b->record->parameters + 99), b);
    EXPECT_EQ(table.owner(&database), nullptr);
    table.remove(a->tag);
    EXPECT_EQ(table.owner(b->record->parameters), b);
    EXPECT_EQ(table.find(1000), nullptr);
    EXPECT_EQ(a->record, nullptr);
}
