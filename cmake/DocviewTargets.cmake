# Helpers that give every target of the project the same warnings, layout and test wiring.

# Warnings are errors in our own code; third-party headers come in as system includes.
# -Woverloaded-virtual stays off: the plug-in contract has two Init overloads, and every plug-in
# overrides only its own one.
function(docview_set_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow
                           -Wnon-virtual-dtor -Werror)
endfunction()

# docview_add_library(NAME SOURCES ... [PUBLIC_INCLUDE dir] [LIBS ...])
function(docview_add_library name)
    cmake_parse_arguments(ARG "" "PUBLIC_INCLUDE" "SOURCES;LIBS" ${ARGN})
    add_library(${name} SHARED ${ARG_SOURCES})
    if(ARG_PUBLIC_INCLUDE)
        target_include_directories(${name} PUBLIC ${ARG_PUBLIC_INCLUDE})
    endif()
    target_link_libraries(${name} PUBLIC ${ARG_LIBS})
    docview_set_warnings(${name})
endfunction()

# docview_add_module(NAME SOURCES ... [LIBS ...]): a plug-in module loaded with dlopen.
function(docview_add_module name)
    cmake_parse_arguments(ARG "" "OUTPUT_DIRECTORY" "SOURCES;LIBS" ${ARGN})
    add_library(${name} MODULE ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LIBS})
    if(NOT ARG_OUTPUT_DIRECTORY)
        set(ARG_OUTPUT_DIRECTORY ${DOCVIEW_MODULE_DIR})
    endif()
    set_target_properties(${name} PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${ARG_OUTPUT_DIRECTORY}
                                             PREFIX "")
    docview_set_warnings(${name})
endfunction()

# docview_add_test(NAME SOURCES ... [LIBS ...]): one GoogleTest executable per component, run
# through CTest without a display.
function(docview_add_test name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LIBS} GTest::gtest GTest::gtest_main)
    docview_set_warnings(${name})
    gtest_discover_tests(${name}
        TEST_PREFIX "${name}."
        DISCOVERY_TIMEOUT 60
        PROPERTIES ENVIRONMENT
            "QT_QPA_PLATFORM=offscreen;XDG_RUNTIME_DIR=${PROJECT_BINARY_DIR}/xdg-runtime")
endfunction()
