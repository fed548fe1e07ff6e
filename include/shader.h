/*
 * The renderer's shader interface, as a shader library sees it and as a host must supply it.
 *
 * Plain C, usable from C11 and C++20. A C++ translation unit also gets the versioned interface
 * object and the map classes (mi_shader_if.h, shader_map.h) from this one include.
 *
 * Names, field orders and meanings follow the renderer's public manual. Where the manual leaves a
 * point open, the choice made here is listed in docs/renderer-interface.md and marked "our choice"
 * below. Offsets that are relied upon are held by static assertions at the end of the file.
 *
 * Units: points and vectors of the state are in internal space, which is world space here, in scene
 * units; angles are radians unless a name says otherwise; matrices are row-major for row vectors
 * (p' = p * M), translation in the last row.
 */
#ifndef SHADER_H
#define SHADER_H

#include <math.h>
#include <stddef.h>
#include <stdint.h>

/* Marks the entry points of a shader library. Elsewhere than on Windows symbols are visible by
 * default, and a linker's version script restricts them. */
#ifdef _WIN32
#define DLLEXPORT __declspec(dllexport)
#else
#define DLLEXPORT
#endif

#ifdef __GNUC__
#define MI_PRINTF_LIKE(text, first) __attribute__((format(printf, text, first)))
#else
#define MI_PRINTF_LIKE(text, first)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- basic types ------------------------------------------------------------------------------
 */

typedef int miBoolean;            /* truth value in records, results and parameter blocks */
typedef unsigned char miCBoolean; /* one-byte truth value inside records */
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

/* A last element of 0 means "no matrix given". */
typedef miScalar miMatrix[16];

typedef struct miRange {
    float min, max;
} miRange;

/* Name of a database element, valid on all hosts. */
typedef miUint miTag;
#define miNULLTAG ((miTag)0)

/* A lock held by value and initialised in place with mi_init_lock. Our choice: an opaque handle. */
typedef void* miLock;

/* A pointer-sized slot in a record. */
typedef void* miPointer;

/* ---- enumerations -----------------------------------------------------------------------------
 */

/* Why a ray exists. miRAY_REFLECT is known to be 2; all other values are our choice. */
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

/* Database element types, as mi_db_type returns them. 2 and 3 are known; the rest is our choice. */
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
    miSCENE_TAGS = 13, /* an array of tags, such as a material list */
    miSCENE_MAP = 14,
    miSCENE_TEXTURE = 15
} miScene_types;

/* Parameter and result types. */
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

/* Kinds of function. "A plain function" is one whose kind is below miFUNCTION_C_REQ. */
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

/* In which role mi_call_shader runs a shader. Names and values are our choice. */
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

/*
 * What mi_query can be asked. 51, 54, 124 and 126 are known values; the names of the last two and
 * all other values are our choice.
 */
typedef enum miQ_type {
    miQ_NONE = 0,
    miQ_DECL_LOCK = 20,        /* miLock *   one lock for all instances of the shader */
    miQ_DECL_NAME = 21,        /* char *     name of the shader */
    miQ_DECL_PARAM = 22,       /* char *     encoded parameter list */
    miQ_DECL_RESULT_SIZE = 23, /* int      bytes of the result */
    miQ_DECL_TYPE = 24,        /* int        miTYPE_* of the result */
    miQ_DECL_VERSION = 25,     /* int        declared version */
    miQ_FUNC_USERPTR = 51,     /* void **    address of the shader instance's user pointer */
    miQ_FUNC_DECL = 54,        /* miTag      declaration of the function */
    miQ_FUNC_CALLTYPE = 55,    /* int        miSHADER_* it was called as */
    miQ_FUNC_INDIRECT = 56,    /* miTag      function that the parameters are taken from */
    miQ_FUNC_LOCK = 57,        /* miLock *   lock of this shader instance */
    miQ_FUNC_NEXT = 58,        /* miTag      next function of a shader list */
    miQ_FUNC_PARAM = 59,       /* void *     parameter block */
    miQ_FUNC_PARAM_SIZE = 60,  /* int       bytes of the parameter block */
    miQ_DATA_DECL = 70,        /* miTag      declaration of a user data element */
    miQ_DATA_LABEL = 71,       /* miUint     its label */
    miQ_DATA_NEEDSWAP = 72, /* miBoolean  whether its bytes come from a host of other byte order */
    miQ_DATA_NEXT = 73,     /* miTag      next user data element of the chain */
    miQ_DATA_PARAM = 74,    /* void *     its contents */
    miQ_DATA_PARAM_SIZE = 75,   /* int       bytes of its contents */
    miQ_DATE = 80,              /* char *     date of the renderer */
    miQ_FINALGATHER_STATE = 81, /* int     0: no final gathering */
    miQ_SAMPLE_MOVING = 82,     /* miBoolean  whether the sample's surface moves */
    miQ_NUM_GLOBAL_LIGHTS = 90, /* int     number of light instances of the scene */
    miQ_GLOBAL_LIGHTS = 91,     /* miTag *    their tags, owned by the renderer */
    miQ_FUNC_TLS_GET = 124,     /* void *     this thread's pointer for this shader instance */
    miQ_FUNC_TLS_SET = 126      /* void *     sets that pointer to the variable's value */
} miQ_type;

