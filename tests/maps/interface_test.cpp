// The interface object, handles, and stores of maps.
#include "tests/maps/helpers.h"

#include <map>

namespace {

using namespace vx::maps::test;
using vx::maps::Map;
using vx::maps::MapStore;
using vx::maps::remove_map;
using vx::maps::set_map_store;

// The store of a host: holds up to `room` maps, with tags from 1001, and counts pins.
class HostStore final : public MapStore {
  public:
    explicit HostStore(std::size_t room) : m_room(room) { set_map_store(this); }
    HostStore(const HostStore&) = delete;
    HostStore& operator=(const HostStore&) = delete;
    ~HostStore() { set_map_store(nullptr); }

    miTag store(std::shared_ptr<Map> map) override {
        if (m_maps.size() == m_room) return miNULLTAG;
        const auto tag = static_cast<miTag>(1001 + m_maps.size());
        m_maps[tag] = {std::move(map), 0};
        return tag;
    }
    std::shared_ptr<Map> pin(miTag tag) override {
        const auto found = m_maps.find(tag);
        if (found == m_maps.end()) return nullptr;
        ++found->second.pins;
        return found->second.map;
    }
    void unpin(miTag tag) noexcept override { --m_maps.at(tag).pins; }

    int pins(miTag tag) const { return m_maps.at(tag).pins; }
    std::size_t size() const { return m_maps.size(); }

