#include "src/writer/lens.h"

#include "src/platform/shader_access.h"
#include "src/writer/bake_pass.h"
#include "src/writer/output.h"
#include "src/writer/write_instance_data.h"

namespace {

// The place of the renderer's where the record of the instance that `state` runs is kept.
void** UserPointer(miState* state) {
    void** slot = nullptr;
    mi_query(miQ_FUNC_USERPTR, state, miNULLTAG, &slot);
    return slot;
}

WriteInstanceData* Record(miState* state) {
    void** slot = UserPointer(state);
    return slot == nullptr ? nullptr : static_cast<WriteInstanceData*>(*slot);
}

void RunOnce(miState* state, WriteInstanceData* data) {
    if (data->done) return;
    data->done = true;
    if (data->params.outputMode == kOutputConvert) {
        ConvertOutput(data);
        return;
    }
    BakePass(state, data);
    WriteOutput(data);
}

} // namespace

void InitWriteInstance(miState* state, WriteParameters* params) {
    void** slot = UserPointer(state);
    if (slot != nullptr) *slot = new WriteInstanceData(state, params);
}

void ExitWriteInstance(miState* state) {
    delete Record(state);
}

miBoolean WriteLens(miColor* result, miState* state) {
    WriteInstanceData* data = Record(state);
    if (data == nullptr) return miFALSE;
    if (data->params.disable != 1 && GetThreadPointer(state) == nullptr) {
        // Says that this thread has been here; never released, as nobody knows when a thread ends.
        SetThreadPointer(state, new char);
        mi_lock(data->lock);
        RunOnce(state, data);
        mi_unlock(data->lock);
    }
    return mi_trace_eye(result, state, &state->org, &state->dir);
}
