#include "host/shading/block.h"

#include <algorithm>
#include <cstring>

namespace vx::shading {

namespace {

std::string expected_text(const Member& member) {
    std::string text = member.array ? "an array of " : "";
    text += param_type_name(member.type);
    if (member.array) return text + " in brackets";
    switch (member.type) {
    case miTYPE_BOOLEAN:
        return text + " (on or off)";
    case miTYPE_INTEGER:
        return text + " (a whole number)";
    case miTYPE_SCALAR:
        return text + " (a number)";
    case miTYPE_VECTOR:
        return text + " (three numbers)";
    case miTYPE_COLOR:
        return text + " (three or four numbers)";
    case miTYPE_TRANSFORM:
        return text + " (sixteen numbers)";
    case miTYPE_STRUCT:
        return text + " in braces";
    case miTYPE_STRING:
        return text + " in quotes";
    default:
        return text + " (a name in quotes)";
    }
}

std::string found_text(const scene::Value& value) {
    struct Visitor {
        std::string operator()(const std::vector<scene::Number>& numbers) const {
            if (numbers.size() != 1) return std::to_string(numbers.size()) + " numbers";
            switch (numbers.front().kind) {
            case scene::NumberKind::boolean:
                return "a boolean";
            case scene::NumberKind::integer:
                return "a whole number";
            case scene::NumberKind::real:
                break;
            }
            return "a number with a fraction or exponent";
        }
        std::string operator()(const std::string& text) const { return '"' + text + '"'; }
        std::string operator()(const scene::Null&) const { return "null"; }
        std::string operator()(const scene::Connection&) const { return "a connection"; }
        std::string operator()(const scene::Interface&) const { return "an interface parameter"; }
        std::string operator()(const scene::StructValue&) const { return "a struct"; }
        std::string operator()(const scene::ArrayValue&) const { return "an array"; }
    };
    return std::visit(Visitor{}, value.content);
}

class Filler {
  public:
    Filler(const DeclaredShader& declaration, NameResolver& names, scene::Diagnostics& diagnostics,
           BlockReport report)
        : m_declaration(declaration), m_names(names), m_diagnostics(diagnostics), m_report(report) {
        m_block.bytes.resize(static_cast<std::size_t>(declaration.fixed_size));
    }

    ParameterBlock run(const std::vector<scene::Parameter>& parameters) {
        fill_members(m_declaration.parameters, 0, parameters, {});
        return std::move(m_block);
    }

  private:
    void mistake(scene::Location where, std::string text) {
        if (m_report.mistakes)
            m_diagnostics.error(where,
                                "shader \"" + m_declaration.name() + "\": " + std::move(text));
    }
    void unknown(scene::Location where, std::string text) {
        m_block.complete = false;
        if (m_report.unknown)
            m_diagnostics.error(where,
                                "shader \"" + m_declaration.name() + "\": " + std::move(text));
    }
    void wrong(const Member& member, const scene::Value& value, const std::string& name,
               scene::Location where) {
        mistake(where, "parameter \"" + name + "\" takes " + expected_text(member) + ", found " +
                           found_text(value));
    }

    template <class T>
    void put(int offset, const T& value) {
        std::memcpy(m_block.bytes.data() + offset, &value, sizeof value);
    }

    void fill_members(const std::vector<Member>& members, int base,
                      const std::vector<scene::Parameter>& given, const std::string& prefix) {
        for (const Member& member : members)
            put_default(member, base + member.offset);
        for (const scene::Parameter& parameter : given) {
            const auto member = std::find_if(members.begin(), members.end(), [&](const Member& m) {
                return m.name == parameter.name;
            });
            if (member == members.end()) {
                mistake(parameter.where,
                        "there is no parameter \"" + prefix + parameter.name + "\"");
                continue;
            }
            put_parameter(*member, base + member->offset, parameter.value, prefix + parameter.name,
                          parameter.where);
        }
    }

