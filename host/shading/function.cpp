#include "host/shading/function.h"

#include <algorithm>
#include <cstring>

#include "host/sampling/hash.h"
#include "host/shading/lock.h"

namespace vx::shading {

namespace {

bool is_number(miParam_type type) {
    return type == miTYPE_BOOLEAN || type == miTYPE_INTEGER || type == miTYPE_SCALAR ||
           type == miTYPE_COLOR || type == miTYPE_VECTOR;
}

bool is_texture(miParam_type type) {
    return type == miTYPE_TEX || type == miTYPE_COLOR_TEX || type == miTYPE_SCALAR_TEX ||
           type == miTYPE_VECTOR_TEX;
}

// Types whose values are tags of anything but texts.
bool is_reference(miParam_type type) {
    switch (type) {
    case miTYPE_SHADER:
    case miTYPE_LIGHT:
    case miTYPE_MATERIAL:
    case miTYPE_GEOMETRY:
    case miTYPE_LIGHTPROFILE:
    case miTYPE_DATA:
        return true;
    default:
        return is_texture(type);
    }
}

template <class T>
T read(const void* value) {
    T result;
    std::memcpy(&result, value, sizeof result);
    return result;
}

miColor to_color(miParam_type from, const void* value) {
    switch (from) {
    case miTYPE_COLOR:
        return read<miColor>(value);
    case miTYPE_VECTOR: {
        const auto v = read<miVector>(value);
        return {v.x, v.y, v.z, 1};
    }
    case miTYPE_SCALAR: {
        const auto s = read<miScalar>(value);
        return {s, s, s, 1};
    }
    default: {
        const auto s = static_cast<miScalar>(read<miInteger>(value));
        return {s, s, s, 1};
    }
    }
}

miScalar to_scalar(miParam_type from, const void* value) {
    switch (from) {
    case miTYPE_SCALAR:
        return read<miScalar>(value);
    case miTYPE_BOOLEAN:
    case miTYPE_INTEGER:
        return static_cast<miScalar>(read<miInteger>(value));
    default: {
        const miColor c = to_color(from, value);
        return (c.r + c.g + c.b) / 3;
    }
    }
}

miInteger to_integer(miScalar s) {
    // The conversion is undefined outside of the range and for NaN.
    if (!(s > -2147483648.0f)) return s <= -2147483648.0f ? INT32_MIN : 0;
    return s < 2147483648.0f ? static_cast<miInteger>(s) : INT32_MAX;
}

} // namespace

bool convertible(miParam_type from, miParam_type to) {
    if (from == to) return from != miTYPE_STRUCT && from != miTYPE_ARRAY;
    if (is_number(from) && is_number(to)) return true;
    if (is_texture(from) && is_texture(to)) return true;
    return from == miTYPE_SHADER && is_reference(to);
}

void convert(miParam_type from, const void* value, miParam_type to, void* result) {
    if (from == to || !is_number(from) || !is_number(to)) {
        std::memcpy(result, value, static_cast<std::size_t>(basic_size(to)));
        return;
    }
    switch (to) {
    case miTYPE_COLOR: {
        const miColor c = to_color(from, value);
        std::memcpy(result, &c, sizeof c);
        return;
    }
    case miTYPE_VECTOR: {
        const miColor c = to_color(from, value);
        const miVector v = {c.r, c.g, c.b};
        std::memcpy(result, &v, sizeof v);
        return;
    }
    case miTYPE_SCALAR: {
        const miScalar s = to_scalar(from, value);
        std::memcpy(result, &s, sizeof s);
        return;
    }
    default: {
        const bool whole = from == miTYPE_INTEGER || from == miTYPE_BOOLEAN;
        miInteger i = whole ? read<miInteger>(value) : to_integer(to_scalar(from, value));
        if (to == miTYPE_BOOLEAN)
            i = (whole ? i != 0 : to_scalar(from, value) != 0.0f) ? miTRUE : miFALSE;
        std::memcpy(result, &i, sizeof i);
        return;
    }
    }
}

std::string Function::label() const {
    return "shader \"" + declaration->name() + "\" (instance \"" + name + "\")";
}

FunctionTable::FunctionTable(db::Database& database)
    : m_database(database), m_no_shader(m_memory.allocate(0)) {
    m_no_shader->connected = 1;
}

FunctionTable::~FunctionTable() {
    for (const auto& function : m_functions)
        delete_lock(function->lock);
    for (const auto& declaration : m_declarations)
        if (const auto* const record =
                m_database.find<miFunction_decl>(declaration->tag, miSCENE_FUNCTION_DECL))
            delete_lock(record->lock);
}

namespace {

// The parameters as text, in the form of a declaration.
void encode(const std::vector<Member>& members, std::string& text) {
    for (const Member& member : members) {
        if (&member != &members.front()) text += ", ";
        if (member.array) text += "array ";
        text += param_type_name(member.type);
        if (member.type != miTYPE_STRUCT) {
            text += " \"" + member.name + '"';
            continue;
        }
        text += " \"" + member.name + "\" { ";
        encode(member.members, text);
        text += " }";
    }
}

} // namespace

DeclaredShader& FunctionTable::declare(const scene::Declaration& source) {
    m_declarations.push_back(lay_out(source));
    DeclaredShader& declaration = *m_declarations.back();

    std::string encoded;
    encode(declaration.parameters, encoded);
    const std::size_t name_at = offsetof(miFunction_decl, name);
    const std::size_t encoded_at = name_at + source.name.size() + 1;
    const std::size_t bytes = std::max(sizeof(miFunction_decl), encoded_at + encoded.size() + 1);
    declaration.tag = m_database.create(miSCENE_FUNCTION_DECL, bytes);
    m_database.set_name(declaration.tag, source.name);

    auto* const record = static_cast<miFunction_decl*>(m_database.find(declaration.tag));
    record->type = source.kind == scene::DeclarationKind::data ? miFUNCTION_DATA : miFUNCTION_C;
    record->result_type = declaration.result_type;
    record->result_size = declaration.result_size;
    record->version = source.version;
    record->parameter_offs = static_cast<int>(encoded_at);
    char* const text = reinterpret_cast<char*>(record);
    std::memcpy(text + name_at, source.name.c_str(), source.name.size() + 1);
    std::memcpy(text + encoded_at, encoded.c_str(), encoded.size() + 1);
    record->lock = make_lock();

    m_by_name[source.name] = &declaration;
    m_by_tag[declaration.tag] = &declaration;
    return declaration;
}

DeclaredShader* FunctionTable::declaration(std::string_view name) const {
    const auto found = m_by_name.find(std::string(name));
    return found == m_by_name.end() ? nullptr : found->second;
}

DeclaredShader* FunctionTable::declaration(miTag tag) const {
    const auto found = m_by_tag.find(tag);
    return found == m_by_tag.end() ? nullptr : found->second;
}

Function* FunctionTable::create(DeclaredShader& declaration, std::size_t parameter_size,
                                std::string name, miTag existing) {
    miFunction* const record = m_memory.allocate(parameter_size);
    if (record == nullptr) return nullptr;

    Function* function = existing == miNULLTAG ? nullptr : find(existing);
    if (function == nullptr) {
        m_functions.push_back(std::make_unique<Function>());
        function = m_functions.back().get();
        function->index = m_functions.size() - 1;
        function->lock = make_lock();
    }
    miFunction* const old = function->record;

    record->spare[0] = function;
    record->type = miFUNCTION_C;
    record->function_decl = declaration.tag;
    record->result_size = declaration.result_size;
    function->record = record;
    function->declaration = &declaration;
    function->name = std::move(name);
    function->name_hash = sampling::hash_text(function->name);
    function->connections.clear();
    function->stage.store(Function::Stage::cold, std::memory_order_relaxed);
    m_by_address[record->parameters] = function;

    if (old == nullptr) {
        function->tag = m_database.adopt(miSCENE_FUNCTION, record, 0, nullptr);
    }
    const std::size_t bytes = offsetof(miFunction, parameters) + parameter_size;
    m_database.replace(function->tag, miSCENE_FUNCTION, record, bytes, nullptr);
    m_database.set_name(function->tag, function->name);
    if (old != nullptr) {
        m_by_address.erase(old->parameters);
        m_memory.release(old);
    }
    return function;
}

void FunctionTable::connect(Function& function) {
    miFunction& record = *function.record;
    std::sort(function.connections.begin(), function.connections.end(),
              [](const Connection& a, const Connection& b) { return a.offset < b.offset; });
    std::memset(record.parameters + record.ghost_offs, 0,
                static_cast<std::size_t>(record.parameter_size));
    for (const Connection& connection : function.connections)
        std::memcpy(record.parameters + connection.offset + record.ghost_offs, &connection.source,
                    sizeof(miTag));
    record.connected = !function.connections.empty() || function.surface ? 1 : 0;
}

void FunctionTable::remove(miTag tag) {
    Function* const function = find(tag);
    if (function == nullptr) return;
    m_database.remove(tag);
    m_by_address.erase(function->record->parameters);
    m_memory.release(function->record);
    function->record = nullptr;
    function->connections.clear();
}

Function* FunctionTable::owner(const void* parameter) const {
    const auto* const address = static_cast<const char*>(parameter);
    auto after = m_by_address.upper_bound(address);
    if (after == m_by_address.begin()) return nullptr;
    Function* const function = std::prev(after)->second;
    return address - function->record->parameters < function->record->parameter_size ? function
                                                                                     : nullptr;
}

} // namespace vx::shading
