/// @file
/// The renderer's C shader interface: what a shader library calls, and what a host implements.
///
/// Usable from C11 and C++20. C++ sources that include this header also get the versioned interface
/// object and the map classes (mi_shader_if.h, shader_map.h).
///
/// Names, field orders and meanings are those of the renderer's public manual. Choices that the
/// manual leaves open are marked "our choice" below and listed in docs/renderer-interface.md.
/// Static assertions at the end of this file check the layouts that shader libraries rely on.
///
/// Units: points and vectors of a state are in internal space, which is world space in this host,
/// in scene units. Angles are in radians unless stated otherwise. Matrices are row-major and
/// multiply row vectors from the right (p' = p * M), with the translation in the last row.
///
/// Unless stated otherwise, pointers must not be null, and functions may be called from any thread.
#pragma once

#include <math.h>
#include <stddef.h>
#include <stdint.h>

/// Marks the entry points of a shader library. Symbols are visible by default on other systems than
/// Windows; a version script of the linker restricts them.
#ifdef _WIN32
#define DLLEXPORT __declspec(dllexport)
#else
#define DLLEXPORT
#endif

/// Lets the compiler check the arguments of a function like printf.
#ifdef __GNUC__
#define MI_PRINTF_LIKE(text, first) __attribute__((format(printf, text, first)))
#else
#define MI_PRINTF_LIKE(text, first)
#endif