    void put_default(const Member& member, int offset) {
        if (member.array) return;
        if (member.type == miTYPE_STRUCT) {
            for (const Member& inner : member.members)
                put_default(inner, offset + inner.offset);
        } else if (member.type == miTYPE_STRING) {
            put(offset, m_names.text({}));
        } else if (!member.defaults.empty()) {
            put_numbers(member.type, offset, member.defaults);
        }
    }

    void put_parameter(const Member& member, int offset, const scene::Value& value,
                       const std::string& name, scene::Location where) {
        if (!member.array) {
            put_value(member, offset, value, name, where);
            return;
        }
        if (const auto* const array = std::get_if<scene::ArrayValue>(&value.content))
            put_array(member, offset, *array, name, where);
        else
            wrong(member, value, name, where);
    }

    void put_array(const Member& member, int offset, const scene::ArrayValue& array,
                   const std::string& name, scene::Location where) {
        const std::size_t count = array.elements.size();
        const auto element = static_cast<std::size_t>(member.size);
        const auto first = static_cast<std::size_t>(offset) + 8;
        std::size_t start = first;
        if (count > 1 && element > 0) {
            // At the end of the block, a whole number of elements from x[0].
            const std::size_t index = (m_block.bytes.size() - first + element - 1) / element;
            start = first + index * element;
            if (count > RecordMemory::kGhostDistance / element ||
                start + count * element > RecordMemory::kGhostDistance) {
                mistake(where, "array \"" + name + "\" is too large");
                return;
            }
            m_block.bytes.resize(start + count * element);
        }
        put(offset, element == 0 ? 0 : static_cast<int>((start - first) / element));
        put(offset + 4, static_cast<int>(count));
        Member one = member;
        one.array = false;
        for (std::size_t i = 0; i < count; ++i) {
            const int at = static_cast<int>(start + i * element);
            put_default(one, at);
            put_value(one, at, array.elements[i], name + '[' + std::to_string(i) + ']', where);
        }
    }

    void put_value(const Member& member, int offset, const scene::Value& value,
                   const std::string& name, scene::Location where) {
        if (const auto* const connection = std::get_if<scene::Connection>(&value.content)) {
            connect(member, offset, connection->name, name, where);
        } else if (const auto* const numbers =
                       std::get_if<std::vector<scene::Number>>(&value.content)) {
            if (!put_numbers(member.type, offset, *numbers)) wrong(member, value, name, where);
        } else if (const auto* const text = std::get_if<std::string>(&value.content)) {
            if (!put_text(member.type, offset, *text, name, where))
                wrong(member, value, name, where);
        } else if (std::holds_alternative<scene::Null>(value.content)) {
            if (member.type == miTYPE_STRING)
                put(offset, m_names.text({}));
            else if (member.type < miTYPE_SHADER || member.type == miTYPE_STRUCT)
                wrong(member, value, name, where);
            else
                put(offset, miNULLTAG);
        } else if (const auto* const structure = std::get_if<scene::StructValue>(&value.content)) {
            if (member.type == miTYPE_STRUCT)
                fill_members(member.members, offset, structure->members, name + '.');
            else
                wrong(member, value, name, where);
        } else {
            wrong(member, value, name, where);
        }
    }

    // False if the numbers do not fit the type.
    bool put_numbers(miParam_type type, int offset, const std::vector<scene::Number>& numbers) {
        std::size_t least = 1, most = 1;
        switch (type) {
        case miTYPE_BOOLEAN:
        case miTYPE_INTEGER:
        case miTYPE_SCALAR:
            break;
        case miTYPE_VECTOR:
            least = most = 3;
            break;
        case miTYPE_COLOR:
            least = 3, most = 4;
            break;
        case miTYPE_TRANSFORM:
            least = most = 16;
            break;
        default:
            return false;
        }
        if (numbers.size() < least || numbers.size() > most) return false;
        if (type == miTYPE_BOOLEAN || type == miTYPE_INTEGER) {
            const scene::Number& number = numbers.front();
            if (number.kind == scene::NumberKind::real) return false;
            if (type == miTYPE_INTEGER && number.kind == scene::NumberKind::boolean) return false;
            const auto whole = static_cast<miInteger>(number.value);
            put(offset, type == miTYPE_BOOLEAN ? miInteger{whole != 0} : whole);
            return true;
        }
        for (const scene::Number& number : numbers)
            if (number.kind == scene::NumberKind::boolean) return false;
        for (const scene::Number& number : numbers) {
            put(offset, static_cast<miScalar>(number.value));
            offset += 4;
        }
        // A color of three numbers has alpha 0, even if its default has another alpha.
        if (type == miTYPE_COLOR && numbers.size() == 3) put(offset, miScalar{0});
        return true;
    }

