// A stand-in for the renderer: the C functions of shader.h that the library calls.
//
// While a Renderer exists, these functions reach it from any thread, also from a library that was
// loaded at run time. Each call is recorded as one line of text with its arguments. Public members
// hold the answers; left_over() lists what is still pinned, locked or allocated. Misuse, such as an
// unpin without a pin or an unknown tag, fails the test or throws std::logic_error.
//
// Every record is a separate block of exactly its size, and each trace call replaces the child
// state, so that sanitizers detect reads outside a block and reads of an old child.
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
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace vx::stub {

// Shortest text that reads back as the same number; "0" for zeros of either sign.
std::string text_of(double value);
std::string text_of(float value);
std::string text_of(int value);
std::string text_of(const miVector& v);

// The surface that a ray hits.
struct Hit {
    miVector point = {0, 0, 0};
    miVector normal = {0, 0, 1};
    bool inv_normal = false;
    miTag instance = miNULLTAG;
    double dist = 1.0;
    miFunction* shader = nullptr; // of the child state; null: the caller's
};
using Probe = std::optional<Hit>; // nothing: a miss

// The answer to a shading ray.
struct Shaded {
    miColor color = {0, 0, 0, 0};
    Probe end = Hit{};
    bool result = true;
    bool sets_color = true; // false: the caller's color is left alone
};

// A shader instance for the database.
struct FunctionSetup {
    miTag declaration = miNULLTAG;
    miFunction_type type = miFUNCTION_C;
    std::vector<std::byte> block = {};     // parameter values
    std::map<int, miTag> connections = {}; // byte offset of a parameter -> connection tag
    std::optional<bool> ghost = {};        // has a ghost block; default: when anything is connected
    std::optional<miCBoolean> flag = {};   // connection flag; default: 1 with a ghost block, else 0
    std::optional<int> ghost_offset = {};  // default: the block's size, rounded up to 8
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

    // The only one; throws if there is none.
    static Renderer& current();

    // ---- the record ----
    // Calls since construction or clear_calls(). Not to be read while other threads call.
    const std::vector<std::string>& calls() const { return m_calls; }
    std::vector<std::string> calls_starting_with(std::string_view prefix) const;
    std::vector<std::string> messages() const; // "info: ..." and "warning: ..."
    void clear_calls() { m_calls.clear(); }
    void note(std::string call); // adds a line; thread-safe
    // Pins, locks and strings that were not given back.
    std::vector<std::string> left_over() const;

    // ---- the database ----
    // Tags count from 1. Elements exist until the Renderer is destroyed.
    miTag add(int type, const void* bytes, size_t size);
    miTag add_string(std::string_view text);
    miTag add_material(miTag shader);
    // parameters: name -> byte offset in the block.
    miTag add_declaration(std::string_view name, const std::map<std::string, int>& parameters = {});
    miTag add_function(const FunctionSetup& setup);
    // An instance with a list of materials; with 0 materials there is no list.
    miTag add_instance(const std::vector<miTag>& materials);
    int& pins(miTag tag) { return elements.at(tag).pins; }
    template <class T>
    T* record(miTag tag) {
        return static_cast<T*>(static_cast<void*>(elements.at(tag).bytes.data()));
    }
    miFunction* function(miTag tag) { return record<miFunction>(tag); }

    // ---- states ----
    // A new state that runs `function` with this camera and these options.
    miState new_state(miTag function);
    miCamera camera = {};
    miOptions options = {};
    void** user_pointer(const miFunction* function) { return &user_pointers[function]; }

    // ---- answers ----
    std::map<miTag, std::vector<std::byte>> connected; // connection tag -> bytes of the result
    std::map<std::string, std::string> substitutions;
    // Answers to mi_trace_probe and mi_trace_reflection, in order; misses after the last one. The
    // functions replace them.
    std::deque<Probe> probes;
    std::deque<Shaded> shadings;
    std::function<Probe(miState*, const miVector& dir, const miVector& org)> on_probe;
    std::function<Shaded(miState*, const miVector& dir)> on_reflection;
    // Result of mi_trace_probe; default: whether there is a hit.
    std::optional<miBoolean> probe_result;
    // Replaces mi_shaderstate_get.
    std::function<void*(miState*, int* size)> on_shaderstate_get;
    // Called by mi_shaderstate_set before the entry changes.
    std::function<void(const miState*)> on_shaderstate_set;
    std::function<std::array<double, 2>(int index, int n)> on_sample; // default: (index + 0.5) / n
    std::function<int(char* buffer, const char* text, int capacity)> on_substitute;
    std::function<miBoolean(miColor*, miState*)> on_eye; // default: 0.25 0.5 0.75 1, miTRUE
    miMatrix camera_to_internal = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

    // ---- for the C functions only ----
    struct Element {
        int type = 0;
        std::vector<std::byte> bytes;
        int pins = 0;
        std::map<std::string, int> parameters; // of a declaration
    };
    struct Lock {
        std::mutex mutex;
        int number = 0;
        std::thread::id holder; // default-constructed while the lock is free
    };
    mutable std::mutex mutex; // guards the record and what follows
    std::map<miTag, Element> elements;
    std::map<miLock, std::unique_ptr<Lock>> locks;
    int locks_made = 0;
    std::map<const char*, std::unique_ptr<char[]>> strings; // of mi_mem_strdup
    std::map<const miFunction*, void*> user_pointers;
    std::map<std::pair<const miFunction*, short>, void*> thread_pointers;
    std::map<const miState*, std::unique_ptr<miState>> children;
    std::map<std::pair<const miState*, std::string>, std::vector<std::byte>> state_data;
    std::vector<std::byte> evaluated; // by the last mi_phen_eval

  private:
    std::vector<std::string> m_calls;
};

} // namespace vx::stub
