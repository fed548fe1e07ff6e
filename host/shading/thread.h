// Data of one rendering thread: the chain of its shader calls, memory for results of connected
// shaders, data attached to states, and pointers per shader instance.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/db/pin_cache.h"
#include "host/shading/lock.h"
#include "shader.h"

namespace vx::shading {

class Context;
struct Function;

// A stack of memory blocks that never move.
class StackMemory {
  public:
    struct Mark {
        std::size_t chunk = 0, used = 0;
    };
    // Zeroed and aligned to 16.
    void* allocate(std::size_t bytes);
    [[nodiscard]] Mark mark() const { return {m_chunk, m_used}; }
    // Frees the blocks allocated since `mark`.
    void release(Mark mark);

  private:
    struct Chunk {
        std::unique_ptr<std::byte[]> memory;
        std::size_t size = 0;
    };
    std::vector<Chunk> m_chunks;
    std::size_t m_chunk = 0, m_used = 0;
};

// One shader call; lives on the stack of the function that makes the call.
class CallFrame {
  public:
    CallFrame(Context& context, const Function& called, miState* call_state, miShader_type as,
              miFunction* record);
    ~CallFrame();
    CallFrame(const CallFrame&) = delete;
    CallFrame& operator=(const CallFrame&) = delete;

    // Zeroed memory for the value of `param`. There is one block per parameter and call, so that a
    // loop that evaluates the same parameter repeatedly needs no more memory.
    void* result_memory(const void* param, std::size_t bytes);

    const Function& function;
    miState* const state;
    const miShader_type role;
    CallFrame* const previous;
    const int depth;       // number of nested calls on this thread, including this one
    const int evaluations; // number of nested evaluations since the last call of any other kind
    // A ray, a lookup or a shader below this call returned false: if this call returns false, too,
    // it passes that result on.
    bool false_below = false;

  private:
    struct Result {
        const void* param;
        std::size_t bytes;
        Result* next;
    };
    class ThreadContext& m_thread;
    miFunction* const m_caller;
    const StackMemory::Mark m_mark;
    Result* m_results = nullptr;
};

// Calls of one shader instance by one thread.
struct CallCount {
    std::uint64_t calls = 0, failed = 0;
};

class ThreadContext {
  public:
    ThreadContext(int thread_number, db::Database& database)
        : number(thread_number), pins(database) {}

    const int number; // miState::thread; 0 for the first thread
    CallFrame* top = nullptr;
    StackMemory results;
    db::PinCache pins; // of elements that shaders access
    HeldLocks locks;
    std::vector<CallCount> call_counts; // by Function::index, since the start of the render

    void count_call(std::size_t index, bool failed) {
        if (index >= call_counts.size()) call_counts.resize(index + 1);
        ++call_counts[index].calls;
        if (failed) ++call_counts[index].failed;
    }
    // A ray or a lookup by the running shader returned false.
    void note_false_below() {
        if (top != nullptr) top->false_below = true;
    }

    // The text with the running shader in front; the text alone outside of shaders.
    [[nodiscard]] std::string with_shader(std::string_view text) const;

    // Data attached to states. state_data searches the state and then its parents, so data is not
    // visible in other branches of calls. set_state_data with the same size on the same state
    // replaces the bytes in place.
    bool set_state_data(const miState* state, std::string_view key, const void* data, int size,
                        int lifetime);
    void* state_data(const miState* state, std::string_view key, int* size);
    // For the end of the call that owns `state`. Cheap if nothing is attached.
    void drop_state_data(const miState* state);
    // For the end of a tile: drops data that was set with miSS_LIFETIME_RECT.
    void end_tile();
    [[nodiscard]] std::size_t state_data_count() const { return m_data.size(); }

    // This thread's pointer for a shader instance, by Function::index.
    [[nodiscard]] void* instance_pointer(std::size_t index) const {
        return index < m_instance_pointers.size() ? m_instance_pointers[index] : nullptr;
    }
    void set_instance_pointer(std::size_t index, void* pointer);
    void clear_instance_pointers() { m_instance_pointers.clear(); }

    // As CallFrame::result_memory, for evaluations outside of shader calls.
    void* outer_result_memory(const void* param, std::size_t bytes);
    // Drops data attached to states, and the blocks of outer_result_memory.
    void clear();

    // For results that live until the next call of the same kind on this thread, such as light
    // lists.
    std::vector<miTag> tag_scratch;

  private:
    struct StateData {
        const miState* owner; // null for data of the tile
        std::string key;
        std::unique_ptr<std::byte[]> bytes;
        int size;
    };
    StateData* find_data(const miState* owner, std::string_view key);

    std::vector<StateData> m_data;
    std::vector<void*> m_instance_pointers;
    std::map<std::pair<const void*, std::size_t>, std::unique_ptr<std::byte[]>> m_outer_results;
};

// Drops the data attached to a state at the end of the call that the state was made for. The
// renderer needs one for each state whose shaders it calls. (The state itself stays readable until
// the next call from its parent.)
class StateScope {
  public:
    StateScope(ThreadContext& thread, const miState& state) : m_thread(thread), m_state(state) {}
    ~StateScope() { m_thread.drop_state_data(&m_state); }
    StateScope(const StateScope&) = delete;
    StateScope& operator=(const StateScope&) = delete;

  private:
    ThreadContext& m_thread;
    const miState& m_state;
};

} // namespace vx::shading
