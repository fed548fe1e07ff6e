#include "src/points/pdc_walk.h"

#include "src/points/big_endian.h"

#include <algorithm>

static_assert(sizeof(long) >= sizeof(std::int64_t), "fseek moves by the size of any record");

namespace {

// Bytes from the current position to the end. Devices report a size of 0, which is not believed.
std::int64_t MeasureStream(std::FILE* file) {
    if (file == nullptr) return kSizeUnknown;
    const long start = std::ftell(file);
    if (start < 0 || std::fseek(file, 0, SEEK_END) != 0) return kSizeUnknown;
    const long end = std::ftell(file);
    if (std::fseek(file, start, SEEK_SET) != 0) return kSizeUnknown;
    return end > start ? std::int64_t{end} - start : kSizeUnknown;
}

} // namespace

bool IsPerParticleCode(std::int32_t code) {
    return code == 1 || code == 3 || code == 5;
}

std::int64_t PdcDataSize(std::int32_t code, std::int32_t particleCount) {
    constexpr std::int64_t kValueSize[kPdcTypeCodes] = {4, 4, 8, 8, 24, 24};
    if (code < 0 || code >= kPdcTypeCodes) return -1;
    if (!IsPerParticleCode(code)) return kValueSize[code];
    return particleCount < 0 ? -1 : kValueSize[code] * particleCount;
}

const char* PdcErrorText(PdcError error) {
    switch (error) {
    case PdcError::None:
        return "no error";
    case PdcError::ShortHeader:
        return "the file ends inside the header";
    case PdcError::ShortRecord:
        return "the file ends where an attribute's name and type code should be";
    case PdcError::BadNameLength:
        return "an attribute's name length is negative or more than the file holds";
    case PdcError::BadParticleCount:
        return "an attribute has a value for each of a negative number of particles";
    case PdcError::DataPastEnd:
        return "an attribute's values are more than the file holds";
    case PdcError::BadAttributeCount:
        return "the attributes are more than the file can hold";
    case PdcError::SeekFailed:
        return "an attribute cannot be skipped in this stream";
    case PdcError::OutOfMemory:
        return "not enough memory";
    }
    return "unknown error";
}

bool ReadGrowing(std::FILE* file, std::size_t count, std::string& bytes) {
    constexpr std::size_t kPiece = 4096;
    bytes.clear();
    while (bytes.size() < count) {
        const std::size_t done = bytes.size();
        const std::size_t more = std::min(kPiece, count - done);
        bytes.resize(done + more);
        if (std::fread(bytes.data() + done, 1, more, file) != more) return false;
    }
    return true;
}

CPdcWalk::CPdcWalk(std::FILE* file)
    : header{},
      code(0),
      dataOffset(0),
      dataSize(0),
      lastSkippedSize(0),
      error(PdcError::None),
      errorOffset(0),
      m_file(file),
      m_position(0),
      m_size(MeasureStream(file)) {}

bool CPdcWalk::Fail(PdcError why, std::int64_t offset) {
    error = why;
    errorOffset = offset;
    return false;
}

bool CPdcWalk::ReadHeader() {
    if (m_file == nullptr) return Fail(PdcError::ShortHeader, 0);
    // After a short read of the magic the numbers that follow are missing as well.
    [[maybe_unused]] const std::size_t got = std::fread(header.magic, 1, 4, m_file);
    m_position = 4;
    for (std::int32_t* const field :
         {&header.formatVersion, &header.byteOrder, &header.extra1, &header.extra2,
          &header.particleCount, &header.attributeCount}) {
        if (!ReadBigEndianInt(m_file, *field)) return Fail(PdcError::ShortHeader, m_position);
        m_position += 4;
    }
    return true;
}

bool CPdcWalk::NextRecord() {
    std::int32_t length = 0;
    if (!ReadBigEndianInt(m_file, length)) return Fail(PdcError::ShortRecord, m_position);
    m_position += 4;
    if (length < 0 || !CanHold(length)) return Fail(PdcError::BadNameLength, m_position - 4);
    if (!ReadGrowing(m_file, static_cast<std::size_t>(length), name)) {
        return Fail(PdcError::ShortRecord, m_position);
    }
    m_position += length;
    if (!ReadBigEndianInt(m_file, code)) return Fail(PdcError::ShortRecord, m_position);
    m_position += 4;
    dataOffset = m_position;
    dataSize = PdcDataSize(code, header.particleCount);
    return true;
}

bool CPdcWalk::SkipData() {
    const bool known = code >= 0 && code < kPdcTypeCodes;
    if (known && dataSize < 0) return Fail(PdcError::BadParticleCount, dataOffset);
    const std::int64_t size = known ? dataSize : lastSkippedSize;
    if (std::fseek(m_file, size, SEEK_CUR) != 0) return Fail(PdcError::SeekFailed, dataOffset);
    lastSkippedSize = size;
    m_position += size;
    return true;
}

void CPdcWalk::MarkDataRead() {
    m_position += dataSize;
}

std::int64_t CPdcWalk::Remaining() const {
    return m_size == kSizeUnknown ? kSizeUnknown : std::max<std::int64_t>(m_size - m_position, 0);
}

bool CPdcWalk::CanHold(std::int64_t bytes) const {
    return m_size == kSizeUnknown || bytes <= Remaining();
}
