// The interface object, the handles, and maps in the database.
#include "tests/maps/helpers.h"

namespace {

using namespace vx::maps::test;
using vx::maps::Hooks;
using vx::maps::live_interface_count;
using vx::maps::live_object_count;
using vx::maps::pin_count;
using vx::maps::remove_map;
using vx::maps::set_hooks;

TEST(Interface, OnlyVersionThreeIsKnown) {
    const NothingLeft nothing_left;
    EXPECT_EQ(mi_get_shader_interface(2), nullptr);
    EXPECT_EQ(mi_get_shader_interface(4), nullptr);
    Interface* const interface = mi_get_shader_interface(3);
    ASSERT_NE(interface, nullptr);
    EXPECT_GT(live_interface_count(), 0);
    interface->release();
}

TEST(Interface, WhatIsLeftOverIsCounted) {
    const long before = live_object_count();
    Interface* const interface = Interface::get();
    Map_declaration_base* const declaration = interface->createMapDeclaration();
    Edit_map_dbhandle* const map = interface->createMap(declaration);
    Map_element_base* const element = interface->createMapElement(declaration);
    Map_lookup_base* const lookup = interface->createMapLookup(map->get_map());
    Map_iterator_base* const iterator = interface->createMapIterator(map->get_map());
    interface->release();
    EXPECT_EQ(live_object_count(), before + 5);
    delete iterator;
    delete lookup;
    delete element;
    delete map;
    EXPECT_EQ(live_object_count(), before + 1);
    delete declaration;
    EXPECT_EQ(live_object_count(), before);
}

TEST(Interface, NullArgumentsGiveNullAndAStatus) {
    const NothingLeft nothing_left;
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

TEST(Interface, SlotsThatAreNotAboutMapsAnswerNothingWithoutAHost) {
    Access_interface interface;
    EXPECT_EQ(interface->getOptions(1), nullptr);
    EXPECT_EQ(interface->createFramebuffer(), miNULLTAG);
    EXPECT_EQ(interface->copyFramebuffer(1), miNULLTAG);
    EXPECT_EQ(interface->createLightList(nullptr), nullptr);
    EXPECT_EQ(interface->createLightList(nullptr, miVector{0, 0, 1}, 0.5f), nullptr);
}

TEST(Interface, AHostAnswersTheSlotsThatItHooks) {
    Hooks hooks;
    hooks.create_framebuffer = [] { return miTag{42}; };
    hooks.copy_framebuffer = [](miTag tag) { return tag + 1; };
    set_hooks(hooks);
    Access_interface interface;
    EXPECT_EQ(interface->createFramebuffer(), 42u);
    EXPECT_EQ(interface->copyFramebuffer(6), 7u);
    set_hooks({});
    EXPECT_EQ(interface->createFramebuffer(), miNULLTAG);
}

TEST(Interface, AStoredMapIsReachedByItsTagAndPinned) {
    const NothingLeft nothing_left;
    miTag tag = miNULLTAG;
    {
        const auto map = map_of_points({1, 2, 3}, 3);
        EXPECT_EQ(map->get_tag(), miNULLTAG);
        tag = map->store();
        ASSERT_NE(tag, miNULLTAG);
        EXPECT_EQ(map->store(), tag);
        EXPECT_EQ(map->get_tag(), tag);
        EXPECT_EQ(pin_count(tag), 1u);
        const Access_map access(tag);
        Edit_map edit(tag);
        EXPECT_EQ(pin_count(tag), 3u);
        EXPECT_EQ(access->size(), 1u);
        EXPECT_EQ(access.operator->(), edit.operator->());
        EXPECT_FALSE(remove_map(tag));
    }
    EXPECT_EQ(pin_count(tag), 0u);
    EXPECT_EQ(Access_map(tag)->size(), 1u);
    EXPECT_TRUE(remove_map(tag));
    EXPECT_FALSE(remove_map(tag));
    const Access_map gone(tag);
    EXPECT_TRUE(gone->is_empty());
    EXPECT_EQ(gone.get_tag(), miNULLTAG);
}

TEST(Interface, ASecondAccessSharesTheMapAndKeepsIt) {
    const NothingLeft nothing_left;
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

    const auto map = map_of_points({1, 2, 3}, 3);
    const miTag tag = map->store();
    first = interface->accessMap(tag);
    Access_map_dbhandle* const pinned = interface->shareMap(first);
    EXPECT_EQ(pin_count(tag), 3u);
    delete first;
    EXPECT_EQ(pinned->get_map()->size(), 1u);
    delete pinned;
    EXPECT_EQ(pin_count(tag), 1u);
}

TEST(Interface, AFileMayBeAskedForWithoutAStatus) {
    const NothingLeft nothing_left;
    Access_interface interface;
    const std::unique_ptr<Access_map_dbhandle> map(interface->accessMap("no such file", nullptr));
    ASSERT_NE(map, nullptr);
    EXPECT_TRUE(map->get_map()->is_empty());
    EXPECT_FALSE(map->get_map()->has_declaration());
    const std::unique_ptr<Edit_map_dbhandle> none(interface->editMap(nullptr, nullptr));
    EXPECT_TRUE(none->get_map()->is_empty());
}

} // namespace
