#include "src/points/pdc_file.h"

#include "src/points/big_endian.h"

#include <memory>
#include <string>

namespace {

bool KindFitsCode(std::int32_t kind, std::int32_t code) {
    switch (code) {
    case 0:
    case 1:
        return kind == kKindInteger;
    case 2:
    case 3:
        return kind == kKindFloat || kind == kKindInteger;
    case 4:
    case 5:
        return kind == kKindVector;
    default:
        return false;
    }
}

CAttribute* FindSlot(CPdc& pdc, const std::string& name, std::int32_t code) {
    for (CAttribute& slot : pdc.slots) {
        if (slot.name == name && KindFitsCode(slot.kind, code)) return &slot;
    }
    return nullptr;
}

struct CloseFile {
    void operator()(std::FILE* file) const { (void)std::fclose(file); }
};

// `file` stands at the record's data and holds all of them.
bool ReadSlot(CAttribute& slot, const CPdcWalk& walk, std::FILE* file) {
    slot.perParticle = IsPerParticleCode(walk.code);
    if (slot.perParticle) slot.Resize(walk.header.particleCount);
    const bool intAsInt32 = walk.code == 0 || walk.code == 1;
    return slot.FRead(file, intAsInt32);
}

// The size of a pipe is unknown: its data are collected before the slot is resized for them.
bool ReadSlotOfPipe(CAttribute& slot, const CPdcWalk& walk, std::FILE* file) {
    std::string bytes;
    if (!ReadGrowing(file, static_cast<std::size_t>(walk.dataSize), bytes)) return false;
    const std::unique_ptr<std::FILE, CloseFile> collected(
        fmemopen(bytes.data(), bytes.size(), "rb"));
    return ReadSlot(slot, walk, collected.get());
}

bool ReadRecordData(CPdcWalk& walk, CAttribute& slot, std::FILE* file) {
    if (walk.dataSize < 0) return walk.Fail(PdcError::BadParticleCount, walk.dataOffset);
    const bool whole = walk.Remaining() == kSizeUnknown
                           ? ReadSlotOfPipe(slot, walk, file)
                           : walk.CanHold(walk.dataSize) && ReadSlot(slot, walk, file);
    if (!whole) return walk.Fail(PdcError::DataPastEnd, walk.dataOffset);
    walk.MarkDataRead();
    return true;
}

bool LoadRecords(CPdcWalk& walk, std::FILE* file, CPdc& pdc) {
    pdc.NameBakedSlots();
    const bool whole = walk.ReadHeader();
    pdc.header = walk.header;
    if (!whole) return false;
    const std::int32_t count = pdc.header.attributeCount;
    if (!walk.CanHold(count * kPdcRecordLeast)) return walk.Fail(PdcError::BadAttributeCount, 24);
    for (std::int32_t i = 0; i < count; ++i) {
        if (!walk.NextRecord()) return false;
        CAttribute* const slot = FindSlot(pdc, walk.name, walk.code);
        const bool done = slot != nullptr ? ReadRecordData(walk, *slot, file) : walk.SkipData();
        if (!done) return false;
    }
    return true;
}

} // namespace

void WritePdc(std::FILE* file, const CPdc& pdc) {
    (void)std::fwrite(pdc.header.magic, 1, sizeof pdc.header.magic, file);
    for (const std::int32_t field :
         {pdc.header.formatVersion, pdc.header.byteOrder, pdc.header.extra1, pdc.header.extra2,
          pdc.header.particleCount, pdc.header.attributeCount}) {
        WriteBigEndianInt(file, field);
    }
    for (const CAttribute& slot : pdc.slots) {
        if (!slot.name.empty()) slot.FWrite(file);
    }
}

bool LoadPdc(std::FILE* file, CPdc& pdc, CPdcLoadResult* result) noexcept {
    CPdcWalk walk(file);
    bool loaded = false;
    try {
        loaded = LoadRecords(walk, file, pdc);
    } catch (...) {
        loaded = walk.Fail(PdcError::OutOfMemory, walk.dataOffset);
    }
    if (result != nullptr) *result = CPdcLoadResult{walk.error, walk.errorOffset};
    return loaded;
}
