/* The interface header from plain C: everything a C shader of a usual scene touches compiles. */
#include "shader.h"

struct c_shader {
    miColor color;
    miInteger tag;
};

int shader_h_c_param_size(void);
float shader_h_c_dot(void);

/* A shader as a user would write it; it is compiled, never called. */
DLLEXPORT miBoolean c_shader(miColor* result, miState* state, struct c_shader* paras);
DLLEXPORT int c_shader_version(void);

int shader_h_c_param_size(void) {
    return (int)sizeof(struct c_shader);
}

float shader_h_c_dot(void) {
    const miVector a = {1.0f, 2.0f, 3.0f};
    const miVector b = {4.0f, -5.0f, 6.0f};
    return mi_vector_dot(&a, &b);
}

int c_shader_version(void) {
    return 1;
}
