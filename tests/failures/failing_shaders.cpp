// Shaders for the tests of failures.
#include "shader.h"

#include <cstdlib>
#include <thread>

#include <sys/mman.h>
#include <unistd.h>

namespace {
enum Failure {
    fail_segv,
    fail_bus,
    fail_fpe,
    fail_ill,
    fail_abort,
    fail_stack,
    fail_throw,
    fail_thread,
    fail_never
};

struct FailParameters {
    miInteger failure;
};

// Uses the whole stack.
int fill_stack(const volatile char* before) {
    volatile char frame[4096];
    frame[0] = before[0];
    if (frame[0] != 0) return 0;
    return fill_stack(frame) + frame[0];
}

void touch_null() {
    volatile int* volatile nowhere = nullptr;
    *nowhere = 1; // NOLINT(clang-analyzer-core.NullDereference): the purpose of the function
}

// The second page of a mapped file that has one.
void touch_beyond_file() {
    char name[] = "busXXXXXX";
    const int file = mkstemp(name);
    unlink(name);
    if (ftruncate(file, 1) != 0) return;
    auto* const pages =
        static_cast<volatile char*>(mmap(nullptr, 8192, PROT_READ, MAP_PRIVATE, file, 0));
    (void)pages[4096];
}

void fail(miInteger failure) {
    volatile int zero = 0;
    char byte = 0;
    switch (failure) {
    case fail_segv:
        return touch_null();
    case fail_bus:
        return touch_beyond_file();
    case fail_fpe:
        zero = 10 / zero; // NOLINT(clang-analyzer-core.DivideZero): the failure
        return;
    case fail_ill:
        __builtin_trap();
    case fail_abort:
        std::abort();
    case fail_stack:
        zero = fill_stack(&byte);
        return;
    case fail_throw:
        throw 1; // no std::exception
    case fail_thread:
        std::thread(touch_null).join();
        return;
    default:
        return;
    }
}

struct PassParameters {
    miColor color;
    miTag next;
};
} // namespace

extern "C" {

DLLEXPORT int f_pass_version() {
    return 1;
}
// Its color parameter. `next` is a shader that is not called.
DLLEXPORT miBoolean f_pass(miColor* result, miState* state, PassParameters* parameters) {
    *result = *mi_eval_color(&parameters->color);
    return miTRUE;
}

DLLEXPORT int f_fail_version() {
    return 1;
}
DLLEXPORT miBoolean f_fail(miColor* result, miState* state, FailParameters* parameters) {
    *result = {1, 1, 1, 1};
    fail(*mi_eval_integer(&parameters->failure));
    return miTRUE;
}

DLLEXPORT int f_bad_init_version() {
    return 1;
}
DLLEXPORT void f_bad_init_init(miState* /*state*/, FailParameters* parameters,
                               miBoolean* instances_too) {
    *instances_too = miTRUE;
    if (parameters != nullptr) fail(parameters->failure);
}
DLLEXPORT miBoolean f_bad_init(miColor* /*result*/, miState* /*state*/, void* /*parameters*/) {
    return miTRUE;
}

DLLEXPORT int f_bad_version_version() {
    fail(fail_segv);
    return 1;
}
DLLEXPORT miBoolean f_bad_version(miColor* /*result*/, miState* /*state*/, void* /*parameters*/) {
    return miTRUE;
}

DLLEXPORT int f_bad_exit_version() {
    return 1;
}
DLLEXPORT void f_bad_exit_exit(miState* /*state*/, void* parameters) {
    if (parameters == nullptr) fail(fail_segv);
}
DLLEXPORT miBoolean f_bad_exit(miColor* /*result*/, miState* /*state*/, void* /*parameters*/) {
    return miTRUE;
}

} // extern "C"
