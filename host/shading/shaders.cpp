#include "host/shading/shaders.h"

#include <algorithm>
#include <cstring>

#include "host/shading/stand_in.h"

namespace vx::shading {

using Kind = NameTable::Kind;

miTag NameTable::find(Kind kind, std::string_view name) const {
    const auto& tags = tags_[static_cast<std::size_t>(kind)];
    const auto found = tags.find(name);
    return found == tags.end() ? miNULLTAG : found->second;
}

void NameTable::set(Kind kind, const std::string& name, miTag tag) {
    tags_[static_cast<std::size_t>(kind)][name] = tag;
}

void NameTable::remove(Kind kind, const std::string& name) {
    tags_[static_cast<std::size_t>(kind)].erase(name);
}

void ShaderBuilder::declare(const scene::Declaration& declaration) {
    if (declaration.kind != scene::DeclarationKind::phenomenon)
        context_.functions.declare(declaration);
}

Declaration& ShaderBuilder::declaration_for(const scene::ShaderCall& call) {
    if (Declaration* const known = context_.functions.declaration(call.declaration)) return *known;
    diagnostics_.warning_once("undeclared shader " + call.declaration, call.where,
                              "shader \"" + call.declaration +
                                  "\" is not declared; a stand-in is used for it");
    Declaration& made = context_.functions.declare(stand_in_declaration(call.declaration));
    made.built_in = stand_in_code();
    return made;
}

miTag ShaderBuilder::build(const scene::ShaderCall& call, const std::string& name, miTag existing,
                           BlockReport report) {
    Declaration& declaration = declaration_for(call);
    static const std::vector<scene::Parameter> none;
    /* Of a stand-in's parameters nothing is known. */
    const Block block = fill_block(declaration, declaration.built_in ? none : call.parameters,
                                   *this, diagnostics_, report);
    Function* const function =
        context_.functions.create(declaration, block.bytes.size(), name, existing);
    if (function == nullptr) {
        diagnostics_.error(call.where, "shader \"" + call.declaration +
                                           "\": its parameters take more than " +
                                           std::to_string(RecordMemory::ghost_distance) + " bytes");
        return miNULLTAG;
    }
    if (!block.bytes.empty())
        std::memcpy(function->record->parameters, block.bytes.data(), block.bytes.size());
    function->connections = block.connections;
    FunctionTable::connect(*function);
    std::erase_if(pending_, [&](const Pending& p) { return p.tag == function->tag; });
    copies_.erase(function->tag);
    if (!block.complete) pending_.push_back({function->tag, call});
    return function->tag;
}

miTag ShaderBuilder::copy(miTag original, const std::string& name, miTag existing) {
    const Function* const from = context_.functions.find(original);
    if (from == nullptr) return existing;
    const auto bytes = static_cast<std::size_t>(from->record->parameter_size);
    Function* const to = context_.functions.create(*from->declaration, bytes, name, existing);
    std::memcpy(to->record->parameters, from->record->parameters, bytes);
    to->connections = from->connections;
    FunctionTable::connect(*to);
    copies_[to->tag] = original;
    return to->tag;
}

miTag ShaderBuilder::next_owned(Owned& owned) const {
    return owned.used_ < owned.tags_.size() ? owned.tags_[owned.used_] : miNULLTAG;
}

std::string ShaderBuilder::owned_name(Owned& owned, const std::string& owner,
                                      const std::string& shader) {
    const std::string name = owner + " / " + shader;
    const int number = ++owned.names_[name];
    return number == 1 ? name : name + " " + std::to_string(number);
}

void ShaderBuilder::keep(Owned& owned, miTag tag) {
    if (tag == miNULLTAG) return;
    if (owned.used_ == owned.tags_.size()) owned.tags_.push_back(tag);
    owned.tags_[owned.used_++] = tag;
}

void ShaderBuilder::trim(Owned& owned) {
    for (std::size_t i = owned.used_; i < owned.tags_.size(); ++i) {
        const miTag tag = owned.tags_[i];
        std::erase_if(pending_, [tag](const Pending& p) { return p.tag == tag; });
        copies_.erase(tag);
        context_.functions.remove(tag);
    }
    owned.tags_.resize(owned.used_);
}

std::vector<miTag> ShaderBuilder::members(const scene::ShaderList& shaders, Owned& owned,
                                          const std::string& owner, bool named) {
    const miTag head = named ? names_.find(Kind::shader, owner) : miNULLTAG;
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
        miTag tag = names_.find(Kind::shader, reference.name);
        if (tag == miNULLTAG || (to_head && tag == head)) continue;
        if (last && !to_head) {
            tags.push_back(tag);
            continue;
        }
        for (miTag next = miNULLTAG; tag != miNULLTAG; tag = next) {
            next = context_.functions.find(tag)->record->next_function;
            const bool into_head = to_head && tags.empty();
            const std::string& name = context_.functions.find(tag)->name;
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
        context_.functions.find(tags[i])->record->next_function = tags[i + 1];
}

miTag ShaderBuilder::list(const scene::ShaderList& shaders, Owned& owned,
                          const std::string& owner) {
    const std::vector<miTag> tags = members(shaders, owned, owner, false);
    chain(tags);
    return tags.empty() ? miNULLTAG : tags.front();
}

void ShaderBuilder::named(const scene::NamedShader& shader, Owned& owned) {
    owned.restart();
    const std::vector<miTag> tags = members(shader.shaders, owned, shader.name, true);
    if (!tags.empty()) names_.set(Kind::shader, shader.name, tags.front());
    chain(tags);
    trim(owned);
}

void ShaderBuilder::mark_surface(miTag first) {
    for (miTag tag = first; tag != miNULLTAG;) {
        Function* const function = context_.functions.find(tag);
        if (function == nullptr) return;
        function->surface = true;
        function->record->connected = 1;
        tag = function->record->next_function;
    }
}

Block ShaderBuilder::data_block(const scene::ShaderCall& call, const Declaration& declaration) {
    return fill_block(declaration, call.parameters, *this, diagnostics_, {true, true});
}

void ShaderBuilder::complete() {
    const std::vector<Pending> pending = std::move(pending_);
    pending_.clear();
    for (const Pending& p : pending) {
        const Function* const function = context_.functions.find(p.tag);
        if (function == nullptr) continue;
        const miTag next = function->record->next_function;
        build(p.call, function->name, p.tag, {false, true});
        context_.functions.find(p.tag)->record->next_function = next;
    }
    /* What is unknown has been told, and will not be told again. */
    pending_.clear();
    for (const auto& [made, original] : std::map(copies_)) {
        const Function* const function = context_.functions.find(made);
        if (function == nullptr) continue;
        const miTag next = function->record->next_function;
        copy(original, function->name, made);
        context_.functions.find(made)->record->next_function = next;
    }
}

std::optional<miTag> ShaderBuilder::reference(miParam_type type, std::string_view name) {
    const auto first_of = [&](std::initializer_list<Kind> kinds) -> std::optional<miTag> {
        for (const Kind kind : kinds)
            if (const miTag tag = names_.find(kind, name); tag != miNULLTAG) return tag;
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
    /* Elements of these kinds are not kept. */
    default:
        return miNULLTAG;
    }
}

const Function* ShaderBuilder::shader(std::string_view name) {
    const miTag tag = names_.find(Kind::shader, name);
    return tag == miNULLTAG ? nullptr : context_.functions.find(tag);
}

miTag ShaderBuilder::text(std::string_view text) {
    const auto known = texts_.find(text);
    if (known != texts_.end()) return known->second;
    const miTag tag = context_.database.create_string(text);
    texts_.emplace(std::string(text), tag);
    return tag;
}

} // namespace vx::shading