/*
 * Lifetimes of shader state data. Only miSS_LIFETIME_RECT is a documented name. Our choice for the
 * value 1: visible to every shader called below the state that set it, until it is replaced or the
 * call that owns the state returns.
 */
typedef enum miSS_lifetime {
    miSS_LIFETIME_RECT = 0, /* one image tile */
    miSS_LIFETIME_EYERAY = 1
} miSS_lifetime;

/* Verbosity bitmap of mi_set_verbosity. */
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

/* ---- database records -------------------------------------------------------------------------
 */

typedef struct miWindow {
    int xl, yl, xh, yh; /* pixels, lower left and upper right */
} miWindow;

typedef struct miCamera {
    miBoolean orthographic;
    float focal;    /* distance from the camera to the viewing plane */
    float aperture; /* width of the viewing plane */
    float aspect;   /* width / height of the viewing plane (our choice between two readings) */
    miRange clip;   /* hither, yon */
    int x_resolution, y_resolution; /* pixels */
    miWindow window;
    miTag volume, environment, lens, output; /* shaders, or lists of them */
    int frame;
    float frame_time;         /* seconds */
    int frame_field;          /* 0 frame, 1 even field, 2 odd field */
    float x_offset, y_offset; /* pixels */
    miTag userdata;
    miTag pass;
    float focus, radius; /* unused */
    miBoolean pass_mask; /* unused */
    int spare[11];
} miCamera;

/* Which sides of a surface exist for primary rays. */
enum { miFACE_FRONT = 1, miFACE_BACK = 2, miFACE_BOTH = 3 };

/* Rendering options: the contents are documented, the order is our choice. */
typedef struct miOptions {
    miBoolean trace; /* secondary rays allowed */
    miBoolean scanline;
    int reflection_depth; /* limits of state->reflection_level, refraction_level and their sum */
    int refraction_depth;
    int trace_depth;
    int shadow;                   /* 0 off, 1 on, 2 sorted, 3 segments */
    int face;                     /* miFACE_* */
    int min_samples, max_samples; /* a pixel takes 4^min to 4^max samples */
    miColor contrast;
    miColor time_contrast;
    int filter;                         /* 0 box, 1 triangle, 2 gauss, 3 mitchell, 4 lanczos */
    float filter_size_x, filter_size_y; /* pixels */
    float jitter;                       /* 0 regular to 1 fully displaced */
    float shutter;                      /* > 0: motion blur */
    miBoolean lens, volume, geometry, displace, output; /* feature switches */
    miBoolean autovolume;
    miTag userdata;
    miTag string_options;
} miOptions;

typedef struct miTransform {
    miTag function; /* transformation function or 0 */
    float time;     /* of its last evaluation */
    miMatrix global_to_local;
    miMatrix local_to_global;
    miCBoolean identity;
    miUint1 spare[3];
    int id;
} miTransform;

