// Shader instances: the miFunction record, which shaders see, and the host's data about it.
//
// Placement of records: a shader may evaluate a parameter of one function through a state whose
// `shader` is the record of another. The point-cloud writer does: the state of a probe's hit has
// the hit material's shader, and the parameter belongs to a tag shader connected to it, or to
// another entry of the same material list. The connection word is then read at the other record's
// ghost offset. Therefore all records share one ghost offset, whatever the sizes of their blocks:
// records lie in the lower half of large reserved address ranges, their ghost blocks at the same
// distance in the upper half (RecordMemory). Every record has a ghost block, zero where nothing is
// connected.
//
// `connected` is 1 in records that have a connection, and in those of all surface shaders of
// materials: these are the records in states of hits, and the flag of the state's record decides
// whether a ghost block is read, even for a parameter that belongs to another record.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/db/database.h"
#include "host/shading/declaration.h"

namespace vx::shading {

class RecordMemory {
  public:
    // Bytes from a parameter block to its ghost block, the same for all records; also the maximum
    // size of a record.
    static constexpr std::size_t kGhostDistance = std::size_t{256} << 20;

    RecordMemory() = default;
    ~RecordMemory();
    RecordMemory(const RecordMemory&) = delete;
    RecordMemory& operator=(const RecordMemory&) = delete;

    // A zeroed record with its blocks; ghost_offs and parameter_size are set. Null if the block is
    // too large for kGhostDistance. Throws std::bad_alloc if there is no address space left.
    miFunction* allocate(std::size_t parameter_size);
    void release(miFunction* record);

  private:
    struct Chunk {
        std::byte* base = nullptr;
        std::size_t used = 0, committed = 0;
    };
    std::byte* take(std::size_t bytes);

    std::vector<Chunk> m_chunks;
    std::multimap<std::size_t, std::byte*> m_free;
};

// How the result of a connected shader becomes the parameter's value.
struct Connection {
    int offset = 0; // of the parameter in the block
    miTag source = miNULLTAG;
    int source_offset = 0; // of the value in the result
    miParam_type source_type = miTYPE_COLOR, target_type = miTYPE_COLOR;
    int size = 0; // bytes of the value in the parameter's type
};

// Whether a result of one type can be connected to a parameter of another, and the conversion:
// color to scalar is the mean of r, g, b; scalar to color is gray with alpha 1; vector and color
// exchange xyz and rgb (alpha 1); reals are truncated to integers and are true if they are not 0.
// Tags of any kind can come from a shader whose result is a shader.
bool convertible(miParam_type from, miParam_type to);
void convert(miParam_type from, const void* value, miParam_type to, void* result);

// The host's data about one shader instance. record->spare[0] points to it; it is null in
// FunctionTable::no_shader.
struct Function {
    enum class Stage { cold, starting, ready, refused };

    miTag tag = miNULLTAG;
    std::size_t index = 0;       // in the order of creation
    std::string name;            // in the scene; "OWNER / DECLARATION" if it has none there
    std::uint64_t name_hash = 0; // the same on every machine
    DeclaredShader* declaration = nullptr;
    miFunction* record = nullptr;
    std::vector<Connection> connections; // by offset
    bool surface = false;                // surface shader of a material
    std::string_view file;               // of the scene, where the shader is called
    std::uint32_t line = 0;

    void* user_pointer = nullptr;
    miLock lock = nullptr;
    std::atomic<Stage> stage{Stage::cold};
    bool needs_exit = false;

    // For messages: shader "DECLARATION" (instance "NAME").
    [[nodiscard]] std::string label() const;
};

inline Function* function_of(const miFunction* record) {
    return static_cast<Function*>(record->spare[0]);
}

// Declared shaders by name, and all shader instances. Changes between renders only.
class FunctionTable {
  public:
    explicit FunctionTable(db::Database& database);
    ~FunctionTable();
    FunctionTable(const FunctionTable&) = delete;
    FunctionTable& operator=(const FunctionTable&) = delete;

    // After a redeclaration, new instances use the new declaration; old ones keep theirs.
    DeclaredShader& declare(const scene::Declaration& source);
    [[nodiscard]] DeclaredShader* declaration(std::string_view name) const;
    [[nodiscard]] DeclaredShader* declaration(miTag tag) const;

    // A new instance with a zeroed block of `parameter_size` bytes (at least the fixed size). If
    // `existing` is the tag of an instance, that one gets the new contents. Null if the block is
    // too large.
    Function* create(DeclaredShader& declaration, std::size_t parameter_size, std::string name,
                     miTag existing = miNULLTAG);
    // Sets the ghost words and the flag of the record from function.connections.
    static void connect(Function& function);

    // A record for states in which no shader runs, such as those of hits on materials without a
    // surface shader. It has no parameters and no Function, but the ghost offset and the flag of a
    // surface shader's record, so that parameters of other functions can be evaluated through it.
    [[nodiscard]] miFunction* no_shader() const { return m_no_shader; }

    // Removes an instance; its Function stays, with a null record.
    void remove(miTag tag);

    [[nodiscard]] Function* find(miTag tag) const noexcept {
        const auto* const record = m_database.find<miFunction>(tag, miSCENE_FUNCTION);
        return record == nullptr ? nullptr : function_of(record);
    }
    // The function whose block contains this address; null if there is none.
    [[nodiscard]] Function* owner(const void* parameter) const;
    [[nodiscard]] const std::vector<std::unique_ptr<Function>>& functions() const {
        return m_functions;
    }
    [[nodiscard]] const std::vector<std::unique_ptr<DeclaredShader>>& declarations() const {
        return m_declarations;
    }

  private:
    db::Database& m_database;
    RecordMemory m_memory;
    miFunction* const m_no_shader;
    std::vector<std::unique_ptr<DeclaredShader>> m_declarations;
    std::unordered_map<std::string, DeclaredShader*> m_by_name;
    std::unordered_map<miTag, DeclaredShader*> m_by_tag;
    std::vector<std::unique_ptr<Function>> m_functions;
    std::map<const char*, Function*> m_by_address;
};

} // namespace vx::shading
