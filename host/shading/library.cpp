#include "host/shading/library.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "host/scene/substitution.h"
#include "host/shading/crash.h"

namespace vx::shading {

namespace fs = std::filesystem;

namespace {

#ifdef __SANITIZE_ADDRESS__
// Leak reports can only name functions of libraries that are still loaded.
constexpr int kKeepLoaded = RTLD_NODELETE;
#else
constexpr int kKeepLoaded = 0;
#endif

} // namespace

Libraries::~Libraries() {
    for (auto library = m_libraries.rbegin(); library != m_libraries.rend(); ++library) {
        const Activity unloading("shader library", library->path);
        dlclose(library->handle);
    }
}

std::string Libraries::load(const std::string& path, bool* missing) {
    if (missing != nullptr) *missing = false;
    std::vector<fs::path> candidates;
    if (fs::path(path).is_absolute()) {
        candidates.emplace_back(path);
    } else {
        for (const std::string& directory : m_user)
            candidates.push_back(fs::path(directory) / path);
        if (const char* const list = std::getenv("MI_LIBRARY_PATH"))
            for (const std::string& directory : scene::split_path_list(list))
                candidates.push_back(fs::path(directory) / path);
        for (const std::string& directory : m_built_in)
            candidates.push_back(fs::path(directory) / path);
        // With a directory, else dlopen would search the system directories.
        candidates.push_back(fs::path(".") / path);
    }

    std::error_code ignored;
    for (const fs::path& candidate : candidates) {
        if (!fs::is_regular_file(candidate, ignored)) continue;
        const fs::path full = fs::canonical(candidate, ignored);
        const auto same = [&](const Library& library) { return library.path == full.string(); };
        if (std::any_of(m_libraries.begin(), m_libraries.end(), same)) return {};
        const std::string& name = full.native();
        const Activity loading("shader library", name);
        void* const handle = dlopen(full.c_str(), RTLD_NOW | RTLD_LOCAL | kKeepLoaded);
        if (handle == nullptr) {
            const char* const why = dlerror();
            return why == nullptr ? "cannot load " + full.string() : std::string(why);
        }
        m_libraries.push_back({full.string(), handle});
        return {};
    }
    if (missing != nullptr) *missing = true;
    std::string tried;
    for (const fs::path& candidate : candidates)
        tried += (tried.empty() ? "" : ", ") + candidate.lexically_normal().string();
    return "there is no library \"" + path + "\" (tried " + tried + ")";
}

void* Libraries::symbol(const std::string& name, std::string* path) const {
    for (const Library& library : m_libraries)
        if (void* const address = dlsym(library.handle, name.c_str())) {
            if (path != nullptr) *path = library.path;
            return address;
        }
    return nullptr;
}

std::vector<std::string> Libraries::loaded() const {
    std::vector<std::string> paths;
    paths.reserve(m_libraries.size());
    for (const Library& library : m_libraries)
        paths.push_back(library.path);
    return paths;
}

} // namespace vx::shading