  private:
    struct Entry {
        std::shared_ptr<Map> map;
        int pins = 0;
    };
    std::size_t m_room;
    std::map<miTag, Entry> m_maps;
};

TEST(Interface, OnlyVersionThreeIsKnown) {
    EXPECT_EQ(mi_get_shader_interface(2), nullptr);
    EXPECT_EQ(mi_get_shader_interface(4), nullptr);
    Interface* const interface = mi_get_shader_interface(3);
    ASSERT_NE(interface, nullptr);
    interface->release();
}

TEST(Interface, NullArgumentsGiveNullAndAStatus) {
    Access_interface interface;
    Map_status status;
    EXPECT_EQ(interface->createMapLookup(nullptr, &status), nullptr);
    EXPECT_TRUE(status == Map_status::Lookup_invalid);
    EXPECT_EQ(interface->createMapIterator(nullptr, &status), nullptr);
    EXPECT_TRUE(status == Map_status::Iterator_invalid);
    EXPECT_EQ(interface->copyMapIterator(nullptr, &status), nullptr);
    EXPECT_TRUE(status == Map_status::Iterator_invalid);
    EXPECT_EQ(interface->copyMapLookup(nullptr, &status), nullptr);
    EXPECT_TRUE(status == Map_status::Lookup_invalid);
    EXPECT_EQ(interface->copyMapElement(nullptr), nullptr);
    EXPECT_EQ(interface->copyMapDeclaration(static_cast<const Map_base*>(nullptr), &status),
              nullptr);
    EXPECT_TRUE(status == Map_status::No_declaration);
    EXPECT_EQ(interface->shareMap(nullptr), nullptr);
}

TEST(Interface, SlotsThatAreNotAboutMapsAnswerNothing) {
    Access_interface interface;
    EXPECT_EQ(interface->getOptions(1), nullptr);
    EXPECT_EQ(interface->createFramebuffer(), miNULLTAG);
    EXPECT_EQ(interface->copyFramebuffer(1), miNULLTAG);
    EXPECT_EQ(interface->createLightList(nullptr), nullptr);
    EXPECT_EQ(interface->createLightList(nullptr, miVector{0, 0, 1}, 0.5f), nullptr);
}

TEST(Interface, AStoredMapIsReachedByItsTagAndPinned) {
    auto map = map_of_points({1, 2, 3}, 3);
    EXPECT_EQ(map->get_tag(), miNULLTAG);
    const miTag tag = map->store();
    ASSERT_NE(tag, miNULLTAG);
    EXPECT_EQ(map->store(), tag);
    EXPECT_EQ(map->get_tag(), tag);
    {
        const Access_map access(tag);
        Edit_map edit(tag);
        EXPECT_EQ(access->size(), 1u);
        EXPECT_EQ(access.operator->(), edit.operator->());
        map.reset();
        EXPECT_FALSE(remove_map(tag)) << "two handles pin it";
    }
    EXPECT_EQ(Access_map(tag)->size(), 1u);
    EXPECT_TRUE(remove_map(tag));
    EXPECT_FALSE(remove_map(tag));
    const Access_map gone(tag);
    EXPECT_TRUE(gone->is_empty());
    EXPECT_EQ(gone.get_tag(), miNULLTAG);
}

TEST(Interface, ASecondAccessSharesTheMapAndKeepsIt) {
    Access_interface interface;
    Map_status status;
    Access_map_dbhandle* first = interface->accessMap("no such file", &status);
    EXPECT_TRUE(status == Map_status::File_could_not_be_opened);
    EXPECT_TRUE(first->get_map()->is_empty());
    Access_map_dbhandle* const second = interface->shareMap(first);
    EXPECT_EQ(second->get_map(), first->get_map());
    delete first;
    EXPECT_TRUE(second->get_map()->is_empty());
    delete second;

    auto map = map_of_points({1, 2, 3}, 3);
    const miTag tag = map->store();
    first = interface->accessMap(tag);
    Access_map_dbhandle* const pinned = interface->shareMap(first);
    map.reset();
    delete first;
    EXPECT_FALSE(remove_map(tag)) << "the second access has a pin of its own";
    EXPECT_EQ(pinned->get_map()->size(), 1u);
    delete pinned;
    EXPECT_TRUE(remove_map(tag));
}

TEST(Interface, HandlesOfOneMapStoreItOnce) {
    const Folder folder;
    (*map_of_points({1, 2, 3}, 3))->write(folder.file("map").c_str(), false);
    Access_interface interface;
    Access_map_dbhandle* const first = interface->accessMap(folder.file("map").c_str(), nullptr);
    Access_map_dbhandle* const second = interface->shareMap(first);
    const miTag tag = first->store();
    ASSERT_NE(tag, miNULLTAG);
    EXPECT_EQ(second->store(), tag);
    delete second;
    EXPECT_FALSE(remove_map(tag)) << "each handle has a pin of its own";
    delete first;
    EXPECT_TRUE(remove_map(tag));
}

TEST(Interface, AMapThatWasRemovedIsStoredAnew) {
    const Folder folder;
    (*map_of_points({1, 2, 3}, 3))->write(folder.file("map").c_str(), false);
    Access_interface interface;
    Access_map_dbhandle* const first = interface->accessMap(folder.file("map").c_str(), nullptr);
    Access_map_dbhandle* const second = interface->shareMap(first);
    const miTag removed = first->store();
    delete first;
    EXPECT_TRUE(remove_map(removed));
    const miTag tag = second->store();
    EXPECT_NE(tag, removed);
    EXPECT_EQ(Access_map(tag)->size(), 1u);
    delete second;
    EXPECT_TRUE(remove_map(tag));
}

TEST(MapStore, OfAHostTakesTheMapsAndGivesTheTags) {
    HostStore store(2);
    auto first = map_of_points({1, 2, 3}, 3);
    const auto second = map_of_points({1, 2, 3, 4, 5, 6}, 3);
    EXPECT_EQ(first->store(), 1001u);
    EXPECT_EQ(first->store(), 1001u);
    EXPECT_EQ(second->store(), 1002u);
    EXPECT_EQ(store.size(), 2u);
    EXPECT_EQ(store.pins(1001), 1);
    {
        const Access_map access(1001);
        EXPECT_EQ(access.get_tag(), 1001u);
        EXPECT_EQ(access->size(), 1u);
        EXPECT_EQ(Edit_map(1002)->size(), 2u);
        EXPECT_EQ(store.pins(1001), 2);
        EXPECT_EQ(store.pins(1002), 1);
        first.reset();
        EXPECT_EQ(store.pins(1001), 1);
        EXPECT_EQ(access->size(), 1u);
    }
    EXPECT_EQ(store.pins(1001), 0);
    EXPECT_FALSE(remove_map(1001));
}

TEST(MapStore, OfAHostDecidesAboutUnknownTags) {
    const auto map = map_of_points({1, 2, 3}, 3);
    const miTag own = map->store();
    const HostStore store(1);
    const Access_map unknown(own);
    EXPECT_TRUE(unknown->is_empty());
    EXPECT_EQ(unknown.get_tag(), miNULLTAG);
}

TEST(MapStore, ThatIsFullGivesTheNullTag) {
    const HostStore store(0);
    const auto map = map_of_points({1, 2, 3}, 3);
    EXPECT_EQ(map->store(), miNULLTAG);
    EXPECT_EQ(map->get_tag(), miNULLTAG);
    EXPECT_EQ((*map)->size(), 1u);
}

TEST(Interface, TheStatusOfAFileMayBeNull) {
    Access_interface interface;
    const std::unique_ptr<Access_map_dbhandle> map(interface->accessMap("no such file", nullptr));
    ASSERT_NE(map, nullptr);
    EXPECT_TRUE(map->get_map()->is_empty());
    EXPECT_FALSE(map->get_map()->has_declaration());
    const std::unique_ptr<Edit_map_dbhandle> none(interface->editMap(nullptr, nullptr));
    EXPECT_TRUE(none->get_map()->is_empty());
}

} // namespace
