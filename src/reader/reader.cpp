#include "src/reader/reader.h"

#include "src/platform/shader_access.h"
#include "src/reader/instance_data.h"
#include "src/reader/lookup.h"

void InitReadInstance(miState* state, ReadParameters* params) {
    void** const address = UserPointer(state);
    if (address != nullptr) *address = new ReadInstanceData(state, params);
}

void ExitReadInstance(miState* state) {
    delete InstanceRecord<ReadInstanceData>(state);
}

miBoolean ReadCloud(ReadResult* result, miState* state, ReadParameters* params) {
    const auto* record = InstanceRecord<const ReadInstanceData>(state);
    return record != nullptr ? ReadPoints(result, state, params, *record) : miFALSE;
}
