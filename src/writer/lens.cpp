#include "src/writer/lens.h"

#include "src/platform/shader_access.h"
#include "src/writer/bake_pass.h"
#include "src/writer/output.h"
#include "src/writer/write_instance_data.h"

namespace {

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
    void** const address = UserPointer(state);
    if (address != nullptr) *address = new WriteInstanceData(state, params);
}

void ExitWriteInstance(miState* state) {
    delete InstanceRecord<WriteInstanceData>(state);
}

miBoolean WriteLens(miColor* result, miState* state) {
    WriteInstanceData* data = InstanceRecord<WriteInstanceData>(state);
    if (data == nullptr) return miFALSE;
    if (data->params.disable != 1 && GetThreadPointer(state) == nullptr) {
        // Says that this thread has been here; never released, as nobody knows when a thread ends.
        SetThreadPointer(state, new char);
        Lock(data->lock);
        RunOnce(state, data);
        Unlock(data->lock);
    }
    return mi_trace_eye(result, state, &state->org, &state->dir);
}
