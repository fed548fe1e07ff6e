// Directives: lines that begin with a dollar sign.
#include "host/scene/lexer.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace vx::scene {

namespace {

// Limits the running time for files that include each other more than once.
constexpr std::size_t kIncludeCountLimit = 100000;

std::string_view trim(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\v\f";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string_view take_word(std::string_view& rest) {
    std::size_t n = 0;
    while (n < rest.size() &&
           ((rest[n] >= 'a' && rest[n] <= 'z') || (rest[n] >= 'A' && rest[n] <= 'Z')))
        ++n;
    const std::string_view word = rest.substr(0, n);
    rest = trim(rest.substr(n));
    return word;
}

bool is_name_character(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

std::string dollar(std::string_view word) {
    std::string text(1, '$');
    return text.append(word);
}

} // namespace

std::string folder_of(const std::string& path) {
    return path.substr(0, path.rfind('/') + 1);
}

std::string_view Lexer::rest_of_line() {
    const void* const found = std::memchr(m_p, '\n', remaining());
    const char* const last = found != nullptr ? static_cast<const char*>(found) : m_end;
    const std::string_view line(m_p, static_cast<std::size_t>(last - m_p));
    m_p = last;
    return line;
}

std::optional<std::string> Lexer::quoted(std::string_view& rest) const {
    if (!rest.starts_with('"')) return std::nullopt;
    Token token;
    std::size_t i = 1;
    for (; i < rest.size() && rest[i] != '"'; ++i)
        if (rest[i] == '\\' && i + 1 < rest.size()) {
            token.escaped = true;
            ++i;
        }
    if (i >= rest.size()) return std::nullopt;
    token.text = rest.substr(1, i - 1);
    rest = trim(rest.substr(i + 1));
    return unescape(token);
}

void Lexer::directive() {
    const Location where = place();
    ++m_p;
    std::string_view rest = rest_of_line();
    const std::string_view word = take_word(rest);
    auto& conditions = m_frames.back().conditions;
    if (word == "include") {
        include(rest, where);
    } else if (word == "lookup") {
        if (const auto name = quoted(rest))
            lookup(*name, where);
        else
            m_diagnostics.error(where, "expected a quoted registry name after $lookup");
    } else if (word == "ifdef" || word == "ifndef" || word == "ifeq" || word == "ifneq") {
        begin_condition(holds(word, rest, where), where);
    } else if (word == "else" || word == "elseifdef" || word == "elseifeq") {
        if (conditions.empty()) {
            m_diagnostics.error(where, dollar(word) + " without $if");
            return;
        }
        if (conditions.back().in_else) m_diagnostics.error(where, dollar(word) + " after $else");
        conditions.back().in_else = word == "else";
        skip_inactive(); // the taken branch ends here
    } else if (word == "endif") {
        if (conditions.empty())
            m_diagnostics.error(where, "$endif without $if");
        else
            conditions.pop_back();
    } else if (word == "code") {
        m_diagnostics.error(where, "$code is not supported; link a shared library instead");
        skip_code(where);
    } else if (word == "end") {
        m_diagnostics.error(where, "$end without $code");
    } else {
        m_diagnostics.error(where, "unknown directive '$" + std::string(word) + "'");
    }
}

void Lexer::skip_code(Location where) {
    while (m_p < m_end) {
        ++m_p; // the line end
        ++m_line;
        m_line_start = m_p;
        std::string_view line = rest_of_line();
        if (!line.starts_with("$end")) continue;
        line.remove_prefix(4);
        if (trim(line).starts_with("code")) return;
    }
    m_diagnostics.error(where, "$code without $end code");
}

void Lexer::begin_condition(bool holds, Location where) {
    m_frames.back().conditions.push_back({where, holds, false});
    if (!holds) skip_inactive();
}

// Skips to the next branch that is taken, or to the $endif.
void Lexer::skip_inactive() {
    auto& conditions = m_frames.back().conditions;
    unsigned inner = 0;
    while (m_p < m_end) {
        ++m_p; // the line end
        ++m_line;
        m_line_start = m_p;
        if (m_p >= m_end) return;
        if (*m_p != '$') {
            rest_of_line();
            continue;
        }
        const Location where = place();
        ++m_p;
        std::string_view rest = rest_of_line();
        const std::string_view word = take_word(rest);
        Condition& condition = conditions.back();
        if (word == "ifdef" || word == "ifndef" || word == "ifeq" || word == "ifneq") {
            ++inner;
        } else if (word == "endif") {
            if (inner == 0) {
                conditions.pop_back();
                return;
            }
            --inner;
        } else if (inner == 0 && (word == "else" || word == "elseifdef" || word == "elseifeq")) {
            if (condition.in_else) m_diagnostics.error(where, dollar(word) + " after $else");
            condition.in_else = word == "else";
            if (!condition.taken && (word == "else" || holds(word, rest, where))) {
                condition.taken = true;
                return;
            }
        }
    }
}

std::string Lexer::key_value(std::string_view key) const {
    if (key.find('{') == std::string_view::npos) return m_substitution.variable(key);
    const std::string value = m_substitution.substitute(key);
    // Substitution keeps unknown registry names; they are undefined here.
    return value == key ? std::string{} : value;
}

bool Lexer::holds(std::string_view word, std::string_view rest, Location where) {
    const auto key = quoted(rest);
    const bool compares = word == "ifeq" || word == "ifneq" || word == "elseifeq";
    const auto constant = compares ? quoted(rest) : std::optional<std::string>("");
    if (!key || !constant) {
        m_diagnostics.error(where, "expected " +
                                       std::string(compares ? "a quoted key and a quoted constant"
                                                            : "a quoted key") +
                                       " after " + dollar(word));
        return false;
    }
    const std::string value = key_value(*key);
    if (!compares) return value.empty() == (word == "ifndef");
    const bool braces = constant->find('{') != std::string::npos;
    const bool equal = value == (braces ? key_value(*constant) : *constant);
    return equal == (word != "ifneq");
}

std::string Lexer::find_include(const std::string& name, bool path_first) const {
    namespace fs = std::filesystem;
    const auto exists = [](const fs::path& path) {
        std::error_code ignored;
        return fs::exists(path, ignored) && !fs::is_directory(path, ignored);
    };
    const fs::path path(name);
    if (path.is_absolute()) return name;
    if (!path_first && exists(path)) return name;
    // Relative to the including file.
    const fs::path beside = fs::path(m_frames.back().folder) / path;
    if (!path_first && exists(beside)) return beside.string();
    auto directories = m_settings.include_directories;
    if (const char* const list = std::getenv("MI_RAY_INCPATH")) // NOLINT(concurrency-mt-unsafe)
        for (std::string& directory : split_path_list(list))
            directories.push_back(std::move(directory));
    directories.insert(directories.end(), m_settings.built_in_includes.begin(),
                       m_settings.built_in_includes.end());
    for (const std::string& directory : directories)
        if (exists(fs::path(directory) / path)) return (fs::path(directory) / path).string();
    if (path_first && exists(path)) return name;
    if (path_first && exists(beside)) return beside.string();
    return {};
}

void Lexer::include(std::string_view rest, Location where) {
    const bool path_first = rest.starts_with('<');
    std::optional<std::string> name;
    if (path_first) {
        const std::size_t close = rest.find('>');
        if (close != std::string_view::npos) name = std::string(rest.substr(1, close - 1));
    } else {
        name = quoted(rest);
    }
    if (!name || name->empty()) {
        m_diagnostics.error(where, "expected \"file\" or <file> after $include");
        return;
    }
    const std::string wanted = m_substitution.path(*name);
    const std::string found = find_include(wanted, path_first);
    if (!found.empty()) {
        open_file(found, where);
        return;
    }
    const std::string text = "cannot find include file '" + wanted + "'";
    // Files without a directory are mostly declarations of shader libraries, which scenes often
    // include without using them. References to what else is missing are errors where they occur.
    const bool own = !path_first && std::filesystem::path(wanted).has_parent_path();
    if (own) {
        m_diagnostics.error(where, text);
        return;
    }
    m_diagnostics.omit(Omission::file, '"' + wanted + '"');
    m_diagnostics.warning(where, text);
}

bool Lexer::open_file(const std::string& path, Location from) {
    if (m_frames.size() > m_settings.include_limit || ++m_includes > kIncludeCountLimit) {
        m_diagnostics.error(from, m_frames.size() > m_settings.include_limit
                                      ? "include files are nested more than " +
                                            std::to_string(m_settings.include_limit) +
                                            " levels deep"
                                      : std::string("too many include files"));
        // Stop reading: a file that includes itself would cause the same error repeatedly.
        close_all();
        return false;
    }
    std::string error;
    auto source = Source::from_file(path, error);
    if (!source) {
        m_diagnostics.error(from, "cannot read '" + path + "': " + error);
        return false;
    }
    open(std::move(source), path, from, folder_of(path));
    return true;
}

void Lexer::set_registry_actions(const std::string& name, std::string text) {
    m_registry_actions[name] = std::move(text);
}

// Continues with the value of the variable after a dollar sign within a line.
void Lexer::open_variable() {
    const Location where = place();
    const char* const name_start = ++m_p;
    while (is_name_character(*m_p))
        ++m_p;
    const std::string name(name_start, m_p);
    const std::string value = m_substitution.variable(name);
    if (value.empty()) throw SyntaxError{where, "there is no variable '" + name + "'"};
    if (m_frames.size() > m_settings.include_limit || ++m_includes > kIncludeCountLimit)
        throw SyntaxError{where, "variables refer to each other recursively"};
    std::string error;
    if (auto source = Source::from_text(value, error))
        open(std::move(source), "variable " + name, where, m_frames.back().folder);
}

void Lexer::lookup(const std::string& name, Location where) {
    const auto found = m_registry_actions.find(name);
    if (found == m_registry_actions.end()) {
        // Unknown entries of the renderer configuration are ignored.
        if (!name.starts_with("{_MI_") && !name.starts_with("_MI_"))
            m_diagnostics.error(where, "there is no registry entry '" + name + "'");
        return;
    }
    if (m_frames.size() > m_settings.include_limit || ++m_includes > kIncludeCountLimit) {
        m_diagnostics.error(where, "registry entries refer to each other recursively");
        close_all();
        return;
    }
    std::string error;
    if (auto source = Source::from_text(found->second, error))
        open(std::move(source), "registry " + name, where, m_frames.back().folder);
}

} // namespace vx::scene
