// The particle cache in memory: fixed attribute slots and the header of a PDC file.
#pragma once

#include "src/points/attribute.h"

#include <cstdint>
#include <string>

constexpr int kPdcSlots = 27;

// The slots of a baked cache. All others stay unnamed and are never written.
constexpr int kSlotOpacity = 0;
constexpr int kSlotRadius = 1;
constexpr int kSlotId = 10;
constexpr int kSlotTag = 11;
constexpr int kSlotPosition = 16;
constexpr int kSlotRgb = 17;
constexpr int kSlotNormal = 18;

// The 28 bytes at the start of a file, in the host's byte order.
class CPdcHeader {
  public:
    char magic[4];
    std::int32_t formatVersion;
    std::int32_t byteOrder; // stored but never consulted: files are big-endian
    std::int32_t extra1;
    std::int32_t extra2;
    std::int32_t particleCount;
    std::int32_t attributeCount;
};
static_assert(sizeof(CPdcHeader) == 28);

class CPdc {
  public:
    // Fresh slots, and a header of zeros.
    CPdc();

    // Sets a slot's name and kind; its flag and arrays are unchanged. Ignores slot numbers outside
    // 0..26.
    void SetNameAndType(int slot, std::string name, int kind);

    // Names the seven slots of a baked cache: "id", "position", "rgbPP", "normalPP", "opacityPP",
    // "radius" and "tag".
    void NameBakedSlots();

    CAttribute slots[kPdcSlots];
    CPdcHeader header;
};