    bool put_text(miParam_type type, int offset, const std::string& text, const std::string& name,
                  scene::Location where) {
        if (type == miTYPE_STRING) {
            put(offset, m_names.text(text));
            return true;
        }
        if (basic_size(type) != 4 || type < miTYPE_SHADER) return false;
        miTag tag = miNULLTAG;
        if (!text.empty()) {
            std::optional<miTag> found = m_names.reference(type, text);
            if (!found && type == miTYPE_SHADER && m_report.unknown)
                if (const Function* const made = m_names.stand_in(text, where)) found = made->tag;
            if (found)
                tag = *found;
            else
                unknown(where, "parameter \"" + name + "\": there is no " +
                                   std::string(param_type_name(type)) + " \"" + text + '"');
        }
        put(offset, tag);
        return true;
    }

    void connect(const Member& member, int offset, const std::string& source,
                 const std::string& name, scene::Location where) {
        const Function* function = m_names.shader(source);
        std::string_view field;
        if (function == nullptr) {
            const std::size_t dot = source.rfind('.');
            if (dot != std::string::npos) {
                function = m_names.shader(std::string_view(source).substr(0, dot));
                field = std::string_view(source).substr(dot + 1);
            }
        }
        if (function == nullptr && m_report.unknown)
            function =
                m_names.stand_in(std::string_view(source).substr(0, source.rfind('.')), where);
        if (function == nullptr) {
            unknown(where, "parameter \"" + name + "\" is connected to \"" + source +
                               "\", which is not the name of a shader");
            return;
        }

        const DeclaredShader& from = *function->declaration;
        Connection connection;
        connection.offset = offset;
        connection.source = function->tag;
        connection.source_type = from.result_type;
        connection.target_type = member.type;
        connection.size = member.size;
        // A stand-in has no members: any member is its color.
        if (!field.empty() && !from.built_in) {
            const auto found = find_member(from.result_members, field);
            if (!found) {
                unknown(where, "parameter \"" + name + "\" is connected to \"" + source +
                                   "\", but the result of shader \"" +
                                   source.substr(0, source.rfind('.')) + "\" has no member \"" +
                                   std::string(field) + '"');
                return;
            }
            connection.source_type = found->member->type;
            connection.source_offset = found->offset;
        } else if (from.result_type == miTYPE_STRUCT && member.type != miTYPE_STRUCT &&
                   !from.result_members.empty()) {
            connection.source_type = from.result_members.front().type;
        }
        const bool whole_struct = connection.source_type == miTYPE_STRUCT &&
                                  member.type == miTYPE_STRUCT && from.result_size == member.size;
        if (!whole_struct && !convertible(connection.source_type, member.type)) {
            // The type of the result that a stand-in replaces is unknown.
            if (from.built_in) return;
            mistake(where, "parameter \"" + name + "\" is a " +
                               std::string(param_type_name(member.type)) + " and cannot take the " +
                               std::string(param_type_name(connection.source_type)) + " of \"" +
                               source + '"');
            return;
        }
        m_block.connections.push_back(connection);
    }

    const DeclaredShader& m_declaration;
    NameResolver& m_names;
    scene::Diagnostics& m_diagnostics;
    const BlockReport m_report;
    ParameterBlock m_block;
};

} // namespace

ParameterBlock fill_block(const DeclaredShader& declaration,
                          const std::vector<scene::Parameter>& parameters, NameResolver& names,
                          scene::Diagnostics& diagnostics, BlockReport report) {
    return Filler(declaration, names, diagnostics, report).run(parameters);
}

} // namespace vx::shading
