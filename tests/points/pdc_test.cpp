// The cache in memory.
#include "src/points/pdc.h"

#include <gtest/gtest.h>

namespace {

TEST(Pdc, SlotsStandBeforeTheHeader) {
    const CPdc pdc;
    EXPECT_EQ(static_cast<const void*>(&pdc), static_cast<const void*>(pdc.slots));
    EXPECT_EQ(std::size(pdc.slots), 27u);
    EXPECT_GT(reinterpret_cast<const char*>(&pdc.header),
              reinterpret_cast<const char*>(&pdc.slots[26]));
}

TEST(Pdc, HeaderIsMagicAndSixInts) {
    EXPECT_EQ(sizeof(CPdcHeader), 28u);
    EXPECT_EQ(offsetof(CPdcHeader, magic), 0u);
    EXPECT_EQ(offsetof(CPdcHeader, formatVersion), 4u);
    EXPECT_EQ(offsetof(CPdcHeader, byteOrder), 8u);
    EXPECT_EQ(offsetof(CPdcHeader, extra1), 12u);
    EXPECT_EQ(offsetof(CPdcHeader, extra2), 16u);
    EXPECT_EQ(offsetof(CPdcHeader, particleCount), 20u);
    EXPECT_EQ(offsetof(CPdcHeader, attributeCount), 24u);
}

TEST(Pdc, FreshHas27UnnamedSlots) {
    const CPdc pdc;
    for (const CAttribute& slot : pdc.slots) {
        EXPECT_EQ(slot.name, "");
        EXPECT_EQ(slot.kind, 0);
        EXPECT_FALSE(slot.perParticle);
        EXPECT_EQ(slot.floats.size(), 1u);
    }
}

TEST(Pdc, SetNameAndTypeLeavesFlagAndArraysUnchanged) {
    CPdc pdc;
    pdc.slots[5].perParticle = true;
    pdc.slots[5].floats = {1, 2, 3};
    pdc.SetNameAndType(5, "mass", kKindInteger);
    EXPECT_EQ(pdc.slots[5].name, "mass");
    EXPECT_EQ(pdc.slots[5].kind, 2);
    EXPECT_TRUE(pdc.slots[5].perParticle);
    EXPECT_EQ(pdc.slots[5].floats, (std::vector<float>{1, 2, 3}));
    EXPECT_EQ(pdc.slots[5].integers.size(), 1u);
}

TEST(Pdc, SetNameAndTypeOutsideTheSlotsIsIgnored) {
    CPdc pdc;
    pdc.SetNameAndType(-1, "a", kKindFloat);
    pdc.SetNameAndType(27, "b", kKindFloat);
    for (const CAttribute& slot : pdc.slots)
        EXPECT_EQ(slot.name, "");
}

TEST(Pdc, BakedSlotsAreTheSevenAndNoOther) {
    struct Row {
        const char* name;
        int slot;
        int kind;
    };
    constexpr Row kTable[] = {{"opacityPP", 0, 1}, {"radius", 1, 1},    {"id", 10, 2},
                              {"tag", 11, 2},      {"position", 16, 3}, {"rgbPP", 17, 3},
                              {"normalPP", 18, 3}};
    CPdc pdc;
    pdc.NameBakedSlots();
    int named = 0;
    for (const CAttribute& slot : pdc.slots)
        named += slot.name.empty() ? 0 : 1;
    EXPECT_EQ(named, 7);
    for (const Row& row : kTable) {
        EXPECT_EQ(pdc.slots[row.slot].name, row.name);
        EXPECT_EQ(pdc.slots[row.slot].kind, row.kind) << row.name;
        EXPECT_FALSE(pdc.slots[row.slot].perParticle);
    }
}

} // namespace
