// What one instance of vx_pc_read keeps from its start to its end: its parameters and its map.
#ifndef VX_SRC_READER_INSTANCE_DATA_H
#define VX_SRC_READER_INSTANCE_DATA_H

#include "src/platform/renderer.h"
#include "src/reader/read_parameters.h"

// Made before the first call of the instance and only read afterwards, by any number of threads.
struct ReadInstanceData {
    // Evaluates the parameters, all but the four of every call, and loads the map of the frame.
    // Without a usable name or with an empty map there is no map, and nobody says so. A map without
    // "rgbPP" is dropped with a warning and disables the instance; other fields that are missing
    // are warned about. With `disable` set nothing else is evaluated and nothing is loaded.
    ReadInstanceData(miState* state, ReadParameters* params);
    // Takes over a map, which must not be null, and looks for its fields as above; `file` is for
    // the warnings. For callers that have the map already: the parameters name no file then.
    void TakeMap(mi::shader_v3::Access_map* access, const char* file);
    // Releases the map, then the labels.
    ~ReadInstanceData();
    ReadInstanceData(const ReadInstanceData&) = delete;
    ReadInstanceData& operator=(const ReadInstanceData&) = delete;

    // The parameter block; minAngle to scale stay unset: they are evaluated on every call.
    miBoolean disabled;
    miTag fileName;
    miInteger frame;
    miScalar radius;
    miInteger maxPoints;
    miBoolean useLabels;
    miTag labels; // unset without useLabels
    miInteger facing;
    miScalar minAngle;
    miScalar maxAngle;
    miColor falloff;
    miColor scale;
    miBoolean useOpacity;

    float radiusSquared;                  // limit of the search and of the distance test
    int labelCount;                       // entries of labelValues
    int* labelValues;                     // from calloc; null without useLabels
    mi::shader_v3::Access_map* mapHolder; // owned; null when there is no map

    // An identifier stands for a field only when its flag is set; else no field has it.
    mi::shader_v3::Map_field_id rgbField;
    mi::shader_v3::Map_field_id opacityField;
    mi::shader_v3::Map_field_id normalField;
    mi::shader_v3::Map_field_id tagField;
    bool hasRgb;
    bool hasOpacity;
    bool hasNormal;
    bool hasTag;

  private:
    // Nothing read, nothing loaded. The public constructor starts from it, so that what it has
    // made so far is released when it fails half way.
    ReadInstanceData();
    void LoadMap();
};

#endif
