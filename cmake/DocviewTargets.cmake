# One call per target: every library, module, program, test and benchmark of the project is made
# by one of these functions, so that all get the same warnings, layout and wiring.
#
# Common arguments:
#   SOURCES ...         the target's files, listed (no globbing: a new file is a visible change)
#   LIBS ...            what it links (PUBLIC for libraries, PRIVATE otherwise)
#   DEFINITIONS ...     compile definitions, PRIVATE
#   AUTOMOC             run Qt's moc over the sources

# Warnings are errors in our own code; third-party headers come in as system includes.
# -Woverloaded-virtual stays off: the plug-in contract has two Init overloads, and every plug-in
# overrides only its own one.
function(docview_set_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow
                           -Wnon-virtual-dtor -Werror)
endfunction()

# The part every function shares: definitions, moc (when `automoc` is true) and warnings.
function(docview_finish_target target automoc)
    cmake_parse_arguments(ARG "" "" "DEFINITIONS" ${ARGN})
    if(ARG_DEFINITIONS)
        target_compile_definitions(${target} PRIVATE ${ARG_DEFINITIONS})
    endif()
    if(automoc)
        set_target_properties(${target} PROPERTIES AUTOMOC ON)
    endif()
    docview_set_warnings(${target})
endfunction()

# docview_add_library(NAME [SHARED|STATIC|OBJECT] SOURCES ... [PUBLIC_INCLUDE dir] [LIBS ...]
#                     [PRIVATE_LIBS ...] [DEFINITIONS ...] [AUTOMOC])
# SHARED is the default. OBJECT libraries hold what a module or program and its tests share, so
# that it is compiled once.
function(docview_add_library name)
    cmake_parse_arguments(ARG "SHARED;STATIC;OBJECT;AUTOMOC" "PUBLIC_INCLUDE"
                          "SOURCES;LIBS;PRIVATE_LIBS;DEFINITIONS" ${ARGN})
    set(kind SHARED)
    if(ARG_STATIC)
        set(kind STATIC)
    elseif(ARG_OBJECT)
        set(kind OBJECT)
    endif()
    add_library(${name} ${kind} ${ARG_SOURCES})
    if(ARG_PUBLIC_INCLUDE)
        target_include_directories(${name} PUBLIC ${ARG_PUBLIC_INCLUDE})
    endif()
    target_link_libraries(${name} PUBLIC ${ARG_LIBS} PRIVATE ${ARG_PRIVATE_LIBS})
    docview_finish_target(${name} ${ARG_AUTOMOC} DEFINITIONS ${ARG_DEFINITIONS})
endfunction()

# docview_add_module(NAME SOURCES ... [LIBS ...] [OUTPUT_DIRECTORY dir] [OUTPUT_NAME name]
#                    [DEFINITIONS ...])
# A plug-in module, opened with dlopen and entered only through CreatePluginInstanceEx: the one
# version script exports that entry and nothing else.
set(DOCVIEW_MODULE_EXPORTS_MAP ${CMAKE_CURRENT_LIST_DIR}/ModuleExports.map)
function(docview_add_module name)
    cmake_parse_arguments(ARG "" "OUTPUT_DIRECTORY;OUTPUT_NAME" "SOURCES;LIBS;DEFINITIONS" ${ARGN})
    add_library(${name} MODULE ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LIBS})
    if(NOT ARG_OUTPUT_DIRECTORY)
        set(ARG_OUTPUT_DIRECTORY ${DOCVIEW_MODULE_DIR})
    endif()
    if(NOT ARG_OUTPUT_NAME)
        set(ARG_OUTPUT_NAME ${name})
    endif()
    set_target_properties(${name} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${ARG_OUTPUT_DIRECTORY}
                                             OUTPUT_NAME ${ARG_OUTPUT_NAME} PREFIX "")
    target_link_options(${name} PRIVATE -Wl,--version-script=${DOCVIEW_MODULE_EXPORTS_MAP})
    set_property(TARGET ${name} APPEND PROPERTY LINK_DEPENDS ${DOCVIEW_MODULE_EXPORTS_MAP})
    docview_finish_target(${name} FALSE DEFINITIONS ${ARG_DEFINITIONS})
endfunction()

# docview_add_program(NAME SOURCES ... [LIBS ...] [MODULES ...] [DEFINITIONS ...] [AUTOMOC])
# An executable. MODULES are the plug-in modules it loads by name at run time: building the
# program builds them too.
function(docview_add_program name)
    cmake_parse_arguments(ARG "AUTOMOC" "" "SOURCES;LIBS;MODULES;DEFINITIONS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LIBS})
    if(ARG_MODULES)
        add_dependencies(${name} ${ARG_MODULES})
    endif()
    docview_finish_target(${name} ${ARG_AUTOMOC} DEFINITIONS ${ARG_DEFINITIONS})
endfunction()

# docview_add_test(NAME SOURCES ... [LIBS ...] [DEPENDS ...] [DEFINITIONS ...])
# One GoogleTest executable per component, run through CTest without a display. DEPENDS are
# targets the tests use at run time (modules, programs).
function(docview_add_test name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBS;DEPENDS;DEFINITIONS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LIBS} GTest::gtest GTest::gtest_main)
    if(ARG_DEPENDS)
        add_dependencies(${name} ${ARG_DEPENDS})
    endif()
    docview_finish_target(${name} FALSE DEFINITIONS ${ARG_DEFINITIONS})
    gtest_discover_tests(${name}
        TEST_PREFIX "${name}."
        DISCOVERY_TIMEOUT 60
        PROPERTIES ENVIRONMENT "${DOCVIEW_TEST_ENVIRONMENT}")
endfunction()

# docview_add_benchmark(NAME SOURCES ... [LIBS ...] [DEPENDS ...] [DEFINITIONS ...])
# A Google Benchmark program. Benchmarks report ratios against a baseline measured in the same run
# and are never run as timed tests.
function(docview_add_benchmark name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBS;DEPENDS;DEFINITIONS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LIBS} benchmark::benchmark)
    if(ARG_DEPENDS)
        add_dependencies(${name} ${ARG_DEPENDS})
    endif()
    docview_finish_target(${name} FALSE DEFINITIONS ${ARG_DEFINITIONS})
endfunction()
