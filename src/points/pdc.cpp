#include "src/points/pdc.h"

#include <utility>

CPdc::CPdc() : header{} {}

void CPdc::SetNameAndType(int slot, std::string name, int kind) {
    if (slot < 0 || slot >= kPdcSlots) return;
    slots[slot].name = std::move(name);
    slots[slot].kind = kind;
}

void CPdc::NameBakedSlots() {
    SetNameAndType(kSlotId, "id", kKindInteger);
    SetNameAndType(kSlotPosition, "position", kKindVector);
    SetNameAndType(kSlotRgb, "rgbPP", kKindVector);
    SetNameAndType(kSlotNormal, "normalPP", kKindVector);
    SetNameAndType(kSlotOpacity, "opacityPP", kKindFloat);
    SetNameAndType(kSlotRadius, "radius", kKindFloat);
    SetNameAndType(kSlotTag, "tag", kKindInteger);
}
