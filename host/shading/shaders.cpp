#include "host/shading/shaders.h"

#include <algorithm>
#include <cstring>

#include "host/shading/stand_in.h"

namespace vx::shading {

using Kind = NameTable::Kind;

miTag NameTable::find(Kind kind, std::string_view name) const {
    const auto& tags = m_tags[static_cast<std::size_t>(kind)];
    const auto found = tags.find(name);
    return found == tags.end() ? miNULLTAG : found->second;
}

void NameTable::set(Kind kind, const std::string& name, miTag tag) {
    m_tags[static_cast<std::size_t>(kind)][name] = tag;
}

void NameTable::remove(Kind kind, const std::string& name) {
    m_tags[static_cast<std::size_t>(kind)].erase(name);
}

void ShaderBuilder::declare(const scene::Declaration& declaration) {
    if (declaration.kind != scene::DeclarationKind::phenomenon)
        m_context.functions.declare(declaration);
}

DeclaredShader& ShaderBuilder::declaration_for(const scene::ShaderCall& call) {
    if (DeclaredShader* const known = m_context.functions.declaration(call.declaration))
        return *known;
    m_diagnostics.warning_once("undeclared shader " + call.declaration, call.where,
                               "shader \"" + call.declaration +
                                   "\" is not declared; a stand-in is used for it");
    DeclaredShader& made = m_context.functions.declare(stand_in_declaration(call.declaration));
    made.built_in = stand_in_code();
    return made;
}

miTag ShaderBuilder::build(const scene::ShaderCall& call, const std::string& name, miTag existing,
                           BlockReport report) {
    DeclaredShader& declaration = declaration_for(call);
    if (declaration.built_in && !report.unknown)
        m_diagnostics.omit(scene::Omission::stand_in, '"' + call.declaration + '"');
    static const std::vector<scene::Parameter> kNone;
    // The parameters of a stand-in are unknown.
    const ParameterBlock block = fill_block(
        declaration, declaration.built_in ? kNone : call.parameters, *this, m_diagnostics, report);
    Function* const function =
        m_context.functions.create(declaration, block.bytes.size(), name, existing);
    if (function == nullptr) {
        m_diagnostics.error(call.where,
                            "shader \"" + call.declaration + "\": its parameters take more than " +
                                std::to_string(RecordMemory::kGhostDistance) + " bytes");
        return miNULLTAG;
    }
    function->file = m_diagnostics.file_name(call.where.file);
    function->line = call.where.line;
    if (!block.bytes.empty())
        std::memcpy(function->record->parameters, block.bytes.data(), block.bytes.size());
    function->connections = block.connections;
    FunctionTable::connect(*function);
    std::erase_if(m_pending, [&](const Pending& p) { return p.tag == function->tag; });
    m_copies.erase(function->tag);
    if (!block.complete) m_pending.push_back({function->tag, call});
    return function->tag;
}

miTag ShaderBuilder::copy(miTag original, const std::string& name, miTag existing) {
    const Function* const from = m_context.functions.find(original);
    if (from == nullptr) return existing;
    const auto bytes = static_cast<std::size_t>(from->record->parameter_size);
    Function* const to = m_context.functions.create(*from->declaration, bytes, name, existing);
    std::memcpy(to->record->parameters, from->record->parameters, bytes);
    to->connections = from->connections;
    to->file = from->file;
    to->line = from->line;
    FunctionTable::connect(*to);
    m_copies[to->tag] = original;
    return to->tag;
}

miTag ShaderBuilder::next_owned(OwnedShaders& owned) const {
    return owned.m_used < owned.m_tags.size() ? owned.m_tags[owned.m_used] : miNULLTAG;
}

std::string ShaderBuilder::owned_name(OwnedShaders& owned, const std::string& owner,
                                      const std::string& shader) {
    const std::string name = owner + " / " + shader;
    const int number = ++owned.m_names[name];
    return number == 1 ? name : name + " " + std::to_string(number);
}

void ShaderBuilder::keep(OwnedShaders& owned, miTag tag) {
    if (tag == miNULLTAG) return;
    if (owned.m_used == owned.m_tags.size()) owned.m_tags.push_back(tag);
    owned.m_tags[owned.m_used++] = tag;
}

void ShaderBuilder::trim(OwnedShaders& owned) {
    for (std::size_t i = owned.m_used; i < owned.m_tags.size(); ++i) {
        const miTag tag = owned.m_tags[i];
        std::erase_if(m_pending, [tag](const Pending& p) { return p.tag == tag; });
        m_copies.erase(tag);
        m_context.functions.remove(tag);
    }
    owned.m_tags.resize(owned.m_used);
}

std::vector<miTag> ShaderBuilder::members(const scene::ShaderList& shaders, OwnedShaders& owned,
                                          const std::string& owner, bool named) {
    const miTag head = named ? m_names.find(Kind::shader, owner) : miNULLTAG;
    std::vector<miTag> tags;
    for (std::size_t i = 0; i < shaders.size(); ++i) {
        const bool to_head = named && i == 0;
        const bool last = i + 1 == shaders.size();
        if (const auto* const call = std::get_if<scene::ShaderCall>(&shaders[i])) {
            const miTag tag =
                build(*call, to_head ? owner : owned_name(owned, owner, call->declaration),
                      to_head ? head : next_owned(owned), {});
            if (!to_head) keep(owned, tag);
            if (tag != miNULLTAG) tags.push_back(tag);
            continue;
        }
        const auto& reference = std::get<scene::ShaderReference>(shaders[i]);
        miTag tag = m_names.find(Kind::shader, reference.name);
        if (tag == miNULLTAG || (to_head && tag == head)) continue;
        if (last && !to_head) {
            tags.push_back(tag);
            continue;
        }
        for (miTag next = miNULLTAG; tag != miNULLTAG; tag = next) {
            next = m_context.functions.find(tag)->record->next_function;
            const bool into_head = to_head && tags.empty();
            const std::string& name = m_context.functions.find(tag)->name;
            const miTag made = copy(tag, into_head ? owner : owned_name(owned, owner, name),
                                    into_head ? head : next_owned(owned));
            if (!into_head) keep(owned, made);
            tags.push_back(made);
        }
    }
    return tags;
}

void ShaderBuilder::chain(const std::vector<miTag>& tags) {
    for (std::size_t i = 0; i + 1 < tags.size(); ++i)
        m_context.functions.find(tags[i])->record->next_function = tags[i + 1];
}

miTag ShaderBuilder::list(const scene::ShaderList& shaders, OwnedShaders& owned,
                          const std::string& owner) {
    const std::vector<miTag> tags = members(shaders, owned, owner, false);
    chain(tags);
    return tags.empty() ? miNULLTAG : tags.front();
}

void ShaderBuilder::named(const scene::NamedShader& shader, OwnedShaders& owned) {
    owned.restart();
    const std::vector<miTag> tags = members(shader.shaders, owned, shader.name, true);
    if (!tags.empty()) m_names.set(Kind::shader, shader.name, tags.front());
    chain(tags);
    trim(owned);
}

void ShaderBuilder::mark_surface(miTag first) {
    for (miTag tag = first; tag != miNULLTAG;) {
        Function* const function = m_context.functions.find(tag);
        if (function == nullptr) return;
        function->surface = true;
        function->record->connected = 1;
        tag = function->record->next_function;
    }
}

ParameterBlock ShaderBuilder::data_block(const scene::ShaderCall& call,
                                         const DeclaredShader& declaration) {
    return fill_block(declaration, call.parameters, *this, m_diagnostics, {true, true});
}

void ShaderBuilder::complete() {
    const std::vector<Pending> pending = std::move(m_pending);
    m_pending.clear();
    for (const Pending& p : pending) {
        const Function* const function = m_context.functions.find(p.tag);
        if (function == nullptr) continue;
        const miTag next = function->record->next_function;
        build(p.call, function->name, p.tag, {false, true});
        m_context.functions.find(p.tag)->record->next_function = next;
    }
    // Unknown names have been reported and are not reported again.
    m_pending.clear();
    for (const auto& [made, original] : std::map(m_copies)) {
        const Function* const function = m_context.functions.find(made);
        if (function == nullptr) continue;
        const miTag next = function->record->next_function;
        copy(original, function->name, made);
        m_context.functions.find(made)->record->next_function = next;
    }
}

std::optional<miTag> ShaderBuilder::reference(miParam_type type, std::string_view name) {
    const auto first_of = [&](std::initializer_list<Kind> kinds) -> std::optional<miTag> {
        for (const Kind kind : kinds)
            if (const miTag tag = m_names.find(kind, name); tag != miNULLTAG) return tag;
        return std::nullopt;
    };
    switch (type) {
    case miTYPE_SHADER:
        return first_of({Kind::shader});
    case miTYPE_TEX:
    case miTYPE_COLOR_TEX:
    case miTYPE_SCALAR_TEX:
    case miTYPE_VECTOR_TEX:
        return first_of({Kind::texture, Kind::shader});
    case miTYPE_LIGHT:
        return first_of({Kind::instance, Kind::light, Kind::group});
    case miTYPE_MATERIAL:
        return first_of({Kind::material});
    case miTYPE_GEOMETRY:
        return first_of({Kind::instance, Kind::object, Kind::group});
    case miTYPE_DATA:
        if (skipped_data.contains(name)) return miNULLTAG;
        return first_of({Kind::data});
    // There are no elements of these types.
    default:
        return miNULLTAG;
    }
}

const Function* ShaderBuilder::shader(std::string_view name) {
    const miTag tag = m_names.find(Kind::shader, name);
    return tag == miNULLTAG ? nullptr : m_context.functions.find(tag);
}

const Function* ShaderBuilder::stand_in(std::string_view name, scene::Location where) {
    const std::string text(name);
    const DeclaredShader* const known = m_context.functions.declaration(text);
    if (known != nullptr && !known->built_in) return nullptr;
    const miTag tag = build({text, {}, where}, text, miNULLTAG, {});
    m_names.set(Kind::shader, text, tag);
    return m_context.functions.find(tag);
}

miTag ShaderBuilder::text(std::string_view text) {
    const auto known = m_texts.find(text);
    if (known != m_texts.end()) return known->second;
    const miTag tag = m_context.database.create_string(text);
    m_texts.emplace(std::string(text), tag);
    return tag;
}

} // namespace vx::shading
