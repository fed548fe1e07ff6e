// Arithmetic with the attributes of a cloud, evaluated over runs of points.
#pragma once

#include "cache/cloud/attribute_reader.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace mu {
class Parser;
}

namespace vx::cache {

// An expression in the syntax of muParser: + - * / ^, comparisons, && || !, a ? b : c, and
// functions such as sqrt, abs, min, max. Attributes with one value are called by their names, the
// values of others NAME.x, NAME.y, NAME.z, or NAME.r, NAME.g, NAME.b, or NAME.0, NAME.1 and so on.
// In names,
// "_" stands for every character but letters, digits, "_" and ".".
class Expression {
  public:
    // `component` is what the name of an attribute of `width` values alone stands for; a width of 1
    // allows attributes with one value only. The cloud must outlive the expression.
    // Throws UsageError with the column of the mistake, FileError for names that the cloud lacks.
    Expression(Cloud& cloud, const std::string& option, const std::string& text, int width = 1,
               int component = 0);
    ~Expression();

    // The results for points first to first + n - 1; n is at most kBlockPoints. Valid until the
    // next call.
    std::span<const double> evaluate(std::int64_t first, std::int64_t n);

  private:
    struct Variable;

    void bind(const std::string& name, int width, int component);
    [[noreturn]] void fail(std::size_t column, const std::string& why) const;

    Cloud& m_cloud;
    std::string m_option;
    std::string m_text;
    std::unique_ptr<mu::Parser> m_parser;
    std::vector<std::unique_ptr<Variable>> m_variables;
    std::vector<double> m_results;
};

// Splits a list of expressions at the commas outside parentheses.
std::vector<std::string> split_expressions(const std::string& text);

} // namespace vx::cache
