// A stand-in for the renderer: the C functions of shader.h that the library calls, recorded.
//
// While a Renderer lives it is the one that these functions reach, from any thread and also from a
// library that was loaded at run time. Every call becomes one line of text, in order, with its
// arguments; answers are scripted; what is pinned, locked or allocated is counted, and left_over()
// says what was not given back. Misuse (an unpin without a pin, an unknown tag) is a complaint in
// left_over() or an exception: it never passes silently.
//
// All records are separate blocks of exactly their size, and each trace call makes a new child
// state and ends the one before, so that a sanitizer sees every read that leaves its block or
// outlives it.
#pragma once

#include "shader.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace vx::stub {

// Shortest text that reads back as the same number.
std::string text_of(double value);
std::string text_of(float value);
std::string text_of(const miVector& v);

// What a ray finds.
struct Hit {
    miVector point = {0, 0, 0};
    miVector normal = {0, 0, 1};
    bool inv_normal = false;
    miTag instance = miNULLTAG;
    double dist = 1.0;
    miFunction* shader = nullptr; // the child's record; null: the prober's own
};
using Probe = std::optional<Hit>;

// The answer to a shading ray: what the shaders return, and where the ray ended (nothing: a miss).
struct Shaded {
    miColor color = {0, 0, 0, 0};
    Probe end = Hit{};
    bool result = true;
    bool sets_color = true; // false: the caller's color stays as it is
};

// One shader instance to be put into the database.
struct FunctionSetup {
    miTag declaration = miNULLTAG;
    miFunction_type type = miFUNCTION_C;
    std::vector<std::byte> block = {};     // parameter values
    std::map<int, miTag> connections = {}; // byte offset of a parameter -> connection tag
    std::optional<bool> ghost = {};        // ghost block or not; unset: when connected
    std::optional<miCBoolean> flag = {};   // connection flag; unset: 1 with a ghost block, else 0
    std::optional<int> ghost_offset = {};  // unset: the block's size, rounded up to 8
};

