#include "maps/formats.h"
#include "maps/interface.h"
#include "maps/verify.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <new>
#include <optional>

namespace vx::maps {

namespace {

std::atomic<Notify> notify_function{nullptr};

// Reports one file operation, from its construction to finish().
class Report {
  public:
    explicit Report(const char* file_name) : m_file_name(file_name != nullptr ? file_name : "") {}

    // Takes the reason of a failed system call; 0: the name belongs to something other than a
    // regular file.
    void set_error(int error) { m_reason = error ? std::strerror(error) : "not a regular file"; }
    void set_reason(const char* reason) { m_reason = reason; }

    // `done`, `undone`: "read" and "be read", for example.
    void finish(const Map_status& status, std::uint64_t elements, const char* done,
                const char* undone) {
        const Notify notify = notify_function.load();
        if (notify == nullptr) return;
        try {
            if (status.is_ok()) {
                char rest[96];
                (void)std::snprintf(rest, sizeof rest, ": %llu elements %s in %.3f s",
                                    static_cast<unsigned long long>(elements), done, seconds());
                notify(false, ("map file " + m_file_name + rest).c_str());
            } else {
                notify(true, ("map file " + m_file_name + " cannot " + undone + ": " +
                              (m_reason != nullptr ? m_reason : reason_of(status)))
                                 .c_str());
            }
        } catch (const std::bad_alloc&) {
            // Out of memory; drop the message.
        }
    }

  private:
    using Clock = std::chrono::steady_clock;

    [[nodiscard]] double seconds() const {
        return std::chrono::duration<double>(Clock::now() - m_start).count();
    }
    static const char* reason_of(const Map_status& status) {
        if (status == Map_status::Insufficient_memory) return "out of memory";
        if (status == Map_status::No_declaration) return "the map has no declaration";
        if (status == Map_status::Declaration_mismatch) return "the fields of the two maps differ";
        if (status == Map_status::File_version_unsupported)
            return "unsupported format version or byte order";
        return "internal error";
    }

    const Clock::time_point m_start = Clock::now();
    std::string m_file_name;
    const char* m_reason = nullptr;
};

// Without an extent, that of opening a file.
Status load(const char* file_name, Map& map, Map_base::File_format& format, Report& report,
            std::optional<Extent> extent = std::nullopt) {
    const auto file = std::make_shared<MappedFile>();
    Status status = file->open(file_name);
    if (status == Map_status::File_could_not_be_opened) report.set_error(file->error());
    if (status != Map_status::OK) return status;
    const std::span<const unsigned char> content(file->data(), file->size());
    const bool binary = is_binary(content);
    if (!binary) format = Map_base::Open_ASCII;
    if (!extent) extent = file->size() <= verified_size() ? Extent::whole : Extent::needed;
    status = binary ? read_binary(file, *extent, map, format) : read_ascii(content, map);
    if (status == Map_status::File_not_a_map)
        report.set_reason(binary ? "truncated or damaged" : "not a map file");
    return status;
}

Status save(const char* file_name, const Map& map, Map_base::File_format format, Report& report) {
    if (!map.has_declaration()) return Map_status::No_declaration;
    ReplacedFile file;
    Status status = file.open(file_name);
    if (status != Map_status::OK) {
        report.set_error(file.error());
        return status;
    }
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
        report.set_reason("unknown file format");
        return Map_status::Failure;
    }
    status = file.commit();
    if (status != Map_status::OK) report.set_error(file.error());
    return status;
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

Map_status verify_file(const char* file_name) {
    Report report(file_name);
    return guarded([&] {
        Map map;
        Map_base::File_format format = Map_base::Closed_binary;
        return load(file_name, map, format, report, Extent::whole);
    });
}

Map_status Map::read(const char* file_name, const bool notify) {
    Report report(file_name);
    const Map_status status = guarded([&] {
        Map fresh;
        File_format format = Closed_binary;
        const Status outcome = load(file_name, fresh, format, report);
        if (outcome == Map_status::OK) swap(fresh);
        return outcome;
    });
    if (!status.is_ok()) declare(nullptr);
    if (notify) report.finish(status, size(), "read", "be read");
    return status;
}

Map_status Map::append_to(const char* file_name, const bool notify) const {
    Report report(file_name);
    const Map_status status = guarded([&] {
        if (!m_declaration) return Map_status::No_declaration;
        Map all;
        File_format format = Closed_binary;
        Status outcome = load(file_name, all, format, report);
        if (outcome == Map_status::OK) outcome = append_all(*this, all);
        return outcome == Map_status::OK ? save(file_name, all, format, report) : outcome;
    });
    if (notify) report.finish(status, size(), "appended to it", "be appended to");
    return status;
}

Map_status Map::append_from(const char* file_name, const bool notify) {
    Report report(file_name);
    std::uint64_t added = 0;
    const Map_status status = guarded([&] {
        Map more;
        File_format format = Closed_binary;
        const Status outcome = load(file_name, more, format, report);
        if (outcome != Map_status::OK) return outcome;
        if (!m_declaration) {
            declare(more.m_declaration);
            std::copy(more.m_globals.begin(), more.m_globals.end(), m_globals.begin());
        }
        added = more.size();
        return append_all(more, *this);
    });
    if (notify) report.finish(status, added, "appended from it", "be appended from");
    return status;
}

Map_status Map::write(const char* file_name, const bool notify,
                      const File_format file_format) const {
    Report report(file_name);
    const Map_status status = guarded([&] { return save(file_name, *this, file_format, report); });
    if (notify) report.finish(status, size(), "written", "be written");
    return status;
}

} // namespace vx::maps
