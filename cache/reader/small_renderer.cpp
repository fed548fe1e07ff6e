#include "cache/reader/small_renderer.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <utility>

namespace vx::cache {

namespace {

SmallRenderer* g_renderer = nullptr;

} // namespace

SmallRenderer* SmallRenderer::current() {
    return g_renderer;
}

SmallRenderer::SmallRenderer() {
    g_renderer = this;
}

SmallRenderer::~SmallRenderer() {
    if (g_renderer == this) g_renderer = nullptr;
}

miTag SmallRenderer::add_string(std::string text) {
    m_strings.push_back(std::move(text));
    return static_cast<miTag>(m_strings.size());
}

std::vector<SmallRenderer::Message> SmallRenderer::take_messages() {
    return std::exchange(m_messages, {});
}

void SmallRenderer::fail(const std::string& why) {
    if (!m_error) m_error = why;
}

char* SmallRenderer::access(miTag tag) {
    if (tag == miNULLTAG || tag > m_strings.size()) {
        fail("the shader uses element " + std::to_string(tag) + ", which does not exist");
        return nullptr;
    }
    return m_strings[tag - 1].data();
}

bool SmallRenderer::query(miQ_type query, void* result) {
    if (query != miQ_FUNC_USERPTR) {
        fail("the shader's query " + std::to_string(query) + " is not supported");
        return false;
    }
    *static_cast<void***>(result) = &m_user_pointer;
    return true;
}

void SmallRenderer::evaluate_connection() {
    fail("the shader evaluates a connection, but no parameter is connected");
}

void SmallRenderer::add_message(const char* level, std::string text) {
    m_messages.push_back({level, std::move(text)});
}

} // namespace vx::cache

namespace {

using vx::cache::SmallRenderer;

// Stands for unknown elements, because callers do not expect null.
char g_empty[1] = "";

void add_message(const char* level, const char* format, va_list arguments) {
    char text[2048];
    (void)std::vsnprintf(text, sizeof text, format, arguments);
    if (SmallRenderer* const r = SmallRenderer::current()) r->add_message(level, text);
}

} // namespace

extern "C" {

void* mi_db_access(const miTag tag) {
    SmallRenderer* const r = SmallRenderer::current();
    char* const text = r != nullptr ? r->access(tag) : nullptr;
    return text != nullptr ? text : g_empty;
}
void mi_db_unpin(const miTag tag) {
    if (SmallRenderer* const r = SmallRenderer::current()) r->access(tag); // checks the tag
}
miBoolean mi_query(const miQ_type query, miState* const /*state*/, miTag /*tag*/,
                   void* const result, ...) {
    SmallRenderer* const r = SmallRenderer::current();
    return r != nullptr && r->query(query, result) ? miTRUE : miFALSE;
}
int mi_string_substitute(char* buffer, const char* text, int capacity) {
    return std::snprintf(buffer, static_cast<std::size_t>(std::max(capacity, 0)), "%s", text);
}
void* mi_phen_eval(miState* /*state*/, void* param) {
    if (SmallRenderer* const r = SmallRenderer::current()) r->evaluate_connection();
    return param;
}
void mi_info(const char* const text, ...) {
    va_list arguments;
    va_start(arguments, text);
    add_message("info", text, arguments);
    va_end(arguments);
}
void mi_warning(const char* const text, ...) {
    va_list arguments;
    va_start(arguments, text);
    add_message("warning", text, arguments);
    va_end(arguments);
}

} // extern "C"