template <class T>
std::vector<std::byte> bytes_of(const T& value) {
    std::vector<std::byte> bytes(sizeof value);
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

class Renderer {
  public:
    Renderer();
    ~Renderer();
    Renderer(const Renderer&) = delete;
    Renderer& operator=(const Renderer&) = delete;

    // The one that is alive; throws when there is none.
    static Renderer& current();

    // ---- the record ----
    // The calls since the start or the last clear_calls(). Not while other threads call.
    const std::vector<std::string>& calls() const { return m_calls; }
    std::vector<std::string> calls_starting_with(std::string_view prefix) const;
    std::vector<std::string> messages() const; // "info: ..." and "warning: ..."
    void clear_calls() { m_calls.clear(); }
    void note(std::string call); // from any thread; tests may add lines of their own
    void complain(std::string what);
    // What is still pinned, locked or allocated, and all complaints. Empty when all is well.
    std::vector<std::string> left_over() const;
    int pins(miTag tag) const;
    // Whether this thread, or any other, holds a lock now.
    bool holds_a_lock() const;
    // Call before expected left-overs are checked by hand: forgets pins of one element.
    void forget_pins(miTag tag);

    // ---- the database ----
    miTag add(int type, const void* bytes, size_t size);
    miTag add_string(std::string_view text);
    miTag add_tags(const std::vector<miTag>& tags);
    miTag add_material(miTag shader);
    // parameters: name -> byte offset in the block.
    miTag add_declaration(std::string_view name, const std::map<std::string, int>& parameters = {});
    miTag add_function(const FunctionSetup& setup);
    // An instance with a material list, of any length; 0 entries: no list at all.
    miTag add_instance(const std::vector<miTag>& materials);
    template <class T>
    T* record(miTag tag) {
        return static_cast<T*>(element(tag).bytes.get());
    }
    miFunction* function(miTag tag) { return record<miFunction>(tag); }

    // ---- states ----
    // A fresh state that runs `function` through this renderer's camera and options.
    miState new_state(miTag function);
    miCamera camera = {};
    miOptions options = {};
    void** user_pointer(const miFunction* function) { return &m_user_pointers[function]; }

    // ---- answers ----
    // Values of connected shaders: connection tag -> the bytes of the result.
    std::map<miTag, std::vector<std::byte>> connected;
    std::map<std::string, std::string> substitutions;
    // The next answers to mi_trace_probe and mi_trace_reflection; when they run out, misses.
    std::deque<Probe> probes;
    std::deque<Shaded> shadings;
    // Asked first when set.
    std::function<Probe(miState*, const miVector& dir, const miVector& org)> on_probe;
    std::function<Shaded(miState*, const miVector& dir)> on_reflection;
    // What mi_trace_probe returns, whether there is a child or not; unset: whether there is one.
    std::optional<miBoolean> probe_result;
    // Queries that return false and leave the result as it is.
    std::set<int> refused_queries;
    // Answers mi_shaderstate_get in full: the size is what this leaves in it.
    std::function<void*(miState*, int* size)> on_shaderstate_get;
    // Called for every mi_shaderstate_set, before the entry changes.
    std::function<void(const miState*)> on_shaderstate_set;
    std::function<std::array<double, 2>(int index, int n)> on_sample; // unset: (i + 0.5) / n twice
    std::function<int(char* buffer, const char* text, int capacity)> on_substitute;
    std::function<miBoolean(miColor*, miState*)> on_eye; // unset: eye_color, miTRUE
    miColor eye_color = {0.25f, 0.5f, 0.75f, 1.0f};
    miMatrix camera_to_internal = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

    // ---- behind the C functions ----
    void* db_access(miTag tag);
    void db_unpin(miTag tag);
    int db_type(miTag tag);
    miBoolean query(int code, miState* state, miTag tag, void* result);
    miBoolean parameter_lookup(miParam_type* type, miBoolean* is_array, int* offset, miTag decl,
                               miBoolean out, char* name);
    char* strdup(const char* file, int line, const char* text);
    miBoolean sample(double* sample, int* instance, miState* state, int dimension, const miUint* n);
    miBoolean trace_probe(miState* state, const miVector& dir, const miVector& org);
    miBoolean trace_reflection(miColor* result, miState* state, const miVector& dir);
    miBoolean trace_eye(miColor* result, miState* state, miVector org, miVector dir);
    void flush_cache(miState* state);
    void* phen_eval(miState* state, void* param);
    miBoolean shaderstate_set(miState* state, const char* key, const void* data, int size,
                              int lifetime);
    void* shaderstate_get(miState* state, const char* key, int* size);
    int string_substitute(char* buffer, const char* text, int capacity);
    void vector_from_camera(miVector* result, const miVector& v);
    void init_lock(miLock* lock);
    void delete_lock(miLock* lock);
    void lock(miLock lock);
    void unlock(miLock lock);

  private:
    struct Free {
        void operator()(void* bytes) const;
    };
    struct Element {
        int type = 0;
        size_t size = 0;
        std::unique_ptr<void, Free> bytes;
        int pins = 0;
        std::map<std::string, int> parameters; // of a declaration
    };
    struct Lock {
        std::mutex mutex;
        int number = 0;
        std::thread::id holder; // of nobody: not held
    };

    Element& element(miTag tag);
    std::string place_of(const miState* state, const void* param);
    void set_child(miState* state, miRay_type type, const Probe& hit, const miVector& org,
                   const miVector& dir);

    mutable std::mutex m_mutex; // guards everything that C functions touch from several threads
    std::vector<std::string> m_calls;
    std::vector<std::string> m_complaints;
    std::map<miTag, Element> m_elements;
    miTag m_next_tag = 1;
    std::map<const miFunction*, void*> m_user_pointers;
    std::map<std::pair<const miFunction*, short>, void*> m_thread_pointers;
    std::map<void*, std::unique_ptr<Lock>> m_locks;
    int m_lock_count = 0;
    std::map<void*, std::string> m_strings;
    std::map<const miState*, std::unique_ptr<miState>> m_children;
    std::map<std::pair<const miState*, std::string>, std::vector<std::byte>> m_state_data;
    std::vector<std::byte> m_phen_result;
};

} // namespace vx::stub
