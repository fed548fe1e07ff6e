// Options of the address and leak sanitizers, compiled into each sanitized program. The sanitizers
// call these functions at startup; ASAN_OPTIONS and LSAN_OPTIONS in the environment override single
// options.

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the sanitizers' names.
extern "C" {

/// Leaves __tls_get_addr() alone. The sanitizer of GCC 12 takes the thread-local block of a library
/// loaded with dlopen() for one of an old C library if its address modulo 4096 is 16, reads a false
/// start of the block, and crashes in the search for leaks at the end. These blocks are searched
/// without it too, since the dynamic linker allocates them.
const char* __asan_default_options() {
    return "intercept_tls_get_addr=0";
}

/// Leaves out the table of suppressed leaks, which would follow each program's own output.
const char* __lsan_default_options() {
    return "print_suppressions=0";
}

/// Functions whose leaks are known.
/// - NewThreadMark(): the writer marks each rendering thread with one byte that it never releases,
///   since a shader is not told when a thread ends. The function allocates that byte and nothing
///   else.
/// - ImageInput::geterror(): OpenImageIO's PNG reader passes the text of a temporary string to
///   png_error(), which leaves the function with longjmp() and without running destructors. Happens
///   for every truncated PNG file.
const char* __lsan_default_suppressions() {
    return "leak:NewThreadMark\n"
           "leak:ImageInput::geterror\n";
}

} // extern "C"
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
