#include "host/scene/reader.h"

#include "host/scene/parse.h"

#include <filesystem>

namespace vx::scene {

std::string Context::defined(const std::string& name) const {
    if (name.starts_with("::")) return name.substr(2);
    return spaces.empty() ? name : spaces.back() + name;
}

std::string Context::used(std::string name) const {
    if (name.starts_with("::")) return name.substr(2);
    for (auto space = spaces.rbegin(); space != spaces.rend(); ++space)
        if (names.find(*space + name) != nullptr) return *space + name;
    return name;
}

std::string Context::used_connection(std::string name) const {
    if (spaces.empty() || name.starts_with("::")) return used(std::move(name));
    std::string whole = used(name);
    if (whole != name) return whole;
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos) return name;
    return used(name.substr(0, dot)) + name.substr(dot);
}

class Reader::Impl {
  public:
    Impl(SceneReceiver& receiver, Diagnostics& diagnostics, Substitution& substitution,
         ReaderSettings settings)
        : m_settings(std::move(settings)),
          m_diagnostics(diagnostics),
          m_lexer(diagnostics, substitution, m_settings),
          m_cursor(m_lexer, diagnostics),
          m_context{m_lexer, m_cursor, receiver, diagnostics, substitution, m_settings} {}

    bool read(std::unique_ptr<Source> source, const std::string& name, const std::string& error) {
        if (stopped()) return false;
        const std::size_t before = m_diagnostics.errors();
        if (!source) {
            if (m_settings.interrupted()) return false;
            m_diagnostics.error({}, "cannot read '" + name + "': " + error);
            return false;
        }
        try {
            m_lexer.open(std::move(source), name, {}, folder_of(name));
            m_cursor.advance();
            while (!m_cursor.at_end() && !stopped())
                statement();
        } catch (const ReadingInterrupted&) {
            // The unfinished statement is dropped.
        }
        m_lexer.close_all();
        m_lexer.retire();
        if (m_diagnostics.errors() >= m_settings.error_limit && !m_limit_reported) {
            m_limit_reported = true;
            m_diagnostics.note({}, "too many errors; the rest of the scene is skipped");
        }
        return m_diagnostics.errors() == before;
    }

    bool stopped() const {
        return m_context.stop || m_settings.interrupted() ||
               m_diagnostics.errors() >= m_settings.error_limit;
    }

  private:
    void statement() {
        m_lexer.retire();
        const std::uint64_t before = m_cursor.taken();
        m_context.closing.clear();
        try {
            parse_statement(m_context);
        } catch (const SyntaxError& error) {
            m_diagnostics.error(error.where, error.text);
            if (m_cursor.taken() == before) m_cursor.advance();
            m_cursor.skip_statement(m_context.closing);
        }
    }

    ReaderSettings m_settings;
    Diagnostics& m_diagnostics;
    Lexer m_lexer;
    Cursor m_cursor;
    Context m_context;
    bool m_limit_reported = false;
};

Reader::Reader(SceneReceiver& receiver, Diagnostics& diagnostics, Substitution& substitution,
               ReaderSettings settings)
    : m_impl(std::make_unique<Impl>(receiver, diagnostics, substitution, std::move(settings))) {}

Reader::~Reader() = default;

bool Reader::read_file(const std::string& path) {
    if (stopped()) return false;
    namespace fs = std::filesystem;
    std::error_code ignored;
    std::string name = path;
    if (!fs::exists(path, ignored) && fs::path(path).extension().empty() &&
        fs::exists(path + ".mi", ignored))
        name += ".mi";
    std::string error;
    auto source = Source::from_file(name, error);
    return m_impl->read(std::move(source), name, error);
}

bool Reader::read_descriptor(int descriptor, const std::string& name) {
    if (stopped()) return false;
    std::string error;
    auto source = Source::from_descriptor(descriptor, error);
    return m_impl->read(std::move(source), name, error);
}

bool Reader::read_text(std::string_view text, const std::string& name) {
    if (stopped()) return false;
    std::string error;
    auto source = Source::from_text(text, error);
    return m_impl->read(std::move(source), name, error);
}

bool Reader::stopped() const {
    return m_impl->stopped();
}

} // namespace vx::scene