typedef struct miInstance {
    miTransform tf;
    miMatrix motion_transform;
    miTag item; /* what is placed: object, light, camera or group */
    /*
     * mtl_array_size == 0: the inherited material, or 0. mtl_array_size > 0: the tag of an element
     * that is an array of mtl_array_size tags of materials.
     */
    miTag material;
    miTag parent;     /* of a leaf instance */
    miTag boxes;      /* renderable geometry */
    miTag next, prev; /* leaf instance list */
    int mtl_array_size;
    miTag light_obj_ring; /* object-light links: 0, or an array of tags of light instances */
    miTag userdata;
    miUint label;
    miTag geogroup;
    miCBoolean off;     /* hidden */
    miUint1 gen_motion; /* 0 inherit, 1 transform, 2 off */
    /*
     * Rendering flags; their order is our choice. visible, shadowmap, select, hardware: 0 not
     * given, 1 off, 2 on. The others: bits 1, 2 switch casting and receiving on, 4, 8 switch them
     * off.
     */
    miUint1 visible, shadow, shadowmap, reflection, refraction, transparency;
    miUint1 caustic, globillum, finalgather, face, select, hardware;
    miCBoolean override_material;
    miCBoolean light_exclusive; /* light_obj_ring lists the lights that do not illuminate */
} miInstance;

/* Never copy one by value: later versions of the renderer append fields. */
typedef struct miMaterial {
    miBoolean opaque;
    miTag shader; /* always a function element */
    miTag displace, shadow, volume, environment, contour, photon, photonvol, lightmap, hardware;
} miMaterial;

/*
 * One shader instance: a declared function with one set of parameter values.
 *
 * Beside the parameter block lies an equally shaped ghost block of connection tags, ghost_offs
 * bytes further on: the tag of the parameter at address p is the 32-bit word at p + ghost_offs. 0:
 * not connected. (miTag)-2: to be read as not connected. Anything else: the tag of the function
 * element that computes the parameter. ghost_offs 0: there is no ghost block.
 */
typedef struct miFunction {
    miPointer spare[7];
    miFunction_type type;
    miUint out_typemap, out_interpmap; /* output functions only */
    miTag function_decl;
    miTag next_function; /* next of a shader list */
    miTag parameter_indirect;
    miTag interfacephen;
    miBoolean spare2;
    int parameter_size; /* bytes */
    int result_size;    /* bytes */
    int ghost_offs;     /* bytes from the parameter block to the ghost block, or 0 */
    miTag pass_read, pass_write;
    miSint1 pass_maxsamples;
    miCBoolean
        connected; /* exactly 1 when parameters may be connected (name and place: our choice) */
    miUint1 spare3[2];
    char parameters[8]; /* the parameter block, parameter_size bytes, 8-byte aligned */
} miFunction;

/* The connection tag that counts as "not connected" although it is not 0. */
#define miGHOST_PLAIN ((miTag)0xFFFFFFFEu)

/* A declaration. Its contents are documented, its layout is our choice; of variable size. */
typedef struct miFunction_decl {
    miFunction_type type;
    miParam_type result_type;
    int result_size; /* bytes */
    int version;
    miLock lock;        /* shared by all instances */
    int parameter_offs; /* bytes from the start of the record to the encoded parameter list */
    char name[4];       /* zero-terminated text, as long as it is */
} miFunction_decl;

typedef enum miLight_type {
    miLIGHT_ORIGIN = 0, /* point light */
    miLIGHT_DIRECTION,  /* directional light, with or without an origin */
    miLIGHT_SPOT
} miLight_type;

typedef struct miLight {
    miLight_type type;
    int area; /* 0: none */
    float exponent;
    int caustic_store, global_store; /* photon store counts */
    miColor energy;
    miTag shader; /* light shader or list */
    miTag emitter;
    miVector origin;         /* in the light's local space */
    miVector direction;      /* normalised */
    float spread;            /* cosine of the half angle of the outer cone */
    miBoolean has_origin;    /* a directional light may have one */
    miVector edge_u, edge_v; /* area primitive */
    int samples_u, samples_v;
    miBoolean visible;
    miUint label;
    miTag userdata;
    miTag shadowmap_file;
} miLight;

/* ---- state ------------------------------------------------------------------------------------
 */

/*
 * What every shader is handed. The groups stand in the order of the manual's tables; padding and
 * total size are our choice. Only the variables that are defined for a type of shader may be used
 * by it. options and camera, and everything in them, are never writable.
 */
