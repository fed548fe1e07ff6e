/*
 * The scene database: numbered blocks of memory of a known type. Everything that shaders can see of
 * a scene is an element of it, and refers to other elements by tag, never by address.
 *
 * Threads. Any number of threads may look elements up, pin and unpin them at once, without a lock.
 * Elements may be created from any thread at any time (one lock). Replacing or removing an element
 * is for the time between renders, when nobody holds its address.
 *
 * A tag is never given out twice, so the tag of a removed element stays a bad tag.
 */
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

/* A tag without an element. what() names the tag and what was asked for. */
class BadTag : public std::runtime_error {
  public:
    BadTag(miTag bad, const char* operation);
    miTag tag;
};

struct LeftOverPin {
    miTag tag;
    miScene_types type;
    std::uint32_t pins;
    std::string name; /* as given to set_name, else empty */
};

class Database {
  public:
    /* The documented limit of pins on one element. */
    static constexpr std::uint32_t kMaxPins = 65535;
    using Destroy = void (*)(void*);

    Database() = default;
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    /* A zeroed block of `bytes`, aligned to 16, owned by the database. Throws std::length_error
     * when there are no tags left. */
    miTag create(miScene_types type, std::size_t bytes);
    /* Takes over `address`; `destroy` (may be null) is called with it in the end. */
    miTag adopt(miScene_types type, void* address, std::size_t bytes, Destroy destroy);
    /* A C++ object as an element; its address is what find and access give. */
    template <class T>
    miTag adopt(miScene_types type, std::unique_ptr<T> object) {
        return adopt(type, object.release(), sizeof(T), [](void* p) { delete static_cast<T*>(p); });
    }
    /* A string element: the zero-terminated text. */
    miTag create_string(std::string_view text);
    /* An array of tags, such as a material list. Its size is that of the tags. */
    miTag create_tags(const std::vector<miTag>& tags);

    /* New contents (and type) under the same tag; the old contents are destroyed unless the address
     * stays the same. Pins and name stay. Throws BadTag. */
    void replace(miTag tag, miScene_types type, void* address, std::size_t bytes, Destroy destroy);
    template <class T>
    void replace(miTag tag, miScene_types type, std::unique_ptr<T> object) {
        replace(tag, type, object.release(), sizeof(T), [](void* p) { delete static_cast<T*>(p); });
    }
    /* New contents of `bytes` zeroed bytes; gives their address. */
    void* replace(miTag tag, miScene_types type, std::size_t bytes);
    void replace_string(miTag tag, std::string_view text);
    void replace_tags(miTag tag, const std::vector<miTag>& tags);
    void remove(miTag tag);

    /* Address of an element without a pin, for the host's own use; null for a bad tag. */
    [[nodiscard]] void* find(miTag tag) const noexcept {
        const Slot* const s = slot(tag);
        return s == nullptr ? nullptr : s->address.load(std::memory_order_acquire);
    }
    /* The same, null also when the element is not of `type`. */
    template <class T>
    [[nodiscard]] T* find(miTag tag, miScene_types type) const noexcept {
        const Slot* const s = slot(tag);
        if (s == nullptr) return nullptr;
        void* const address = s->address.load(std::memory_order_acquire);
        return s->type.load(std::memory_order_relaxed) == type ? static_cast<T*>(address) : nullptr;
    }
    /* 0 for a bad tag, and for no other. */
    [[nodiscard]] int type(miTag tag) const noexcept {
        const Slot* const s = slot(tag);
        if (s == nullptr || s->address.load(std::memory_order_acquire) == nullptr) return 0;
        return s->type.load(std::memory_order_relaxed);
    }
    [[nodiscard]] std::size_t size(miTag tag) const noexcept;
    /* The text of a string element; empty for anything else. */
    [[nodiscard]] std::string_view text(miTag tag) const noexcept;

    /* Pins. access throws BadTag; *over_limit (may be null) becomes true on the one call that takes
     * the count beyond max_pins, which is counted all the same. */
    void* access(miTag tag, bool* over_limit = nullptr);
    /* False, and nothing is done, when the element has fewer pins. Throws BadTag. */
    bool unpin(miTag tag, std::uint32_t times = 1);
    [[nodiscard]] std::uint32_t pins(miTag tag) const noexcept {
        const Slot* const s = slot(tag);
        return s == nullptr ? 0 : s->pins.load(std::memory_order_relaxed);
    }
    /* Elements that are still pinned, by tag; with `clear` their counts go back to 0. */
    std::vector<LeftOverPin> left_over_pins(bool clear);

    /* Names are for messages. */
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
    miTag m_last = 0; /* under m_mutex */
    std::unordered_map<miTag, std::string> m_names;
};

} // namespace vx::db
