/// @file
/// The few functions of a renderer that the reader shader needs, for programs without a renderer:
/// string elements, a user pointer for the shader instance, messages. No shader is connected to a
/// parameter, and no text has variables.
#pragma once

#include "shader.h"

#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace vx::cache {

/// What the interface functions (mi_db_access, ...) act on while it exists; without one, they fail.
/// Not thread-safe, except for queries and accesses that succeed.
class SmallRenderer {
  public:
    /// Becomes the current renderer. There may be one at a time.
    SmallRenderer();
    ~SmallRenderer();
    SmallRenderer(const SmallRenderer&) = delete;
    SmallRenderer& operator=(const SmallRenderer&) = delete;

    /// The renderer that exists, or null.
    static SmallRenderer* current();

    /// Adds a string element, which lives as long as the renderer.
    /// @return its tag, for parameters of the type string
    miTag add_string(std::string text);

    struct Message {
        std::string level; ///< "info" or "warning"
        std::string text;
    };
    /// Returns the messages of the shader since the last call.
    std::vector<Message> take_messages();

    /// The first call that could not be served: an unknown element, a query that is not
    /// implemented. Results of the shader are worthless after it.
    const std::optional<std::string>& error() const { return m_error; }

    // The interface functions.

    /// The text of a string element. Null, and an error, for an unknown tag.
    char* access(miTag tag);
    /// Answers miQ_FUNC_USERPTR, for any shader. Returns false, with an error, for other queries.
    bool query(miQ_type query, void* result);
    /// Always an error.
    void evaluate_connection();
    void add_message(const char* level, std::string text);

  private:
    void fail(const std::string& why);

    std::deque<std::string> m_strings; // by tag, from 1; addresses are stable
    std::vector<Message> m_messages;
    std::optional<std::string> m_error;
    void* m_user_pointer = nullptr;
};

} // namespace vx::cache