typedef struct miState {
    /* frame */
    int version; /* 2: version 2.0 of the interface and later */
    miTag camera_inst;
    struct miCamera* camera;
    struct miOptions* options;
    /* image sample */
    miScalar raster_x, raster_y; /* pixels; (0, 0) is the image's lower left corner */
    miFunction* shader;          /* the shader now running */
    miLock global_lock;
    short thread;
    /* ray */
    struct miState* parent;
    struct miState* child; /* of the most recent trace; null after a miss */
    miRay_type type;
    miCBoolean scanline;
    void* cache; /* intersection cache of this ray; directly precedes org */
    miVector org;
    miVector dir;
    float time;
    miTag volume, environment;
    int reflection_level, refraction_level;
    int face;
    /* intersection */
    miTag refraction_volume;
    miUint label;
    miTag instance; /* leaf instance of the object that holds the hit primitive */
    miTag light_instance;
    miScalar bary[4];
    miVector point;
    miVector normal, normal_geom; /* facing the ray, except in shadow shaders */
    miCBoolean inv_normal;        /* the surface was hit from behind, the normals are turned over */
    miScalar dot_nd;
    double dist;
    miTag material;
    void* pri; /* to be restored by a shader that changes it */
    double shadow_tol;
    miScalar ior, ior_in;
    miScalar importance;
    /* texture, motion, derivatives */
    miVector* tex_list;
    miVector *bump_x_list, *bump_y_list;
    miVector tex;
    miVector motion;
    miVector* derivs[5];
    /* user */
    void* user; /* passed down the call graph only */
    int user_size;
} miState;

/* ---- the database -----------------------------------------------------------------------------
 */

/* Type number (miScene_types) of an element. The tag must exist. */
int mi_db_type(const miTag tag);
/* Bytes of an element. Slow. */
int mi_db_size(const miTag tag);
/*
 * Pins an element and returns its address, valid until the matching mi_db_unpin. Never null: an
 * unknown tag, the null tag included, ends the render. Pins are counted, at most 65535 on one
 * element. The address of a string element is its zero-terminated text.
 */
void* mi_db_access(const miTag tag);
/* Gives one pin back. Takes the tag, not the address. */
void mi_db_unpin(const miTag tag);
/* Publishes changes to other hosts; shaders that only read never need it. */
void mi_db_flush(const miTag tag);

/*
 * Asks for a value. Returns miFALSE when it is not available or the code unknown. Codes of the DECL
 * and FUNC groups take either a state (the shader now running) and the null tag, or a null state
 * and the tag of a function or declaration. `result` points to a variable of the type named at the
 * code.
 */
miBoolean mi_query(const miQ_type query, miState* const state, miTag tag, void* const result, ...);

/*
 * Finds a parameter of a declaration by name (dots reach into structs): its type, whether it is an
 * array, and its byte offset in the parameter block (`out` true: in the result). Takes over `name`,
 * which must come from mi_mem_allocate or mi_mem_strdup. miFALSE when there is none.
 */
miBoolean mi_api_parameter_lookup(miParam_type* type, miBoolean* is_array, int* offs,
                                  miTag decl_tag, miBoolean out, char* name);

/* ---- sampling ---------------------------------------------------------------------------------
 */

/*
 * Writes one sample of `dimension` numbers in [0,1) and returns true, or returns false when *n
 * samples have been taken. *instance must be 0 before the first call and then belongs to mi_sample.
 * n null: one sample. instance null: no loop. The sequence depends only on the shader instance and
 * on how often it asked, never on the thread.
 */
miBoolean mi_sample(double* sample, int* instance, miState* state, const miUshort dimension,
                    const miUint* n);

/* ---- tracing ----------------------------------------------------------------------------------
 */

/*
 * Common to all: true when any shader called below returned true. The new ray's state becomes
 * state->child and stays valid and complete until the next call from the same state; after a miss
 * state->child is null. The given state is not changed otherwise, except that mi_trace_eye copies
 * label, point, normal, dist and motion back from its child. Directions need not be normalised.
 */

/* Lens shaders only. Calls the next lens shader, else casts the eye ray; stores both arguments in
 * the state first. */
