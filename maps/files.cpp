#include "maps/formats.h"
#include "maps/interface.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <new>

namespace vx::maps {

namespace {

std::atomic<Notify> notify_function{nullptr};

double now() {
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

void tell(const char* file_name, std::uint64_t elements, const char* what, double start) {
    const Notify notify = notify_function.load();
    if (!notify) return;
    char rest[96];
    (void)std::snprintf(rest, sizeof rest, ": %llu elements %s in %.3f s",
                        static_cast<unsigned long long>(elements), what, now() - start);
    try {
        notify((std::string("map file ") + file_name + rest).c_str());
    } catch (const std::bad_alloc&) {
        // Out of memory; drop the message.
    }
}

Status load(const char* file_name, Map& map, Map_base::File_format& format) {
    const auto file = std::make_shared<MappedFile>();
    const Status status = file->open(file_name);
    if (status != Map_status::OK) return status;
    const std::span<const unsigned char> content(file->data(), file->size());
    if (is_binary(content)) return read_binary(file, map, format);
    format = Map_base::Open_ASCII;
    return read_ascii(content, map);
}

Status save(const char* file_name, const Map& map, Map_base::File_format format) {
    if (!map.has_declaration()) return Map_status::No_declaration;
    ReplacedFile file;
    const Status status = file.open(file_name);
    if (status != Map_status::OK) return status;
    switch (format) {
    case Map_base::Closed_binary:
        write_closed(file, map);
        break;
    case Map_base::Open_binary:
        write_open(file, map);
        break;
    case Map_base::Open_ASCII:
        write_ascii(file, map);
        break;
    default:
        return Map_status::Failure;
    }
    return file.commit();
}

Status append_all(const Map& from, Map& to) {
    if (!same(from.declaration(), to.declaration())) return Map_status::Declaration_mismatch;
    if (std::uint64_t{from.size()} + to.size() > kMaxElements) {
        return Map_status::Insufficient_memory;
    }
    for (std::uint32_t i = 0; i < from.size(); ++i)
        from.copy_record(i, to.extend());
    return Map_status::OK;
}

// Runs a file operation and turns exceptions into a status.
template <class Operation>
Map_status guarded(const Operation& operation) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return Map_status::Insufficient_memory;
    } catch (const std::exception&) {
        return Map_status::Failure;
    }
}

} // namespace

void set_notify(Notify notify) {
    notify_function = notify;
}

Map_status Map::read(const char* file_name, const bool notify) {
    const double start = now();
    const Map_status status = guarded([&] {
        Map fresh;
        File_format format = Closed_binary;
        const Status outcome = load(file_name, fresh, format);
        if (outcome == Map_status::OK) swap(fresh);
        return outcome;
    });
    if (!status.is_ok()) declare(nullptr);
    if (status.is_ok() && notify) tell(file_name, size(), "read", start);
    return status;
}

Map_status Map::append_to(const char* file_name, const bool notify) const {
    const double start = now();
    if (!m_declaration) return Map_status::No_declaration;
    const Map_status status = guarded([&] {
        Map all;
        File_format format = Closed_binary;
        Status outcome = load(file_name, all, format);
        if (outcome == Map_status::OK) outcome = append_all(*this, all);
        return outcome == Map_status::OK ? save(file_name, all, format) : outcome;
    });
    if (status.is_ok() && notify) tell(file_name, size(), "appended to it", start);
    return status;
}

Map_status Map::append_from(const char* file_name, const bool notify) {
    const double start = now();
    std::uint64_t added = 0;
    const Map_status status = guarded([&] {
        Map more;
        File_format format = Closed_binary;
        const Status outcome = load(file_name, more, format);
        if (outcome != Map_status::OK) return outcome;
        if (!m_declaration) {
            declare(more.m_declaration);
            std::copy(more.m_globals.begin(), more.m_globals.end(), m_globals.begin());
        }
        added = more.size();
        return append_all(more, *this);
    });
    if (status.is_ok() && notify) tell(file_name, added, "appended from it", start);
    return status;
}

Map_status Map::write(const char* file_name, const bool notify,
                      const File_format file_format) const {
    const double start = now();
    const Map_status status = guarded([&] { return save(file_name, *this, file_format); });
    if (status.is_ok() && notify) tell(file_name, size(), "written", start);
    return status;
}

} // namespace vx::maps