#ifdef __cplusplus
extern "C" {
#endif

// ---- basic types ----

typedef int miBoolean;            ///< truth value in records, results and parameter blocks
typedef unsigned char miCBoolean; ///< one-byte truth value in records
typedef int miInteger;
typedef unsigned int miUint;
typedef unsigned short miUshort;
typedef unsigned char miUint1;
typedef signed char miSint1;
typedef float miScalar;

#define miTRUE 1
#define miFALSE 0

typedef struct miVector {
    miScalar x, y, z;
} miVector;

typedef struct miColor {
    miScalar r, g, b, a;
} miColor;

/// A matrix whose last element is 0 means "no matrix given".
typedef miScalar miMatrix[16];

typedef struct miRange {
    float min, max;
} miRange;

/// Identifies a database element, on all hosts of a render.
typedef miUint miTag;
#define miNULLTAG ((miTag)0)

/// A lock. mi_init_lock() initializes it in place. Our choice: an opaque handle.
typedef void* miLock;

/// A pointer-sized slot in a record.
typedef void* miPointer;

// ---- enumerations ----

/// Types of rays. miRAY_REFLECT is known to be 2; all other values are our choice.
typedef enum miRay_type {
    miRAY_EYE = 0,
    miRAY_TRANSPARENT = 1,
    miRAY_REFLECT = 2,
    miRAY_REFRACT = 3,
    miRAY_SHADOW = 4,
    miRAY_LIGHT = 5,
    miRAY_ENVIRONMENT = 6,
    miRAY_DISPLACE = 7,
    miRAY_OUTPUT = 8,
    miRAY_FINALGATHER = 9,
    miRAY_LM_VERTEX = 10,
    miRAY_LM_MESH = 11,
    miRAY_PROBE = 12,
    miRAY_NONE = 13,
    miPHOTON_LIGHT = 16,
    miPHOTON_REFLECT_SPECULAR,
    miPHOTON_REFLECT_GLOSSY,
    miPHOTON_REFLECT_DIFFUSE,
    miPHOTON_TRANSMIT_SPECULAR,
    miPHOTON_TRANSMIT_GLOSSY,
    miPHOTON_TRANSMIT_DIFFUSE,
    miPHOTON_TRANSPARENT,
    miPHOTON_ABSORB,
    miPHOTON_SCATTER_VOLUME,
    miPHOTON_EMIT_CAUSTIC,
    miPHOTON_EMIT_GLOBILLUM
} miRay_type;

#define miRAY_PRIMARY(t) ((t) == miRAY_EYE)
#define miRAY_SECONDARY(t)                                                                         \
    ((t) == miRAY_TRANSPARENT || (t) == miRAY_REFLECT || (t) == miRAY_REFRACT ||                   \
     (t) == miRAY_FINALGATHER)
#define miRAY_PHOTON(t) ((t) >= miPHOTON_LIGHT && (t) <= miPHOTON_EMIT_GLOBILLUM)

/// Types of database elements. 2 and 3 are known; all other values are our choice.
typedef enum miScene_types {
    miSCENE_FUNCTION_DECL = 1,
    miSCENE_FUNCTION = 2,
    miSCENE_MATERIAL = 3,
    miSCENE_INSTANCE = 4,
    miSCENE_CAMERA = 5,
    miSCENE_LIGHT = 6,
    miSCENE_IMAGE = 7,
    miSCENE_USERDATA = 8,
    miSCENE_GROUP = 9,
    miSCENE_OBJECT = 10,
    miSCENE_OPTIONS = 11,
    miSCENE_STRING = 12,
    miSCENE_TAGS = 13, ///< an array of tags, such as a list of materials
    miSCENE_MAP = 14,
    miSCENE_TEXTURE = 15
} miScene_types;

/// Types of parameters and results.
typedef enum miParam_type {
    miTYPE_BOOLEAN = 0,
    miTYPE_INTEGER,
    miTYPE_SCALAR,
    miTYPE_STRING,
    miTYPE_COLOR,
    miTYPE_VECTOR,
    miTYPE_TRANSFORM,
    miTYPE_SHADER,
    miTYPE_SCALAR_TEX,
    miTYPE_COLOR_TEX,
    miTYPE_VECTOR_TEX,
    miTYPE_LIGHT,
    miTYPE_STRUCT,
    miTYPE_ARRAY,
    miTYPE_TEX,
    miTYPE_MATERIAL,
    miTYPE_GEOMETRY,
    miTYPE_LIGHTPROFILE,
    miTYPE_DATA,
    miTYPE_SPECTRUM,
    miNTYPES
} miParam_type;

/// Types of functions. Those below miFUNCTION_C_REQ are plain functions.
typedef enum miFunction_type {
    miFUNCTION_C = 0,
    miFUNCTION_PHEN,
    miFUNCTION_C_REQ,
    miFUNCTION_OUTFILE,
    miFUNCTION_DATA,
    miFUNCTION_PASS_SAVE,
    miFUNCTION_PASS_PREP,
    miFUNCTION_PASS_MERGE,
    miFUNCTION_PASS_DELETE,
    miFUNCTION_HARDWARE
} miFunction_type;

/// Roles in which mi_call_shader() runs a shader. Names and values are our choice.
typedef enum miShader_type {
    miSHADER_NONE = 0,
    miSHADER_LENS,
    miSHADER_MATERIAL,
    miSHADER_LIGHT,
    miSHADER_SHADOW,
    miSHADER_ENVIRONMENT,
    miSHADER_VOLUME,
    miSHADER_TEXTURE,
    miSHADER_DISPLACE,
    miSHADER_OUTPUT,
    miSHADER_STATE
} miShader_type;

/// Codes of mi_query(), with the type of its result. The values 51, 54, 124 and 126 are known; the
/// names of the last two and all other values are our choice.
typedef enum miQ_type {
    miQ_NONE = 0,
    miQ_DECL_LOCK = 20,         ///< miLock*: a lock that all instances of the shader share
    miQ_DECL_NAME = 21,         ///< char*: name of the shader
    miQ_DECL_PARAM = 22,        ///< char*: encoded parameter list
    miQ_DECL_RESULT_SIZE = 23,  ///< int: bytes of the result
    miQ_DECL_TYPE = 24,         ///< int: miTYPE_* of the result
    miQ_DECL_VERSION = 25,      ///< int: declared version
    miQ_FUNC_USERPTR = 51,      ///< void**: address of the shader instance's user pointer
    miQ_FUNC_DECL = 54,         ///< miTag: declaration of the function
    miQ_FUNC_CALLTYPE = 55,     ///< int: miSHADER_* in which the function runs
    miQ_FUNC_INDIRECT = 56,     ///< miTag: function whose parameters are used instead
    miQ_FUNC_LOCK = 57,         ///< miLock*: a lock of this shader instance
    miQ_FUNC_NEXT = 58,         ///< miTag: next function of a shader list
    miQ_FUNC_PARAM = 59,        ///< void*: parameter block
    miQ_FUNC_PARAM_SIZE = 60,   ///< int: bytes of the parameter block
    miQ_DATA_DECL = 70,         ///< miTag: declaration of a user data element
    miQ_DATA_LABEL = 71,        ///< miUint: label of a user data element
    miQ_DATA_NEEDSWAP = 72,     ///< miBoolean: the bytes are of another byte order
    miQ_DATA_NEXT = 73,         ///< miTag: next user data element of the chain
    miQ_DATA_PARAM = 74,        ///< void*: contents of a user data element
    miQ_DATA_PARAM_SIZE = 75,   ///< int: bytes of the contents
    miQ_DATE = 80,              ///< char*: date of the renderer
    miQ_FINALGATHER_STATE = 81, ///< int: 0 without final gathering
    miQ_SAMPLE_MOVING = 82,     ///< miBoolean: the sample's surface moves
    miQ_NUM_GLOBAL_LIGHTS = 90, ///< int: number of light instances of the scene
    miQ_GLOBAL_LIGHTS = 91,     ///< miTag*: their tags, owned by the renderer
    miQ_FUNC_TLS_GET = 124,     ///< void*: this thread's pointer for this shader instance
    miQ_FUNC_TLS_SET = 126      ///< void*: sets that pointer to the value of the variable
} miQ_type;

/// Lifetimes of shader state data. Only miSS_LIFETIME_RECT is a documented name. Our choice for the
/// value 1: visible to all shaders called below the state, until the data is replaced or the call
/// that owns the state returns.
typedef enum miSS_lifetime {
    miSS_LIFETIME_RECT = 0, ///< one image tile
    miSS_LIFETIME_EYERAY = 1
} miSS_lifetime;

/// Bits of mi_set_verbosity().
enum {
    miERR_NONE = 0,
    miERR_FATAL = 1 << 0,
    miERR_ERROR = 1 << 1,
    miERR_WARNING = 1 << 2,
    miERR_PROGRESS = 1 << 3,
    miERR_INFO = 1 << 4,
    miERR_DEBUG = 1 << 5,
    miERR_VDEBUG = 1 << 6,
    miERR_DEFAULT = miERR_FATAL | miERR_ERROR | miERR_WARNING,
    miERR_ALL = (1 << 7) - 1
};

// ---- database records ----

typedef struct miWindow {
    int xl, yl, xh, yh; ///< pixels, lower left and upper right
} miWindow;

typedef struct miCamera {
    miBoolean orthographic;
    float focal;    ///< distance from the camera to the viewing plane
    float aperture; ///< width of the viewing plane
    float aspect;   ///< width / height of the viewing plane (our choice between two readings)
    miRange clip;   ///< distances of the near and the far clipping plane
    int x_resolution, y_resolution; ///< pixels
    miWindow window;
    miTag volume, environment, lens, output; ///< shaders, or lists of them
    int frame;
    float frame_time;         ///< seconds
    int frame_field;          ///< 0 frame, 1 even field, 2 odd field
    float x_offset, y_offset; ///< pixels
    miTag userdata;
    miTag pass;
    float focus, radius; ///< unused
    miBoolean pass_mask; ///< unused
    int spare[11];
} miCamera;

/// Sides of surfaces that primary rays see.
enum { miFACE_FRONT = 1, miFACE_BACK = 2, miFACE_BOTH = 3 };

/// Rendering options. The contents are documented, the order is our choice.
typedef struct miOptions {
    miBoolean trace; ///< allows secondary rays
    miBoolean scanline;
    int reflection_depth;         ///< limit of miState::reflection_level
    int refraction_depth;         ///< limit of miState::refraction_level
    int trace_depth;              ///< limit of the sum of both levels
    int shadow;                   ///< 0 off, 1 on, 2 sorted, 3 segments
    int face;                     ///< miFACE_*
    int min_samples, max_samples; ///< a pixel takes 4^min to 4^max samples
    miColor contrast;
    miColor time_contrast;
    int filter;                         ///< 0 box, 1 triangle, 2 gauss, 3 mitchell, 4 lanczos
    float filter_size_x, filter_size_y; ///< pixels
    float jitter;                       ///< 0 regular to 1 fully displaced
    float shutter;                      ///< > 0: motion blur
    miBoolean lens, volume, geometry, displace, output; ///< feature switches
    miBoolean autovolume;
    miTag userdata;
    miTag string_options;
} miOptions;

typedef struct miTransform {
    miTag function; ///< transformation function, or 0
    float time;     ///< of the last evaluation
    miMatrix global_to_local;
    miMatrix local_to_global;
    miCBoolean identity;
    miUint1 spare[3];
    int id;
} miTransform;

typedef struct miInstance {
    miTransform tf;
    miMatrix motion_transform;
    miTag item; ///< the instanced object, light, camera or group
    /// With mtl_array_size == 0 the inherited material, or 0. Otherwise an element that is an array
    /// of mtl_array_size tags of materials.
    miTag material;
    miTag parent;     ///< of a leaf instance
    miTag boxes;      ///< renderable geometry
    miTag next, prev; ///< list of leaf instances
    int mtl_array_size;
    miTag light_obj_ring; ///< links of objects and lights: 0, or an array of light instances' tags
    miTag userdata;
    miUint label;
    miTag geogroup;
    miCBoolean off;     ///< hidden
    miUint1 gen_motion; ///< 0 inherit, 1 transform, 2 off
    /// Rendering flags, in an order of our choice. visible, shadowmap, select, hardware: 0 not
    /// given, 1 off, 2 on. The others: bits 1 and 2 turn casting and receiving on, bits 4 and 8
    /// turn them off.
    miUint1 visible, shadow, shadowmap, reflection, refraction, transparency;
    miUint1 caustic, globillum, finalgather, face, select, hardware;
    miCBoolean override_material;
    miCBoolean light_exclusive; ///< light_obj_ring lists the lights that don't illuminate
} miInstance;

/// Must not be copied by value: later versions of the renderer append fields.
typedef struct miMaterial {
    miBoolean opaque;
    miTag shader; ///< a function element
    miTag displace, shadow, volume, environment, contour, photon, photonvol, lightmap, hardware;
} miMaterial;

/// A shader instance: a declared function with one set of parameter values.
///
/// A ghost block of connection tags has the same shape as the parameter block and begins ghost_offs
/// bytes after it: the connection of the parameter at address p is the 32-bit word at
/// p + ghost_offs. It is the tag of the function element that computes the parameter, or 0 or
/// (miTag)-2 for a parameter that is not connected. Without a ghost block, ghost_offs is 0.
typedef struct miFunction {
    miPointer spare[7];
    miFunction_type type;
    miUint out_typemap, out_interpmap; ///< of output functions
    miTag function_decl;
    miTag next_function; ///< of a shader list
    miTag parameter_indirect;
    miTag interfacephen;
    miBoolean spare2;
    int parameter_size; ///< bytes
    int result_size;    ///< bytes
    int ghost_offs;     ///< bytes
    miTag pass_read, pass_write;
    miSint1 pass_maxsamples;
    /// 1 if parameters may be connected; all other values mean that they aren't. Name and place are
    /// our choice.
    miCBoolean connected;
    miUint1 spare3[2];
    char parameters[8]; ///< the parameter block: parameter_size bytes, 8-byte aligned
} miFunction;

/// The connection tag other than 0 of a parameter that is not connected.
#define miGHOST_PLAIN ((miTag)0xFFFFFFFEu)

/// A declaration, of variable size. The contents are documented, the layout is our choice.
typedef struct miFunction_decl {
    miFunction_type type;
    miParam_type result_type;
    int result_size; ///< bytes
    int version;
    miLock lock;        ///< shared by all instances
    int parameter_offs; ///< bytes from the start of the record to the encoded parameter list
    char name[4];       ///< zero-terminated, as long as needed
} miFunction_decl;

typedef enum miLight_type {
    miLIGHT_ORIGIN = 0, ///< point light
    miLIGHT_DIRECTION,  ///< directional light, with or without an origin
    miLIGHT_SPOT
} miLight_type;

/// The layout is our choice.
typedef struct miLight {
    miLight_type type;
    int area; ///< 0: none
    float exponent;
    int caustic_store, global_store; ///< numbers of stored photons
    miColor energy;
    miTag shader; ///< light shader, or a list of them
    miTag emitter;
    miVector origin;         ///< in the light's local space
    miVector direction;      ///< normalized
    float spread;            ///< cosine of the half angle of the outer cone
    miBoolean has_origin;    ///< whether a directional light has an origin
    miVector edge_u, edge_v; ///< of an area light
    int samples_u, samples_v;
    miBoolean visible;
    miUint label;
    miTag userdata;
    miTag shadowmap_file;
} miLight;

// ---- state ----

/// The state of a shader call. Groups are in the order of the manual's tables; padding and total
/// size are our choice. A shader may use only the variables that are defined for its type. It must
/// not change options and camera, nor the records they point to.
typedef struct miState {
    // Frame.
    int version; ///< 2: version 2.0 of the interface and later
    miTag camera_inst;
    struct miCamera* camera;
    struct miOptions* options;
    // Image sample.
    miScalar raster_x, raster_y; ///< pixels; (0, 0) is the lower left corner of the image
    miFunction* shader;          ///< the running shader instance
    miLock global_lock;
    short thread;
    // Ray.
    struct miState* parent;
    struct miState* child; ///< of the last trace call; null before the first
    miRay_type type;
    miCBoolean scanline;
    void* cache; ///< intersection cache of the ray; directly precedes org
    miVector org;
    miVector dir;
    float time;
    miTag volume, environment;
    int reflection_level, refraction_level;
    int face;
    // Intersection.
    miTag refraction_volume;
    miUint label;
    miTag instance; ///< leaf instance of the object that was hit
    miTag light_instance;
    miScalar bary[4];
    miVector point;
    miVector normal, normal_geom; ///< facing the ray, except in shadow shaders
    miCBoolean inv_normal;        ///< the surface was hit from behind, and the normals are inverted
    miScalar dot_nd;
    double dist;
    miTag material;
    void* pri; ///< a shader that changes it must restore it
    double shadow_tol;
    miScalar ior, ior_in;
    miScalar importance;
    // Texture, motion, derivatives.
    miVector* tex_list;
    miVector *bump_x_list, *bump_y_list;
    miVector tex;
    miVector motion;
    miVector* derivs[5];
    // User data.
    void* user; ///< passed to the states below
    int user_size;
} miState;

// ---- database ----

/// The type of an element.
/// @param tag  must exist
/// @return one of miScene_types
int mi_db_type(const miTag tag);

/// The size of an element's record. Slow.
/// @param tag  must exist
/// @return bytes
int mi_db_size(const miTag tag);

/// Pins an element. Pins are counted, up to 65535 per element; each needs its own mi_db_unpin().
/// @param tag  a tag that does not exist, such as the null tag, ends the render
/// @return the element's record, never null, valid until it is unpinned; for a string element its
///         zero-terminated text
void* mi_db_access(const miTag tag);

/// Removes one pin of an element.
/// @param tag  the tag, not the address, of a pinned element
void mi_db_unpin(const miTag tag);

/// Publishes changes of an element to other hosts. Not needed by shaders that only read.
void mi_db_flush(const miTag tag);

/// Queries a value of the renderer.
/// @param query   one of miQ_type
/// @param state   codes of the DECL and FUNC groups: the state of the running shader, or null
/// @param tag     codes of the DECL and FUNC groups: the null tag with a state; without a state, a
///                function or a declaration
/// @param result  address of a variable of the type that is given with the code
/// @return miFALSE if the value is not available or the code is unknown
miBoolean mi_query(const miQ_type query, miState* const state, miTag tag, void* const result, ...);

/// Finds a parameter, or a member of the result, of a declaration.
/// @param type      receives the type
/// @param is_array  receives whether it is an array
/// @param offs      receives its byte offset in the parameter block or in the result
/// @param decl_tag  a declaration
/// @param out       true: look in the result
/// @param name      dots separate members of structs; memory of mi_mem_allocate() or
///                  mi_mem_strdup(), which the function releases
/// @return miFALSE if the name is unknown
miBoolean mi_api_parameter_lookup(miParam_type* type, miBoolean* is_array, int* offs,
                                  miTag decl_tag, miBoolean out, char* name);

// ---- sampling ----

/// Computes one sample. The sequence depends only on the shader instance and on how many samples it
/// has taken, not on the thread.
/// @param sample     receives `dimension` numbers in [0, 1)
/// @param instance   counter of a loop, 0 before the first call and not changed by the caller; null
///                   for a single sample outside a loop
/// @param dimension  of the sample
/// @param n          number of samples of the loop; null for one
/// @return miFALSE, without a sample, after *n samples
miBoolean mi_sample(double* sample, int* instance, miState* state, const miUshort dimension,
                    const miUint* n);

// ---- tracing ----
//
// The functions return true if any of the shaders that they call returns true. The state of the new
// ray becomes state->child and is valid until the next trace call for the same state. After a miss,
// its members that describe an intersection are zero or null. The functions do not change other
// variables of the state, except as stated with mi_trace_eye(). Directions need not be normalized.

/// Calls the next lens shader or casts the eye ray. For lens shaders only. Stores origin and
/// direction in the state first; copies label, point, normal, dist and motion from the child.
/// @param result     receives the color
/// @param origin     in internal space
/// @param direction  in internal space
miBoolean mi_trace_eye(miColor* result, miState* state, miVector* origin, miVector* direction);

/// Casts a reflection ray from state->point.
/// @param result  receives the color
/// @return miFALSE also if the reflection depth or the sum of both depths is exceeded;
///         state->child does not change then, unless it is null
miBoolean mi_trace_reflection(miColor* result, miState* state, miVector* direction);

/// Casts a refraction ray from state->point.
/// @param result  receives the color
miBoolean mi_trace_refraction(miColor* result, miState* state, miVector* direction);

/// Continues along state->dir from state->point.
/// @param result  receives the color
miBoolean mi_trace_transparent(miColor* result, miState* state);

/// Evaluates the environment, without intersections.
/// @param result  receives the color
miBoolean mi_trace_environment(miColor* result, miState* state, miVector* direction);

/// Finds the first surface along a ray without calling a shader. The child's `shader` is that of
/// the material.
/// @param origin  in internal space; state->point does not change
/// @return miFALSE for a miss
miBoolean mi_trace_probe(miState* state, miVector* direction, miVector* origin);

/// Computes the color of a light at state->point with one sample.
/// @param result  receives the color
/// @param dir     receives the direction to the light; may be null
/// @param dot_nl  receives the cosine between dir and state->normal; may be null
/// @param light   a light instance
miBoolean mi_trace_light(miColor* result, miVector* dir, miScalar* dot_nl, miState* state,
                         miTag light);

/// Computes one sample of a light per call.
/// @param result   receives the color of the sample
/// @param dir      receives the normalized direction to the light
/// @param dot_nl   receives the cosine between dir and state->normal
/// @param light    a light instance
/// @param samples  0 before the first call; counts the samples
/// @return miFALSE, without a sample, after the last one
miBoolean mi_sample_light(miColor* result, miVector* dir, miScalar* dot_nl, miState* state,
                          miTag light, miInteger* samples);

/// Attenuates a color by the surfaces between the light and the shaded point. For light shaders
/// only.
/// @param result  the color to be attenuated
/// @return miFALSE if no light arrives
miBoolean mi_trace_shadow(miColor* result, miState* state);

/// Continues with the next occluder. For shadow shaders in segment mode only.
/// @param result  the color to be attenuated
miBoolean mi_trace_shadow_seg(miColor* result, miState* state);

/// Discards what is cached for the ray of a state and sets state->cache to null. Necessary after a
/// change of state->point.
void mi_flush_cache(miState* state);

/// Reflects state->dir about state->normal.
/// @param dir  receives the direction
void mi_reflection_dir(miVector* dir, miState* state);

/// Refracts state->dir at state->normal.
/// @param dir      receives the direction; on total reflection, the mirror direction
/// @param ior_in   index of refraction on the side of the ray
/// @param ior_out  index of refraction on the other side
/// @return miFALSE on total reflection
miBoolean mi_refraction_dir(miVector* dir, miState* state, miScalar ior_in, miScalar ior_out);

// ---- parameters and other shaders ----

/// Evaluates a parameter of state->shader: runs the connected shader if there is one.
/// @param param  address in the parameter block
/// @return `param` if it is not connected; otherwise the address of the connected shader's result,
///         valid until the next evaluation
void* mi_eval(miState* state, void* param);

/// Runs the shader that is connected to a parameter.
/// @param param  address in the parameter block; must be connected
/// @return as mi_eval()
void* mi_phen_eval(miState* state, void* param);

// mi_eval() with a type. The macros use the variable `state` of their scope.
#define mi_eval_boolean(p) ((miBoolean*)mi_eval(state, (void*)(p)))
#define mi_eval_integer(p) ((miInteger*)mi_eval(state, (void*)(p)))
#define mi_eval_scalar(p) ((miScalar*)mi_eval(state, (void*)(p)))
#define mi_eval_vector(p) ((miVector*)mi_eval(state, (void*)(p)))
#define mi_eval_transform(p) ((miScalar*)mi_eval(state, (void*)(p)))
#define mi_eval_color(p) ((miColor*)mi_eval(state, (void*)(p)))
#define mi_eval_tag(p) ((miTag*)mi_eval(state, (void*)(p)))

/// Runs a shader with the same state.
/// @param result  receives the shader's result
/// @param type    role in which the shader runs
/// @param tag     a shader instance
/// @return the shader's return value
miBoolean mi_call_shader(miColor* result, miShader_type type, miState* state, miTag tag);

/// As mi_call_shader().
/// @param arg  passed to the shader instead of its parameters
miBoolean mi_call_shader_x(miColor* result, miShader_type type, miState* state, miTag tag,
                           void* arg);

/// Runs the surface shaders of the material that was hit.
/// @param result  receives the color
miBoolean mi_call_material(miColor* result, miState* state);

/// Runs the shadow shaders of the material that was hit.
miBoolean mi_call_shadow_material(miColor* result, miState* state);

/// Runs the environment shaders of the material that was hit.
miBoolean mi_call_environment_material(miColor* result, miState* state);

/// Runs the volume shaders of the material that was hit.
miBoolean mi_call_volume_material(miColor* result, miState* state);

/// Looks up a texture.
/// @param result  receives the value
/// @param tag     a texture or a texture shader
/// @param coord   coordinates in [0, 1)
/// @return miFALSE outside the texture
miBoolean mi_lookup_color_texture(miColor* result, miState* state, miTag tag, miVector* coord);
/// As mi_lookup_color_texture(), for a scalar.
miBoolean mi_lookup_scalar_texture(miScalar* result, miState* state, miTag tag, miVector* coord);
/// As mi_lookup_color_texture(), for a vector.
miBoolean mi_lookup_vector_texture(miVector* result, miState* state, miTag tag, miVector* coord);

/// Replaces the groups in a shader's list of lights by their members.
/// @param n       number of lights; receives the new number
/// @param lights  the list; receives memory of the renderer, valid until the next call of such a
///                function from this thread
void mi_inclusive_lightlist(int* n, miTag** lights, miState* state);
/// As mi_inclusive_lightlist(), but the list becomes all lights of the scene except the given ones.
void mi_exclusive_lightlist(int* n, miTag** lights, miState* state);
/// As mi_inclusive_lightlist(), but the list becomes that of the instance that was hit, or all
/// lights of the scene if the instance has none.
void mi_instance_lightlist(int* n, miTag** lights, miState* state);

/// The vectors at the three corners of the triangle that was hit.
/// @param which    'p' points, 'n' normals, 't' texture coordinates
/// @param space    number of the texture space, for 't'
/// @param a, b, c  receive addresses of the vectors
/// @return miFALSE if there are no such vectors
miBoolean mi_tri_vectors(miState* state, int which, int space, miVector** a, miVector** b,
                         miVector** c);

// ---- data attached to a state ----

/// Attaches a copy of data to a state.
/// @param key       identifies the data
/// @param data      null, with size 0, removes the data
/// @param size      bytes
/// @param lifetime  one of miSS_lifetime
miBoolean mi_shaderstate_set(miState* state, const char* key, void* data, int size, int lifetime);

/// The data that is attached to a state or to one above it.
/// @param size  receives the bytes, 0 if there is no data; may be null
/// @return the renderer's copy, or null
void* mi_shaderstate_get(miState* state, const char* key, int* size);

// ---- spaces ----
//
// "to" converts from internal space, "from" converts to internal space. Vectors ignore the
// translation; normals use the inverse transpose. Results are not normalized. `r` receives the
// result and may be the same variable as `v`.

void mi_point_to_world(miState* state, miVector* r, miVector* v);
void mi_point_to_camera(miState* state, miVector* r, miVector* v);
void mi_point_to_object(miState* state, miVector* r, miVector* v);
void mi_point_from_world(miState* state, miVector* r, miVector* v);
void mi_point_from_camera(miState* state, miVector* r, miVector* v);
void mi_point_from_object(miState* state, miVector* r, miVector* v);
void mi_vector_to_world(miState* state, miVector* r, miVector* v);
void mi_vector_to_camera(miState* state, miVector* r, miVector* v);
void mi_vector_to_object(miState* state, miVector* r, miVector* v);
void mi_vector_from_world(miState* state, miVector* r, miVector* v);
void mi_vector_from_camera(miState* state, miVector* r, miVector* v);
void mi_vector_from_object(miState* state, miVector* r, miVector* v);
void mi_normal_to_world(miState* state, miVector* r, miVector* v);
void mi_normal_to_camera(miState* state, miVector* r, miVector* v);
void mi_normal_to_object(miState* state, miVector* r, miVector* v);
void mi_normal_from_world(miState* state, miVector* r, miVector* v);
void mi_normal_from_camera(miState* state, miVector* r, miVector* v);
void mi_normal_from_object(miState* state, miVector* r, miVector* v);

// ---- memory ----
//
// These functions lock; don't call them for every sample. Memory belongs to the caller until
// mi_mem_release().

/// @param size  bytes
/// @return zeroed memory; ends the renderer if there is not enough
void* mi_mem_allocate(const int size);
/// As mi_mem_allocate(), but returns null if there is not enough memory.
void* mi_mem_test_allocate(const int size);
/// Changes the size of a block. New bytes are zero.
/// @param mem   null allocates a block
/// @param size  bytes; 0 releases the block
/// @return the block, at the same or at another address; null for size 0
void* mi_mem_reallocate(void* const mem, const int size);
/// Releases a block.
void mi_mem_release(void* mem);
/// Copies a text. Called through mi_mem_strdup().
/// @param file, line  place of the call, for diagnostics
char* mi_mem_int_strdup(const char* file, int line, const char* text);
#define mi_mem_strdup(text) mi_mem_int_strdup(__FILE__, __LINE__, (text))

// ---- locks ----

/// Creates a lock, which is not recursive. Threads that wait for a lock do nothing else.
void mi_init_lock(miLock* lock);
/// Destroys a lock that no thread holds.
void mi_delete_lock(miLock* lock);
void mi_lock(miLock lock);
/// Releases a lock that this thread holds.
void mi_unlock(miLock lock);

// ---- messages ----
//
// Formats as printf() does. A newline is appended; newlines in the text become blanks.

/// Does not return.
void mi_fatal(const char* const message, ...) MI_PRINTF_LIKE(1, 2);
void mi_error(const char* const message, ...) MI_PRINTF_LIKE(1, 2);
void mi_warning(const char* const message, ...) MI_PRINTF_LIKE(1, 2);
void mi_info(const char* const message, ...) MI_PRINTF_LIKE(1, 2);
void mi_progress(const char* const message, ...) MI_PRINTF_LIKE(1, 2);
void mi_debug(const char* const message, ...) MI_PRINTF_LIKE(1, 2);
void mi_vdebug(const char* const message, ...) MI_PRINTF_LIKE(1, 2);
/// Selects the messages that are printed.
/// @param bits  sum of miERR_*
void mi_set_verbosity(const int bits);

// ---- texts ----

/// Replaces each known {NAME} in a text by its registry value. Unknown names are left alone.
/// @param buffer    receives the text, zero-terminated, cut to the capacity
/// @param capacity  bytes of the buffer, including the terminating zero
/// @return our choice: the bytes written, without the terminating zero
int mi_string_substitute(char* buffer, const char* text, int capacity);

// ---- vector helpers ----

static inline void mi_vector_neg(miVector* r) {
    r->x = -r->x;
    r->y = -r->y;
    r->z = -r->z;
}
static inline void mi_vector_add(miVector* r, const miVector* a, const miVector* b) {
    r->x = a->x + b->x;
    r->y = a->y + b->y;
    r->z = a->z + b->z;
}
static inline void mi_vector_sub(miVector* r, const miVector* a, const miVector* b) {
    r->x = a->x - b->x;
    r->y = a->y - b->y;
    r->z = a->z - b->z;
}
static inline void mi_vector_mul(miVector* r, miScalar f) {
    r->x *= f;
    r->y *= f;
    r->z *= f;
}
/// Leaves r alone if f is 0.
static inline void mi_vector_div(miVector* r, miScalar f) {
    if (f != 0.0f) mi_vector_mul(r, 1.0f / f);
}
static inline void mi_vector_prod(miVector* r, const miVector* a, const miVector* b) {
    const miVector c = {a->y * b->z - a->z * b->y, a->z * b->x - a->x * b->z,
                        a->x * b->y - a->y * b->x};
    *r = c;
}
static inline miScalar mi_vector_dot(const miVector* a, const miVector* b) {
    return a->x * b->x + a->y * b->y + a->z * b->z;
}
static inline miScalar mi_vector_norm(const miVector* a) {
    return sqrtf(mi_vector_dot(a, a));
}
/// Leaves the null vector alone.
static inline void mi_vector_normalize(miVector* r) {
    mi_vector_div(r, mi_vector_norm(r));
}
static inline void mi_vector_min(miVector* r, const miVector* a, const miVector* b) {
    r->x = a->x < b->x ? a->x : b->x;
    r->y = a->y < b->y ? a->y : b->y;
    r->z = a->z < b->z ? a->z : b->z;
}
static inline void mi_vector_max(miVector* r, const miVector* a, const miVector* b) {
    r->x = a->x > b->x ? a->x : b->x;
    r->y = a->y > b->y ? a->y : b->y;
    r->z = a->z > b->z ? a->z : b->z;
}
static inline miScalar mi_vector_det(const miVector* a, const miVector* b, const miVector* c) {
    miVector p;
    mi_vector_prod(&p, b, c);
    return mi_vector_dot(a, &p);
}

#ifdef __cplusplus
}
#endif