miBoolean mi_trace_eye(miColor* result, miState* state, miVector* origin, miVector* direction);
/* From state->point. False too when the reflection or total depth is used up (state->child then
 * keeps what the call before left there). */
miBoolean mi_trace_reflection(miColor* result, miState* state, miVector* direction);
miBoolean mi_trace_refraction(miColor* result, miState* state, miVector* direction);
/* Straight on along state->dir. */
miBoolean mi_trace_transparent(miColor* result, miState* state);
/* Evaluates the environment only. */
miBoolean mi_trace_environment(miColor* result, miState* state, miVector* direction);
/* Finds the first surface along the ray and calls no shader. Leaves state->point alone. The child's
 * `shader` is the record of the hit material's shader. */
miBoolean mi_trace_probe(miState* state, miVector* direction, miVector* origin);
/* The light's colour at state->point, one sample; direction and cosine may be null. */
miBoolean mi_trace_light(miColor* result, miVector* dir, miScalar* dot_nl, miState* state,
                         miTag light);
/* One sample of a light per call until it returns false; *samples must be 0 before the first call
 * and is then the number of samples taken so far. dir: to the light, normalised. */
miBoolean mi_sample_light(miColor* result, miVector* dir, miScalar* dot_nl, miState* state,
                          miTag light, miInteger* samples);
/* Light shaders only: attenuates *result by what lies between the light and the shading point.
 * False: fully in shadow. */
miBoolean mi_trace_shadow(miColor* result, miState* state);
/* Shadow shaders only, segment mode: the next occluder. */
miBoolean mi_trace_shadow_seg(miColor* result, miState* state);
/* Forgets what is cached for this state; needed after moving state->point. Sets state->cache to
 * null. */
void mi_flush_cache(miState* state);

/* Mirror direction of state->dir about state->normal. */
void mi_reflection_dir(miVector* dir, miState* state);
/* Refracted direction of state->dir; false on total reflection (dir is then the mirror direction).
 */
miBoolean mi_refraction_dir(miVector* dir, miState* state, miScalar ior_in, miScalar ior_out);

/* ---- parameters and other shaders -------------------------------------------------------------
 */

/*
 * The address of a parameter's effective value: `param` itself when it is plain, else the place of
 * what the connected shader returned, good until the next evaluation. `param` lies in the block of
 * state->shader.
 */
void* mi_eval(miState* state, void* param);
/* Runs the shader connected to `param`. There must be a connection. */
void* mi_phen_eval(miState* state, void* param);

/* These take `state` from the scope they stand in. */
#define mi_eval_boolean(p) ((miBoolean*)mi_eval(state, (void*)(p)))
#define mi_eval_integer(p) ((miInteger*)mi_eval(state, (void*)(p)))
#define mi_eval_scalar(p) ((miScalar*)mi_eval(state, (void*)(p)))
#define mi_eval_vector(p) ((miVector*)mi_eval(state, (void*)(p)))
#define mi_eval_transform(p) ((miScalar*)mi_eval(state, (void*)(p)))
#define mi_eval_color(p) ((miColor*)mi_eval(state, (void*)(p)))
#define mi_eval_tag(p) ((miTag*)mi_eval(state, (void*)(p)))

/* Runs the shader `tag` on the same state in the given role; the _x form hands `arg` to it in place
 * of its parameters. */
miBoolean mi_call_shader(miColor* result, miShader_type type, miState* state, miTag tag);
miBoolean mi_call_shader_x(miColor* result, miShader_type type, miState* state, miTag tag,
                           void* arg);
/* Run the shaders of the material of the hit: its surface, shadow, environment or volume list. */
miBoolean mi_call_material(miColor* result, miState* state);
miBoolean mi_call_shadow_material(miColor* result, miState* state);
miBoolean mi_call_environment_material(miColor* result, miState* state);
miBoolean mi_call_volume_material(miColor* result, miState* state);

/* Colour (scalar, vector) of a texture at coordinates in [0,1); false outside. */
miBoolean mi_lookup_color_texture(miColor* result, miState* state, miTag tag, miVector* coord);
miBoolean mi_lookup_scalar_texture(miScalar* result, miState* state, miTag tag, miVector* coord);
miBoolean mi_lookup_vector_texture(miVector* result, miState* state, miTag tag, miVector* coord);

