// Walking through a PDC file record by record: the header, each record's name and type code, and
// where its data lie. The values themselves are read by CAttribute or skipped.
//
// The format: a header of 28 bytes (magic, then six int32), then attribute records: name length
// (int32), name, type code (int32), data. Everything is big-endian, nothing is padded.
#ifndef VX_POINTS_PDC_WALK_H
#define VX_POINTS_PDC_WALK_H

#include "src/points/pdc.h"

#include <cstdint>
#include <cstdio>
#include <string>

constexpr std::int32_t kPdcTypeCodes = 6;       // codes 0 to 5 have a meaning
constexpr std::int64_t kPdcRecordLeast = 4 + 4; // bytes of a record with neither name nor data

// Codes 1, 3 and 5: a value per particle. Codes 0, 2 and 4: one value for all.
bool IsPerParticleCode(std::int32_t code);

// Bytes of data behind a type code: int32 (0, 1), double (2, 3), three doubles (4, 5); -1 when that
// cannot be told: a code outside 0..5, or a value per particle of a negative count.
std::int64_t PdcDataSize(std::int32_t code, std::int32_t particleCount);

enum class PdcError {
    None,
    ShortHeader,       // the file ends inside the six numbers of the header
    ShortRecord,       // the file ends inside a record's name length, name or type code
    BadNameLength,     // negative, or longer than the rest of the file
    BadParticleCount,  // a value per particle of a negative count
    DataPastEnd,       // the rest of the file cannot hold a record's data, or ended inside them
    BadAttributeCount, // more records than the rest of the file can hold
    SeekFailed,        // the stream refused to move on, as a pipe does
    OutOfMemory        // for data that the file does hold
};

// The reason in words, without a full stop: "the file ends inside the header".
const char* PdcErrorText(PdcError error);

class CPdcWalk {
  public:
    // Starts at the stream's position; the stream stays the caller's and must outlive the walk.
    explicit CPdcWalk(std::FILE* file);

    // Fills `header`. The magic is stored unchecked and a short read of it alone goes unnoticed,
    // the version and the byte order are not checked either; false when one of the six numbers is
    // short.
    bool ReadHeader();

    // Reads the next record's name and type code; its data follow. Call it header.attributeCount
    // times, with SkipData or MarkDataRead in between. May throw std::bad_alloc, for a name that
    // the file does hold.
    bool NextRecord();

    // Seeks over the record's data. Moving past the end is no error: the next read tells. A code
    // outside 0..5 is skipped by the size of the record that was skipped last (0 at first): such
    // files repeat one unknown type, and this is how they have always been read.
    bool SkipData();

    // The caller has read the record's data itself, all dataSize bytes.
    void MarkDataRead();

    // Bytes from the present place to the end of the file, -1 where the stream cannot tell (a
    // pipe).
    std::int64_t Remaining() const;

    // Notes what went wrong at `offset`, and is false for the caller to return.
    bool Fail(PdcError why, std::int64_t offset);

    CPdcHeader header;
    std::string name;             // of the present record; may hold any byte
    std::int32_t code;            // as the file has it
    std::int64_t dataOffset;      // from the start of the walk
    std::int64_t dataSize;        // PdcDataSize of code
    std::int64_t lastSkippedSize; // bytes that the last SkipData moved by
    PdcError error;               // after a false result
    std::int64_t errorOffset;     // where the offending item starts, from the start of the walk

  private:
    std::FILE* mFile;
    std::int64_t mPosition;
    std::int64_t mSize; // -1 where the stream cannot tell
};

#endif
