#include "src/writer/lens.h"

#include "src/platform/shader_access.h"
#include "src/writer/bake_pass.h"
#include "src/writer/output.h"
#include "src/writer/write_instance_data.h"

#include <cstdint>
#include <limits>

namespace {

void WarnOfTooManySamples(const miCamera* camera, int samples) {
    mi_warning("%s: %d x %d pixels with %d samples each exceed the limit of %d samples, nothing is "
               "baked; reduce samples, turn jitter off, or lower the camera's resolution",
               "vx_pc_write", camera->x_resolution, camera->y_resolution, samples,
               std::numeric_limits<std::int32_t>::max());
}

// Marks a thread that has called the instance. Never released, since shaders get no notice of the
// end of a thread. Leak checkers suppress it by the name of this function, which must be on the
// stack during the allocation: it must not be inlined, and the allocation must not be a tail call.
// The initialization of the char prevents that.
[[gnu::noinline]] void* NewThreadMark() {
    return new char();
}

void RunOnce(miState* state, WriteInstanceData* data) {
    if (data->done) return;
    data->done = true;
    if (data->params.outputMode == kOutputConvert) {
        ConvertOutput(data);
        return;
    }
    if (data->tooManySamples) {
        WarnOfTooManySamples(state->camera, data->params.samples);
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
        SetThreadPointer(state, NewThreadMark());
        Lock(data->lock);
        RunOnce(state, data);
        Unlock(data->lock);
    }
    return mi_trace_eye(result, state, &state->org, &state->dir);
}
