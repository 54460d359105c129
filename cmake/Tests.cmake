include(CTest)
if(BUILD_TESTING)
    find_package(GTest REQUIRED)
    include(GoogleTest)
endif()

# vnt_test(name SOURCES files... LIBS targets...): a test program.  CTest runs each of its tests in
# a process of its own, ended after two minutes.  test/main.cc adds the listener that fails a test
# which leaves descriptors, threads or children behind.  Suites whose names begin with Slow get the
# label slow, which the quick suite leaves out, and ten minutes.
#
# What runs real workers (that is, links testsupport) is left out under the thread sanitizer: it
# bears neither their fork() in a process with threads nor the threads of the C library's timers.
# The server, the handler and the client have tests with doubles instead.
function(vnt_test name)
    if(NOT BUILD_TESTING)
        return()
    endif()
    cmake_parse_arguments(T "" "" "SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${T_SOURCES})
    target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/include)
    target_link_libraries(${name} PRIVATE ${T_LIBS} testmain testfolders GTest::gtest
        Threads::Threads)
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/test)
    if(testsupport IN_LIST T_LIBS AND VNT_SANITIZE MATCHES thread)
        return()
    endif()
    gtest_discover_tests(${name} TEST_FILTER "-Slow*" DISCOVERY_TIMEOUT 60
        PROPERTIES TIMEOUT 120)
    gtest_discover_tests(${name} TEST_FILTER "Slow*" DISCOVERY_TIMEOUT 60
        PROPERTIES TIMEOUT 600 LABELS slow)
endfunction()

# vnt_failing_allocations(name): lets the tests of a program make allocations fail and count them;
# see test/allocations.h.
function(vnt_failing_allocations name)
    if(NOT BUILD_TESTING)
        return()
    endif()
    target_sources(${name} PRIVATE ${CMAKE_SOURCE_DIR}/test/allocations.cc)
    target_link_options(${name} PRIVATE
        -Wl,--wrap=malloc,--wrap=calloc,--wrap=realloc,--wrap=free)
endfunction()

# vnt_fuzzer(name SOURCES files... LIBS targets...): a program that feeds code with made-up input.
# scripts/fuzz builds and runs all of them.
add_custom_target(fuzzers)
function(vnt_fuzzer name)
    if(NOT VNT_SANITIZE MATCHES "fuzzer-no-link")
        return()
    endif()
    cmake_parse_arguments(T "" "" "SOURCES;LIBS;DEFINITIONS" ${ARGN})
    add_executable(${name} ${T_SOURCES})
    target_compile_definitions(${name} PRIVATE ${T_DEFINITIONS})
    target_link_libraries(${name} PRIVATE ${T_LIBS})
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/fuzz)
    add_dependencies(fuzzers ${name})
endfunction()
