/*
 * What belongs to one rendering thread: the chain of shader calls that it is in, memory for the
 * results of connected shaders, data attached to states, and per-instance pointers.
 */
#pragma once

#include <cstddef>
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

/* Stack-like memory whose blocks never move. */
class Arena {
  public:
    struct Mark {
        std::size_t chunk = 0, used = 0;
    };
    /* Zeroed, aligned to 16. */
    void* allocate(std::size_t bytes);
    [[nodiscard]] Mark mark() const { return {m_chunk, m_used}; }
    /* Frees what was allocated since. */
    void release(Mark mark);

  private:
    struct Chunk {
        std::unique_ptr<std::byte[]> memory;
        std::size_t size = 0;
    };
    std::vector<Chunk> m_chunks;
    std::size_t m_chunk = 0, m_used = 0;
};

/* One shader call, on the stack of the function that makes it. */
class CallFrame {
  public:
    CallFrame(Context& context, const Function& called, miState* call_state, miShader_type as,
              miFunction* record);
    ~CallFrame();
    CallFrame(const CallFrame&) = delete;
    CallFrame& operator=(const CallFrame&) = delete;

    /* The block for the value of `param`: one per parameter and call, so that a loop that evaluates
     * the same parameter again and again takes no more memory. */
    void* slot(const void* param, std::size_t bytes);

    const Function& function;
    miState* const state;
    const miShader_type role;
    CallFrame* const previous;
    const int depth;       /* calls on this thread, this one included */
    const int evaluations; /* how many evaluations of parameters led here without another call */

  private:
    struct Slot {
        const void* param;
        std::size_t bytes;
        Slot* next;
    };
    class ThreadContext& m_thread;
    miFunction* const m_caller;
    const Arena::Mark m_mark;
    Slot* m_slots = nullptr;
};

class ThreadContext {
  public:
    ThreadContext(int thread_number, db::Database& database)
        : number(thread_number), pins(database) {}

    const int number; /* what goes into miState::thread; 0 for the first thread */
    CallFrame* top = nullptr;
    Arena arena;
    db::PinCache pins; /* by which shaders reach the database */
    HeldLocks locks;

    /* A message with the shader that runs now in front; the text alone outside of shaders. */
    [[nodiscard]] std::string with_shader(std::string_view text) const;

    /*
     * Data attached to states. get looks at the state, then at its parents; another branch of calls
     * never meets it. A set of equal size on the same state replaces the bytes in place.
     */
    bool set_state_data(const miState* state, std::string_view key, const void* data, int size,
                        int lifetime);
    void* state_data(const miState* state, std::string_view key, int* size);
    /* The call that owns `state` has returned. Cheap when nothing was attached. */
    void drop_state_data(const miState* state);
    /* Drops what was set with miSS_LIFETIME_RECT; for the renderer, at the end of each tile. */
    void end_tile();
    [[nodiscard]] std::size_t state_data_count() const { return m_data.size(); }

    /* This thread's pointer for a shader instance, by Function::index. */
    [[nodiscard]] void* instance_pointer(std::size_t index) const {
        return index < m_instance_pointers.size() ? m_instance_pointers[index] : nullptr;
    }
    void set_instance_pointer(std::size_t index, void* pointer);
    void clear_instance_pointers() { m_instance_pointers.clear(); }

    /* As CallFrame::slot, for evaluations outside of any shader call. */
    void* outer_slot(const void* param, std::size_t bytes);
    /* Forgets data attached to states, and what outer_slot gave. */
    void clear();

    /* Scratch memory for results that live until the next call of the same kind on this thread,
     * such as light lists. */
    std::vector<miTag> tag_scratch;

  private:
    struct StateData {
        const miState* owner; /* null: the tile */
        std::string key;
        std::unique_ptr<std::byte[]> bytes;
        int size;
    };
    StateData* find_data(const miState* owner, std::string_view key);

    std::vector<StateData> m_data;
    std::vector<void*> m_instance_pointers;
    std::map<std::pair<const void*, std::size_t>, std::unique_ptr<std::byte[]>> m_outer_slots;
};

/*
 * Put one beside every miState that the renderer fills in, for as long as the call that the state
 * was made for lasts. (The memory of the state itself lives on: a child state stays readable until
 * the next call from its parent.)
 */
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
