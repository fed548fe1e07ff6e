# vx_options: what every target of this project compiles with. vx_interface: the renderer's headers.

add_library(vx_options INTERFACE)
target_compile_features(vx_options INTERFACE cxx_std_20 c_std_11)
# A renderer's distance functors may have no virtual destructor, which the library's own inherits.
set(own_headers $<NOT:$<BOOL:${VX_RENDERER_HEADERS}>>)
target_compile_options(
    vx_options
    INTERFACE -Wall -Wextra -Wpedantic -Wshadow
              $<$<COMPILE_LANGUAGE:CXX>:-Wconversion>
              $<$<AND:$<COMPILE_LANGUAGE:CXX>,${own_headers}>:-Wnon-virtual-dtor>
              $<$<BOOL:${VX_WARNINGS_AS_ERRORS}>:-Werror>
              # Results must not depend on whether a compiler fuses a multiply and an add.
              -ffp-contract=off)
# Headers are included from the project's root, as in "src/points/pdc.h".
target_include_directories(vx_options INTERFACE "${PROJECT_SOURCE_DIR}")

if(VX_INSTRUMENT STREQUAL "address")
    target_compile_options(vx_options INTERFACE -fsanitize=address,undefined -fno-sanitize-recover=all
                                                -fno-omit-frame-pointer)
    target_link_options(vx_options INTERFACE -fsanitize=address,undefined)
    target_sources(
        vx_options
        INTERFACE
            "$<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:${PROJECT_SOURCE_DIR}/tests/sanitizer_options.cpp>")
elseif(VX_INSTRUMENT STREQUAL "thread")
    target_compile_options(vx_options INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
    target_link_options(vx_options INTERFACE -fsanitize=thread)
elseif(VX_INSTRUMENT STREQUAL "coverage")
    target_compile_options(vx_options INTERFACE --coverage)
    target_link_options(vx_options INTERFACE --coverage)
elseif(VX_INSTRUMENT)
    message(FATAL_ERROR "VX_INSTRUMENT is '${VX_INSTRUMENT}'; it takes address, thread or coverage")
endif()

add_library(vx_interface INTERFACE)
if(VX_RENDERER_HEADERS)
    if(NOT EXISTS "${VX_RENDERER_HEADERS}/shader.h")
        message(FATAL_ERROR "VX_RENDERER_HEADERS: there is no shader.h in ${VX_RENDERER_HEADERS}")
    endif()
    target_include_directories(vx_interface SYSTEM INTERFACE "${VX_RENDERER_HEADERS}")
else()
    target_include_directories(vx_interface INTERFACE "${PROJECT_SOURCE_DIR}/include")
endif()
target_link_libraries(vx_interface INTERFACE vx_options)
