#include "src/reader/reader.h"

#include "src/reader/instance_data.h"
#include "src/reader/lookup.h"

namespace {

// Where the renderer keeps the record of the instance that `state` runs.
void** UserPointer(miState* state) {
    void** address = nullptr;
    mi_query(miQ_FUNC_USERPTR, state, miNULLTAG, &address);
    return address;
}

} // namespace

void InitReadInstance(miState* state, ReadParameters* params) {
    void** const address = UserPointer(state);
    *address = new ReadInstanceData(state, params);
}

void ExitReadInstance(miState* state) {
    delete static_cast<ReadInstanceData*>(*UserPointer(state));
}

miBoolean ReadCloud(ReadResult* result, miState* state, ReadParameters* params) {
    const auto* record = static_cast<const ReadInstanceData*>(*UserPointer(state));
    return record != nullptr ? ReadPoints(result, state, params, *record) : miFALSE;
}
