// The record of one vx_pc_read instance: its parameters and its map.
#pragma once

#include "src/platform/renderer.h"
#include "src/reader/read_parameters.h"

// Created by the instance's init; read-only afterwards, so that all threads share it without a
// lock.
struct ReadInstanceData {
    // Evaluates the parameters, except the four that are evaluated per call, and loads the map of
    // the frame. If the file name is unusable or the map is empty, mapHolder stays null; no warning
    // is issued. A map without "rgbPP" is dropped with a warning and disables the instance. Every
    // other missing field gives a warning. If `disable` is set, nothing else is evaluated or
    // loaded.
    ReadInstanceData(miState* state, ReadParameters* params);
    // Takes ownership of a map (not null) and looks up its fields as above; `file` appears in the
    // warnings. For callers that have loaded the map themselves and left `fileName` unset.
    void TakeMap(mi::shader_v3::Access_map* access, const char* file);
    // Releases the map, then the labels.
    ~ReadInstanceData();
    ReadInstanceData(const ReadInstanceData&) = delete;
    ReadInstanceData& operator=(const ReadInstanceData&) = delete;

    // The parameter block. minAngle, maxAngle, falloff and scale are unset: they are evaluated on
    // every call.
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

    // Valid if the flag of the field is set, else the identifier of no field.
    mi::shader_v3::Map_field_id rgbField;
    mi::shader_v3::Map_field_id opacityField;
    mi::shader_v3::Map_field_id normalField;
    mi::shader_v3::Map_field_id tagField;
    bool hasRgb;
    bool hasOpacity;
    bool hasNormal;
    bool hasTag;

  private:
    // An empty record. The public constructor delegates to it, so that the destructor releases
    // what was acquired before a failure.
    ReadInstanceData();
    void LoadMap();
};
