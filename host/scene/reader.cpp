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
        if (names.find(*space + name)) return *space + name;
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
        : settings_(std::move(settings)),
          diagnostics_(diagnostics),
          lexer_(diagnostics, substitution, settings_),
          cursor_(lexer_, diagnostics),
          context_{lexer_, cursor_, receiver, diagnostics, substitution, settings_} {}

    bool read(std::unique_ptr<Source> source, const std::string& name, const std::string& error) {
        if (stopped()) return false;
        const std::size_t before = diagnostics_.errors();
        if (!source) {
            diagnostics_.error({}, "cannot read '" + name + "': " + error);
            return false;
        }
        lexer_.open(std::move(source), name, {}, folder_of(name));
        cursor_.advance();
        while (!cursor_.at_end() && !stopped())
            statement();
        lexer_.close_all();
        lexer_.retire();
        if (diagnostics_.errors() >= settings_.error_limit && !told_) {
            told_ = true;
            diagnostics_.note({}, "too many errors, the rest of the scene is not read");
        }
        return diagnostics_.errors() == before;
    }

    bool stopped() const { return context_.stop || diagnostics_.errors() >= settings_.error_limit; }

  private:
    void statement() {
        lexer_.retire();
        const std::uint64_t before = cursor_.taken();
        context_.closing.clear();
        try {
            parse_statement(context_);
        } catch (const SyntaxError& error) {
            diagnostics_.error(error.where, error.text);
            if (cursor_.taken() == before) cursor_.advance();
            cursor_.skip_statement(context_.closing);
        }
    }

    ReaderSettings settings_;
    Diagnostics& diagnostics_;
    Lexer lexer_;
    Cursor cursor_;
    Context context_;
    bool told_ = false;
};

Reader::Reader(SceneReceiver& receiver, Diagnostics& diagnostics, Substitution& substitution,
               ReaderSettings settings)
    : impl_(std::make_unique<Impl>(receiver, diagnostics, substitution, std::move(settings))) {}

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
    return impl_->read(std::move(source), name, error);
}

bool Reader::read_descriptor(int descriptor, const std::string& name) {
    if (stopped()) return false;
    std::string error;
    auto source = Source::from_descriptor(descriptor, error);
    return impl_->read(std::move(source), name, error);
}

bool Reader::read_text(std::string_view text, const std::string& name) {
    if (stopped()) return false;
    std::string error;
    auto source = Source::from_text(text, error);
    return impl_->read(std::move(source), name, error);
}

bool Reader::stopped() const {
    return impl_->stopped();
}

} // namespace vx::scene
