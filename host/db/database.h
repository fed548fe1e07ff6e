// The scene database: typed memory blocks, identified by tags. Everything that shaders can see of a
// scene is an element of the database; elements refer to each other by tag, never by address.
//
// Thread safety: any number of threads may look up, pin and unpin elements concurrently, without
// locking. Any thread may create elements at any time (takes a lock). Elements may be replaced or
// removed only between renders, when no thread holds their address.
//
// Tags are never reused, so the tag of a removed element stays invalid.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "shader.h"

namespace vx::db {

// Thrown for a tag without an element. what() contains the tag and the operation.
class BadTag : public std::runtime_error {
  public:
    BadTag(miTag bad, const char* operation);
    miTag tag;
};

struct LeftOverPin {
    miTag tag;
    miScene_types type;
    std::uint32_t pins;
    std::string name; // from set_name; may be empty
};

class Database {
  public:
    // The documented maximum number of pins per element.
    static constexpr std::uint32_t kMaxPins = 65535;
    using Destroy = void (*)(void*);

    Database() = default;
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    // Creates a zeroed block of `bytes` bytes with 16-byte alignment, owned by the database. Throws
    // std::length_error if no tags are left.
    miTag create(miScene_types type, std::size_t bytes);
    // Takes ownership of `address`; `destroy` (may be null) is called to release it.
    miTag adopt(miScene_types type, void* address, std::size_t bytes, Destroy destroy);
    // Creates an element from a C++ object. find and access return the address of the object.
    template <class T>
    miTag adopt(miScene_types type, std::unique_ptr<T> object) {
        return adopt(type, object.release(), sizeof(T), [](void* p) { delete static_cast<T*>(p); });
    }
    // Creates a string element: zero-terminated text.
    miTag create_string(std::string_view text);
    // Creates an array of tags, such as a material list. Its size is that of the tags in bytes.
    miTag create_tags(const std::vector<miTag>& tags);

    // Replaces the contents and type of an element. The old contents are destroyed unless the
    // address is the same. Pins and name are kept. Throws BadTag.
    void replace(miTag tag, miScene_types type, void* address, std::size_t bytes, Destroy destroy);
    template <class T>
    void replace(miTag tag, miScene_types type, std::unique_ptr<T> object) {
        replace(tag, type, object.release(), sizeof(T), [](void* p) { delete static_cast<T*>(p); });
    }
    // Replaces the contents with a zeroed block of `bytes` bytes and returns its address.
    void* replace(miTag tag, miScene_types type, std::size_t bytes);
    void replace_tags(miTag tag, const std::vector<miTag>& tags);
    void remove(miTag tag);

    // Address of an element, without pinning it; for use by the host only. Null for a bad tag.
    [[nodiscard]] void* find(miTag tag) const noexcept {
        const Slot* const s = slot(tag);
        return s == nullptr ? nullptr : s->address.load(std::memory_order_acquire);
    }
    // As above; also null if the element is not of type `type`.
    template <class T>
    [[nodiscard]] T* find(miTag tag, miScene_types type) const noexcept {
        const Slot* const s = slot(tag);
        if (s == nullptr) return nullptr;
        void* const address = s->address.load(std::memory_order_acquire);
        return s->type.load(std::memory_order_relaxed) == type ? static_cast<T*>(address) : nullptr;
    }
    // 0 if and only if the tag is bad.
    [[nodiscard]] int type(miTag tag) const noexcept {
        const Slot* const s = slot(tag);
        if (s == nullptr || s->address.load(std::memory_order_acquire) == nullptr) return 0;
        return s->type.load(std::memory_order_relaxed);
    }
    [[nodiscard]] std::size_t size(miTag tag) const noexcept;
    // The text of a string element; empty for anything else.
    [[nodiscard]] std::string_view text(miTag tag) const noexcept;

    // Pins an element and returns its address. Throws BadTag. Sets *over_limit (may be null) to
    // true on the one call that raises the pin count above kMaxPins, and to false otherwise. The
    // pin is counted in either case.
    void* access(miTag tag, bool* over_limit = nullptr);
    // Returns false if the element has no pin. Throws BadTag.
    bool unpin(miTag tag) { return unpin(tag, 1) == 1; }
    // Releases up to `times` pins and returns their number. Throws BadTag.
    std::uint32_t unpin(miTag tag, std::uint32_t times);
    [[nodiscard]] std::uint32_t pins(miTag tag) const noexcept {
        const Slot* const s = slot(tag);
        return s == nullptr ? 0 : s->pins.load(std::memory_order_relaxed);
    }
    // The elements that are still pinned, in order of their tags. `clear` resets their pin counts.
    std::vector<LeftOverPin> left_over_pins(bool clear);

    // Element names, used in messages only.
    void set_name(miTag tag, std::string name);
    [[nodiscard]] std::string name(miTag tag) const;

    void for_each(miScene_types type, const std::function<void(miTag, void*)>& visit) const;

  private:
    struct Slot {
        std::atomic<void*> address{nullptr};
        std::atomic<std::size_t> bytes{0};
        std::atomic<int> type{0};
        std::atomic<std::uint32_t> pins{0};
        Destroy destroy = nullptr;
    };
    static constexpr std::size_t kChunkBits = 12;
    static constexpr std::size_t kChunkSize = std::size_t{1} << kChunkBits;
    static constexpr std::size_t kChunkCount = 4096;

    [[nodiscard]] Slot* slot(miTag tag) const noexcept {
        const std::size_t chunk = tag >> kChunkBits;
        if (tag == miNULLTAG || chunk >= kChunkCount) return nullptr;
        Slot* const slots = m_chunks[chunk].load(std::memory_order_acquire);
        return slots == nullptr ? nullptr : &slots[tag & (kChunkSize - 1)];
    }
    Slot& existing(miTag tag, const char* operation) const;

    std::array<std::atomic<Slot*>, kChunkCount> m_chunks{};
    mutable std::mutex m_mutex;
    miTag m_last = 0; // guarded by m_mutex
    std::unordered_map<miTag, std::string> m_names;
};

} // namespace vx::db
