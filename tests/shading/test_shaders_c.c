/* A shader in C: what an aborted render unwinds through. */
#include "shader.h"

struct test_c_access_parameters {
    miInteger tag;
};

DLLEXPORT int test_c_access_version(void);
DLLEXPORT int test_c_access_version(void) {
    return 1;
}

DLLEXPORT miBoolean test_c_access(miColor* result, miState* state,
                                  struct test_c_access_parameters* paras);
DLLEXPORT miBoolean test_c_access(miColor* result, miState* state,
                                  struct test_c_access_parameters* paras) {
    const miTag tag = (miTag)*mi_eval_integer(&paras->tag);
    const char* text = mi_db_access(tag);
    result->r = (miScalar)(unsigned char)text[0];
    mi_db_unpin(tag);
    return miTRUE;
}
