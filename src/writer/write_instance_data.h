// The record of a writer instance, which exists from its init to its exit.
#pragma once

#include "src/platform/renderer.h"
#include "src/points/pdc.h"
#include "src/points/point_grid.h"
#include "src/writer/write_parameters.h"

#include <cstdint>
#include <optional>
#include <string>

// The number of grid rows for an image: one per sample, 0 if width or height is below 1. Empty if
// a grid cannot count so many. `samples` is the number per pixel, at least 1.
std::optional<std::int32_t> GridRows(int width, int height, int samples);

class WriteInstanceData {
  public:
    // Evaluates and copies the parameters, except those that a switch turns off, and gives the grid
    // one row per sample of the camera's image. The grid is empty if it cannot count the samples,
    // and if the instance is disabled or converts. Throws std::bad_alloc, without a leak.
    WriteInstanceData(miState* state, WriteParameters* params);
    // Releases cache, labels, lock and grid, in this order.
    ~WriteInstanceData();
    WriteInstanceData(const WriteInstanceData&) = delete;
    WriteInstanceData& operator=(const WriteInstanceData&) = delete;

    // Loads a PDC file into a new cache and stores it in the record, without releasing the previous
    // one. Returns false if the file cannot be opened, with a warning and no change of `pdc`, or if
    // it is damaged, without a warning and with a null `pdc`. Throws std::bad_alloc.
    bool ReadPdc(const std::string& fileName);

    // Writes the record's cache to a map file with positions and the fields "normalPP", "rgbPP",
    // "opacityPP" and "tag". With useLabels, only particles whose tag is in the list. Returns false
    // if particles are missing: one could not be appended, or the count exceeds both a million and
    // the length of every array. An incomplete map is written as well. Write errors are ignored.
    bool PdcToMap(const std::string& mapFileName);

    miLock lock; // guards everything below while rendering
    bool done;   // the bake or conversion has begun
    int labelCount;
    int* labelValues; // of parse_label_list; null without useLabels
    WriteParameters params;
    CPointGrid grid;
    CPdc* pdc;           // null until the output stage
    bool tooManySamples; // more than a grid can count: no bake

  private:
    void ReadParameters(miState* state, WriteParameters* from);
    void SizeGrid(const miCamera* camera);
    void Release();
};
