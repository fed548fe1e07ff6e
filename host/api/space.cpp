// mi_{point,vector,normal}_{to,from}_{world,camera,object}. Internal space is world space.
#include "host/shading/context.h"
#include "host/trace/math.h"

namespace {

using vx::shading::Context;

// The transformation of an instance. Null, meaning world space, for the null tag and the identity.
const miTransform* transform(miTag instance) {
    const auto* const record =
        Context::current().database.find<miInstance>(instance, miSCENE_INSTANCE);
    return record != nullptr && !record->tf.identity ? &record->tf : nullptr;
}

enum class Way { to, from };

void convert_point(const miTransform* tf, Way way, miVector* r, const miVector* v) {
    *r = tf != nullptr
             ? vx::trace::point(way == Way::to ? tf->global_to_local : tf->local_to_global, *v)
             : *v;
}

void convert_vector(const miTransform* tf, Way way, miVector* r, const miVector* v) {
    *r = tf != nullptr
             ? vx::trace::direction(way == Way::to ? tf->global_to_local : tf->local_to_global, *v)
             : *v;
}

void convert_normal(const miTransform* tf, Way way, miVector* r, const miVector* v) {
    *r = tf != nullptr
             ? vx::trace::normal(way == Way::to ? tf->local_to_global : tf->global_to_local, *v)
             : *v;
}

} // namespace

void mi_point_to_world(miState*, miVector* r, miVector* v) {
    *r = *v;
}
void mi_point_to_camera(miState* state, miVector* r, miVector* v) {
    convert_point(transform(state->camera_inst), Way::to, r, v);
}
void mi_point_to_object(miState* state, miVector* r, miVector* v) {
    convert_point(transform(state->instance), Way::to, r, v);
}
void mi_point_from_world(miState*, miVector* r, miVector* v) {
    *r = *v;
}
void mi_point_from_camera(miState* state, miVector* r, miVector* v) {
    convert_point(transform(state->camera_inst), Way::from, r, v);
}
void mi_point_from_object(miState* state, miVector* r, miVector* v) {
    convert_point(transform(state->instance), Way::from, r, v);
}
void mi_vector_to_world(miState*, miVector* r, miVector* v) {
    *r = *v;
}
void mi_vector_to_camera(miState* state, miVector* r, miVector* v) {
    convert_vector(transform(state->camera_inst), Way::to, r, v);
}
void mi_vector_to_object(miState* state, miVector* r, miVector* v) {
    convert_vector(transform(state->instance), Way::to, r, v);
}
void mi_vector_from_world(miState*, miVector* r, miVector* v) {
    *r = *v;
}
void mi_vector_from_camera(miState* state, miVector* r, miVector* v) {
    convert_vector(transform(state->camera_inst), Way::from, r, v);
}
void mi_vector_from_object(miState* state, miVector* r, miVector* v) {
    convert_vector(transform(state->instance), Way::from, r, v);
}
void mi_normal_to_world(miState*, miVector* r, miVector* v) {
    *r = *v;
}
void mi_normal_to_camera(miState* state, miVector* r, miVector* v) {
    convert_normal(transform(state->camera_inst), Way::to, r, v);
}
void mi_normal_to_object(miState* state, miVector* r, miVector* v) {
    convert_normal(transform(state->instance), Way::to, r, v);
}
void mi_normal_from_world(miState*, miVector* r, miVector* v) {
    *r = *v;
}
void mi_normal_from_camera(miState* state, miVector* r, miVector* v) {
    convert_normal(transform(state->camera_inst), Way::from, r, v);
}
void mi_normal_from_object(miState* state, miVector* r, miVector* v) {
    convert_normal(transform(state->instance), Way::from, r, v);
}
