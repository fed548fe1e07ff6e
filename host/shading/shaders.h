// Makes shader instances from the shader calls in a scene: named shaders, anonymous ones that
// belong to an element, and lists of both.
//
// Lists are linked by next_function. A named shader that is not the last of a longer list is copied
// into it, because the link would otherwise apply wherever else the shader is used; copies are
// updated if the original is redefined.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/scene/elements.h"
#include "host/shading/block.h"
#include "host/shading/context.h"

namespace vx::shading {

// Tags of elements by kind and name.
class NameTable {
  public:
    enum class Kind {
        options,
        camera,
        light,
        texture,
        material,
        shader,
        data,
        object,
        instance,
        group
    };
    static constexpr std::size_t kKindCount = 10;

    // 0 if there is none.
    [[nodiscard]] miTag find(Kind kind, std::string_view name) const;
    void set(Kind kind, const std::string& name, miTag tag);
    void remove(Kind kind, const std::string& name);

  private:
    std::map<std::string, miTag, std::less<>> m_tags[kKindCount];
};

// The shader instances that one element owns. A redefinition of the element fills the list again in
// the same order, so that the tags stay.
class OwnedShaders {
  public:
    void restart() {
        m_used = 0;
        m_names.clear();
    }

  private:
    friend class ShaderBuilder;
    std::vector<miTag> m_tags;
    std::size_t m_used = 0;
    std::unordered_map<std::string, int> m_names; // number of uses since the restart
};

class ShaderBuilder final : public NameResolver {
  public:
    ShaderBuilder(Context& context, scene::Diagnostics& diagnostics, NameTable& names)
        : m_context(context), m_diagnostics(diagnostics), m_names(names) {}

    void declare(const scene::Declaration& declaration);

    // The first function of a list; 0 for an empty one. `owner` is part of the instances' names.
    miTag list(const scene::ShaderList& shaders, OwnedShaders& owned, const std::string& owner);
    // Defines a named shader: the first of the list. A redefinition keeps its tag.
    void named(const scene::NamedShader& shader, OwnedShaders& owned);
    // Removes instances that the element no longer uses.
    void trim(OwnedShaders& owned);

    // Marks the functions of a list as surface shaders of a material.
    void mark_surface(miTag first);

    // The contents of a user data block.
    ParameterBlock data_block(const scene::ShaderCall& call, const DeclaredShader& declaration);

    // Looks up names that were unknown before and reports those that still are.
    void complete();

    std::optional<miTag> reference(miParam_type type, std::string_view name) override;
    const Function* shader(std::string_view name) override;
    const Function* stand_in(std::string_view name, scene::Location where) override;
    miTag text(std::string_view text) override;

    // Names of user data blocks that were left out; using them is not an error.
    std::set<std::string, std::less<>> skipped_data;

  private:
    struct Pending {
        miTag tag;
        scene::ShaderCall call;
    };

    DeclaredShader& declaration_for(const scene::ShaderCall& call);
    miTag build(const scene::ShaderCall& call, const std::string& name, miTag existing,
                BlockReport report);
    miTag copy(miTag original, const std::string& name, miTag existing);
    miTag next_owned(OwnedShaders& owned) const;
    // "OWNER / SHADER", followed by a number from the second one on.
    static std::string owned_name(OwnedShaders& owned, const std::string& owner,
                                  const std::string& shader);
    void keep(OwnedShaders& owned, miTag tag);
    // The functions of a list, in order. If `named`, the first is the shader named `owner`.
    std::vector<miTag> members(const scene::ShaderList& shaders, OwnedShaders& owned,
                               const std::string& owner, bool named);
    void chain(const std::vector<miTag>& tags);

    Context& m_context;
    scene::Diagnostics& m_diagnostics;
    NameTable& m_names;
    std::map<std::string, miTag, std::less<>> m_texts;
    std::vector<Pending> m_pending;
    std::map<miTag, miTag> m_copies; // original by copy
};

} // namespace vx::shading
