// The writer's record: one per shader instance, from its init to its exit.
#pragma once

#include "src/platform/renderer.h"
#include "src/points/pdc.h"
#include "src/points/point_grid.h"
#include "src/writer/write_parameters.h"

#include <cstdint>
#include <optional>
#include <string>

// The number of grid rows for an image: one per sample, 0 if either size is below 1. Empty if a
// grid cannot count that many. `samples` is per pixel, at least 1.
std::optional<std::int32_t> GridRows(int width, int height, int samples);

class WriteInstanceData {
  public:
    // Evaluates and copies the parameters and sizes the grid for the state's camera: a row per
    // sample of the image. Parameters that a switch turns off are not evaluated. The grid stays
    // empty if it cannot count the samples, and for an instance that is disabled or converts.
    // Throws what an allocation throws; nothing is left behind then.
    WriteInstanceData(miState* state, WriteParameters* params);
    // Releases the cache, the labels, the lock and the grid, in this order.
    ~WriteInstanceData();
    WriteInstanceData(const WriteInstanceData&) = delete;
    WriteInstanceData& operator=(const WriteInstanceData&) = delete;

    // Loads a PDC file into a new cache, which becomes the record's; a previous cache is not
    // released. Returns false with a warning if the file cannot be opened (the record keeps its
    // cache), and false without a warning for a bad file (pdc is null then). Throws std::bad_alloc.
    bool ReadPdc(const std::string& fileName);

    // Writes the record's cache as a map file: position, "normalPP", "rgbPP", "opacityPP", "tag";
    // with useLabels on only particles whose tag is in the list. Returns false if a particle is
    // missing from the map: it could not be appended, or the cache counts more than a million
    // particles that no array backs. Such a partial map is written as well. Errors of writing are
    // not checked.
    bool PdcToMap(const std::string& mapFileName);

    miLock lock; // guards everything below while rendering
    bool done;   // the bake or conversion has begun
    int labelCount;
    int* labelValues; // from parse_label_list; null with useLabels off
    WriteParameters params;
    CPointGrid grid;
    CPdc* pdc;           // null until the output stage
    bool tooManySamples; // the image has more than a grid has rows, so nothing can be baked

  private:
    void ReadParameters(miState* state, WriteParameters* from);
    void SizeGrid(const miCamera* camera);
    void Release();
};
