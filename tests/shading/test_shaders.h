// What the shaders of the test library and the tests that call them share.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "shader.h"

// state->user of test_run: the body of the shader.
using ShaderBody = std::function<miBoolean(void* result, miState* state, void* parameters)>;

// Parameters of test_types, and what it found them to be; state->user points to one of these.
struct TestTypes {
    miBoolean boolean;
    miInteger integer;
    miScalar scalar;
    miTag string;
    miColor color;
    miVector vector;
    miMatrix transform;
    miTag shader;
    miTag texture;
    miTag light;
    miTag material;
};

// Result of test_struct.
struct TestStruct {
    miColor color;
    miScalar scalar;
    miVector vector;
    miInteger integer;
    miBoolean boolean;
};

// Everything that mi_query can be asked, as test_queries was answered.
struct TestQueries {
    miLock* declaration_lock;
    char* declaration_name;
    char* declaration_parameters;
    int declaration_result_size, declaration_type, declaration_version;
    void** user_pointer;
    miTag declaration;
    int call_type;
    miTag indirect;
    miLock* lock;
    miTag next;
    void* parameters;
    int parameter_size;
    char* date;
    int final_gather;
    miBoolean moving;
    int light_count;
    miTag* lights;
    int answered;      // how many of the queries returned true
    miBoolean unknown; // result of an unknown code
};

// Called by test_entries in each of its entry points: "version", "init", "instance init", "call",
// "instance exit", "exit". What it throws leaves the shader; with a result that is not 0 the shader
// allocates so many bytes.
using EntryHook = std::function<std::size_t(const std::string& entry)>;