// ---- layouts and values that shader libraries and hosts rely on ----

#ifdef __cplusplus
#define MI_STATIC_ASSERT(condition, text) static_assert(condition, text)
#else
#define MI_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif

MI_STATIC_ASSERT(sizeof(miBoolean) == 4 && sizeof(miInteger) == 4 && sizeof(miScalar) == 4 &&
                     sizeof(miTag) == 4 && sizeof(miUint) == 4,
                 "parameters of the basic types are four bytes wide");
MI_STATIC_ASSERT(sizeof(miUshort) == 2 && sizeof(miCBoolean) == 1, "small types");
MI_STATIC_ASSERT(sizeof(miVector) == 12 && sizeof(miColor) == 16 && sizeof(miMatrix) == 64,
                 "vectors, colors and matrices are arrays of scalars");
MI_STATIC_ASSERT(sizeof(miPointer) == 8 && sizeof(miLock) == 8, "64-bit hosts only");
MI_STATIC_ASSERT(offsetof(miState, org) == offsetof(miState, cache) + 8,
                 "the word before org is the cache pointer");
MI_STATIC_ASSERT(offsetof(miCamera, x_resolution) == 24 && offsetof(miCamera, window) == 32 &&
                     offsetof(miCamera, lens) == 56 && offsetof(miCamera, frame) == 64 &&
                     offsetof(miCamera, pass_mask) == 100 && sizeof(miCamera) == 148,
                 "camera record");
