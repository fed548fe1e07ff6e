/*
 * Makes shader instances from the calls in a scene: named ones, anonymous ones that belong to an
 * element, and lists of both.
 *
 * A list is linked through next_function. A named shader that is not the last of a longer list
 * enters it as a copy, so that it does not drag its successor along wherever else it is used;
 * copies follow when their original is redefined.
 */
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

/* Elements by kind and name. */
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

    /* 0 when there is none. */
    [[nodiscard]] miTag find(Kind kind, std::string_view name) const;
    void set(Kind kind, const std::string& name, miTag tag);
    void remove(Kind kind, const std::string& name);

  private:
    std::map<std::string, miTag, std::less<>> m_tags[kKindCount];
};

/* The shader instances that one element owns. Filled again when the element is redefined, in the
 * same order, so that their tags stay. */
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
    std::unordered_map<std::string, int> m_names; /* how often each was given since the restart */
};

class ShaderBuilder final : public NameResolver {
  public:
    ShaderBuilder(Context& context, scene::Diagnostics& diagnostics, NameTable& names)
        : m_context(context), m_diagnostics(diagnostics), m_names(names) {}

    void declare(const scene::Declaration& declaration);

    /* The first function of a list; 0 for an empty one. `owner` names it in messages. */
    miTag list(const scene::ShaderList& shaders, OwnedShaders& owned, const std::string& owner);
    /* The named shader: the first of the list has the tag of that name, also when it changes. */
    void named(const scene::NamedShader& shader, OwnedShaders& owned);
    /* Removes what the element no longer uses. */
    void trim(OwnedShaders& owned);

    /* Marks the functions of a list as surface shaders of a material. */
    void mark_surface(miTag first);

    /* Parameters of a user data block. */
    Block data_block(const scene::ShaderCall& call, const Declaration& declaration);

    /* Names that were unknown are looked up once more; what is still unknown is an error now. */
    void complete();

    std::optional<miTag> reference(miParam_type type, std::string_view name) override;
    const Function* shader(std::string_view name) override;
    miTag text(std::string_view text) override;

    /* Names of user data blocks that were left out: no error where they are used. */
    std::set<std::string, std::less<>> skipped_data;

  private:
    struct Pending {
        miTag tag;
        scene::ShaderCall call;
    };

    Declaration& declaration_for(const scene::ShaderCall& call);
    miTag build(const scene::ShaderCall& call, const std::string& name, miTag existing,
                BlockReport report);
    miTag copy(miTag original, const std::string& name, miTag existing);
    miTag next_owned(OwnedShaders& owned) const;
    /* "OWNER / SHADER", and a number from the second one on. */
    static std::string owned_name(OwnedShaders& owned, const std::string& owner,
                                  const std::string& shader);
    void keep(OwnedShaders& owned, miTag tag);
    /* The functions of a list, in order. `named`: the first is the shader called `owner`. */
    std::vector<miTag> members(const scene::ShaderList& shaders, OwnedShaders& owned,
                               const std::string& owner, bool named);
    void chain(const std::vector<miTag>& tags);

    Context& m_context;
    scene::Diagnostics& m_diagnostics;
    NameTable& m_names;
    std::map<std::string, miTag, std::less<>> m_texts;
    std::vector<Pending> m_pending;
    std::map<miTag, miTag> m_copies; /* copy -> original */
};

} // namespace vx::shading
