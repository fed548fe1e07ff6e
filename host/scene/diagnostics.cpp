#include "host/scene/diagnostics.h"

namespace vx::scene {

std::string format(const Diagnostic& diagnostic) {
    const auto place = [](const Diagnostic::Place& p) {
        std::string text = p.file;
        if (p.line > 0) {
            text += ':' + std::to_string(p.line);
            if (p.column > 0) text += ':' + std::to_string(p.column);
        }
        return text;
    };
    std::string result = place(diagnostic.place);
    if (!result.empty()) result += ": ";
    result += diagnostic.text;
    for (std::size_t i = 0; i < diagnostic.chain.size(); ++i) {
        result += i == 0 ? " (included from " : ", ";
        result += place(diagnostic.chain[i]);
    }
    if (!diagnostic.chain.empty()) result += ')';
    return result;
}

std::uint32_t Diagnostics::add_file(std::string name, Location included_from) {
    m_files.push_back({std::move(name), included_from});
    return static_cast<std::uint32_t>(m_files.size());
}

std::string_view Diagnostics::file_name(std::uint32_t file) const {
    return file == 0 || file > m_files.size() ? std::string_view{} : m_files[file - 1].name;
}

void Diagnostics::error(Location where, std::string text) {
    ++m_errors;
    say(Severity::error, where, std::move(text));
}

void Diagnostics::warning(Location where, std::string text) {
    ++m_warnings;
    say(Severity::warning, where, std::move(text));
}

void Diagnostics::note(Location where, std::string text) {
    say(Severity::note, where, std::move(text));
}

bool Diagnostics::warning_once(std::string_view kind, Location where, std::string text) {
    if (!m_issued.emplace(kind).second) return false;
    warning(where, std::move(text));
    return true;
}

void Diagnostics::omit(Omission kind, std::string_view name) {
    if (m_omissions != nullptr) m_omissions->add(kind, name);
}

void Diagnostics::skip(std::string_view kind, Location where, std::string text) {
    omit(Omission::statement, kind);
    warning_once(kind, where, std::move(text));
}

void Diagnostics::say(Severity severity, Location where, std::string text) {
    if (!m_sink) return;
    Diagnostic diagnostic;
    diagnostic.severity = severity;
    diagnostic.text = std::move(text);
    diagnostic.place = {std::string(file_name(where.file)), where.line, where.column};
    // Files are registered before the files that they include, so the chain ends.
    std::uint32_t file = where.file;
    while (file > 0 && file <= m_files.size()) {
        const Location from = m_files[file - 1].included_from;
        if (from.file == 0 || from.file >= file) break;
        diagnostic.chain.push_back({std::string(file_name(from.file)), from.line, from.column});
        file = from.file;
    }
    m_sink(diagnostic);
}

} // namespace vx::scene