MI_STATIC_ASSERT(sizeof(miTransform) == 144, "transform record");
MI_STATIC_ASSERT(offsetof(miInstance, item) == 208 && offsetof(miInstance, material) == 212 &&
                     offsetof(miInstance, mtl_array_size) == 232 &&
                     offsetof(miInstance, label) == 244 && offsetof(miInstance, off) == 252 &&
                     offsetof(miInstance, gen_motion) == 253,
                 "instance record");
MI_STATIC_ASSERT(offsetof(miMaterial, shader) == 4 && offsetof(miMaterial, shadow) == 12 &&
                     offsetof(miMaterial, hardware) == 40,
                 "material record");
MI_STATIC_ASSERT(offsetof(miFunction, type) == 56 && offsetof(miFunction, function_decl) == 68 &&
                     offsetof(miFunction, next_function) == 72 &&
                     offsetof(miFunction, parameter_size) == 88 &&
                     offsetof(miFunction, ghost_offs) == 96 &&
                     offsetof(miFunction, pass_maxsamples) == 108 &&
                     offsetof(miFunction, parameters) % 8 == 0,
                 "function record");
MI_STATIC_ASSERT(miRAY_REFLECT == 2 && miSCENE_FUNCTION == 2 && miSCENE_MATERIAL == 3 &&
                     miQ_FUNC_USERPTR == 51 && miQ_FUNC_DECL == 54 && miQ_FUNC_TLS_GET == 124 &&
                     miQ_FUNC_TLS_SET == 126,
                 "known values");

// C++ sources may include this file within extern "C".
#ifdef __cplusplus
extern "C++" {
#include "mi_shader_if.h"
}
#endif
