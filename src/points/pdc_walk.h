// Walks through a PDC file record by record: the header, and the name, type code and extent of each
// record. CAttribute reads the values.
//
// The format: a header of 28 bytes (magic, then six int32), then attribute records: name length
// (int32), name, type code (int32), data. Everything is big-endian, nothing is padded.
#pragma once

#include "src/points/pdc.h"

#include <cstdint>
#include <cstdio>
#include <string>

constexpr std::int32_t kPdcTypeCodes = 6;       // 0 to 5
constexpr std::int64_t kPdcRecordLeast = 4 + 4; // size of a record with neither name nor data
constexpr std::int64_t kSizeUnknown = -1;       // of a stream that is not seekable

// Codes 1, 3 and 5 store a value per particle, codes 0, 2 and 4 one value for all.
bool IsPerParticleCode(std::int32_t code);

// Size in bytes of a record's data: int32 (codes 0, 1), double (2, 3) or three doubles (4, 5), once
// or per particle. -1 for a code outside 0..5, and for values per particle of a negative count.
std::int64_t PdcDataSize(std::int32_t code, std::int32_t particleCount);

enum class PdcError {
    None,
    ShortHeader,       // the file ends inside the six numbers of the header
    ShortRecord,       // the file ends inside a record's name length, name or type code
    BadNameLength,     // negative, or longer than the rest of the file
    BadParticleCount,  // values per particle of a negative count
    DataPastEnd,       // a record's data is longer than the rest of the file
    BadAttributeCount, // more records than the rest of the file can hold
    SeekFailed,        // the stream is not seekable, as a pipe
    OutOfMemory        // not enough memory for data that the file does hold
};

// A description for messages, without a full stop: "the file ends inside the header".
const char* PdcErrorText(PdcError error);

// Replaces `bytes` by the next `count` bytes of the stream, growing it as they arrive, so that a
// count that the stream does not hold costs no memory. Returns false on a short read. May throw
// std::bad_alloc.
bool ReadGrowing(std::FILE* file, std::size_t count, std::string& bytes);

class CPdcWalk {
  public:
    // Starts at the stream's position. The caller owns the stream, which must outlive the walk.
    explicit CPdcWalk(std::FILE* file);

    // Reads the header into `header`. Returns false if one of the six numbers is missing. Magic,
    // version and byte order are not checked, and a short read of the magic alone goes unnoticed.
    bool ReadHeader();

    // Reads the next record's name and type code; the stream then stands at the record's data. Call
    // it header.attributeCount times, each followed by SkipData or MarkDataRead. May throw
    // std::bad_alloc.
    bool NextRecord();

    // Seeks past the record's data. Seeking beyond the end of the file is not an error; the next
    // read fails then. For a code outside 0..5 the distance is that of the last SkipData (0 if
    // there was none), because such a record does not imply its own size.
    bool SkipData();

    // The caller has read the record's data, all dataSize bytes.
    void MarkDataRead();

    // Bytes from the current position to the end of the file, or kSizeUnknown.
    std::int64_t Remaining() const;

    // Whether the rest of the file is at least as long as this, which is assumed of an unknown
    // size.
    bool CanHold(std::int64_t bytes) const;

    // Sets error and errorOffset and returns false.
    bool Fail(PdcError why, std::int64_t offset);

    CPdcHeader header;
    std::string name;             // of the current record; may hold any byte
    std::int32_t code;            // as stored
    std::int64_t dataOffset;      // from the start of the walk
    std::int64_t dataSize;        // PdcDataSize of code
    std::int64_t lastSkippedSize; // distance of the last SkipData
    PdcError error;               // after a false result
    std::int64_t errorOffset;     // of the offending item, from the start of the walk

  private:
    std::FILE* m_file;
    std::int64_t m_position;
    std::int64_t m_size; // or kSizeUnknown
};
