/// @file
/// The values of attributes in a USD text file.
#pragma once

#include "cache/cloud/attribute.h"
#include "cache/cloud/spool.h"
#include "cache/formats/format.h"
#include "cache/formats/usda_lexer.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

namespace vx::cache {

struct UsdaType {
    Type type = Type::float32; ///< of the model, which holds every value
    int width = 1;             ///< numbers per value
    bool array = false;
};

/// Parses the name of a type, as "float3[]".
/// @return false if its values are not numbers; `out` is unspecified then
bool parse_usda_type(std::string_view word, UsdaType& out);

struct UsdaArray {
    /// The values count against the budget, which must outlive the array.
    UsdaArray(const Attribute& a, SpoolBudget& budget) : attribute(a), values(budget) {}

    Attribute attribute;
    Spool values;            ///< in the attribute's type
    std::int64_t rows = 0;   ///< tuples of the attribute's width
    std::int64_t offset = 0; ///< of the attribute's name in the file
    double scale = 1;        ///< factor of floating-point values as they are read
};

/// Parses a value, or all values of an array, and appends them. Throws FileError.
void parse_usda_values(UsdaLexer& lexer, const UsdaType& type, UsdaArray& array);

/// Parses values over time and returns those of one time: the last sample that is not after `time`,
/// else the first sample; without a time the first sample. Adds a finding if there are several.
/// Throws FileError.
/// @param like  an empty array, which the result takes everything but the values from
/// @return null if there are no values
std::unique_ptr<UsdaArray> parse_usda_samples(UsdaLexer& lexer, const UsdaType& type,
                                              const UsdaArray& like, std::optional<double> time,
                                              SpoolBudget& budget, Findings& findings);

} // namespace vx::cache