/*
 * Lists of light instances for a shader with a "lights" array: the groups in it resolved to their
 * members (inclusive), or all lights of the scene but those (exclusive), or the list of the hit
 * instance, all lights where it has none (instance). On return *lights is memory of the renderer's,
 * good until the next such call from this thread.
 */
void mi_inclusive_lightlist(int* n, miTag** lights, miState* state);
void mi_exclusive_lightlist(int* n, miTag** lights, miState* state);
void mi_instance_lightlist(int* n, miTag** lights, miState* state);

/*
 * The three corners of the hit triangle: `which` 'p' points, 'n' normals, 't' texture coordinates
 * of space `space`. False when there are none.
 */
miBoolean mi_tri_vectors(miState* state, int which, int space, miVector** a, miVector** b,
                         miVector** c);

/* ---- data attached to a state -----------------------------------------------------------------
 */

/* Stores a copy of `size` bytes under `key`; data null and size 0 take the entry away. */
miBoolean mi_shaderstate_set(miState* state, const char* key, void* data, int size, int lifetime);
/* The renderer's copy, set here or above; its bytes go to *size (may be null). Null, and *size 0,
 * when there is none. */
void* mi_shaderstate_get(miState* state, const char* key, int* size);

/* ---- spaces -----------------------------------------------------------------------------------
 */

/* "to" converts from internal space, "from" to it. Vectors ignore the translation, normals use the
 * inverse transpose. Nothing is renormalised. Source and result may be the same variable. */
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

/* ---- memory -----------------------------------------------------------------------------------
 */

/* Zeroed memory; ends the renderer when there is none. These lock: not for use per sample. */
void* mi_mem_allocate(const int size);
/* The same, but null when there is none. */
void* mi_mem_test_allocate(const int size);
/* Null memory: allocates. Size 0: releases and returns null. Growth is zeroed. */
void* mi_mem_reallocate(void* const mem, const int size);
void mi_mem_release(void* mem);
/* A copy of a text, with the place it was asked for. */
char* mi_mem_int_strdup(const char* file, int line, const char* text);
#define mi_mem_strdup(text) mi_mem_int_strdup(__FILE__, __LINE__, (text))

/* ---- locks ------------------------------------------------------------------------------------
 */

/* Not recursive. A waiting thread does nothing else. */
void mi_init_lock(miLock* lock);
void mi_delete_lock(miLock* lock);
void mi_lock(miLock lock);
void mi_unlock(miLock lock);

/* ---- messages ---------------------------------------------------------------------------------
 */

/* As printf. A newline is appended, newlines inside become blanks. mi_fatal does not return. */
void mi_fatal(const char* const message, ...) MI_PRINTF_LIKE(1, 2);
void mi_error(const char* const message, ...) MI_PRINTF_LIKE(1, 2);
void mi_warning(const char* const message, ...) MI_PRINTF_LIKE(1, 2);
void mi_info(const char* const message, ...) MI_PRINTF_LIKE(1, 2);
void mi_progress(const char* const message, ...) MI_PRINTF_LIKE(1, 2);
void mi_debug(const char* const message, ...) MI_PRINTF_LIKE(1, 2);
void mi_vdebug(const char* const message, ...) MI_PRINTF_LIKE(1, 2);
/* Bitmap of miERR_*. */
void mi_set_verbosity(const int bits);

/* ---- texts ------------------------------------------------------------------------------------
 */

/*
 * Writes `text` with every known {NAME} replaced by its registry value, zero-terminated, at most
 * `capacity` bytes including the zero. Unknown names stay as they are.
 */
int mi_string_substitute(char* buffer, const char* text, int capacity);

/* ---- vector helpers ---------------------------------------------------------------------------
 */

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
/* f = 0 leaves r alone. */
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
/* The null vector stays. */
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

/* ---- what the library and a host rely on ------------------------------------------------------
 */

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
                 "vectors, colours and matrices are arrays of scalars");
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

/* C++ sources may include this file within extern "C". */
#ifdef __cplusplus
extern "C++" {
#include "mi_shader_if.h"
}
#endif

#endif
