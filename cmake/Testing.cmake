find_package(GTest REQUIRED)
include(GoogleTest)

# connector_add_test(NAME name SOURCES ... [LIBS ...] [LABEL unit|wire|lint|bench-smoke]
#                    [TIMEOUT seconds])
#
# One GoogleTest executable; each of its tests is one ctest entry with that label and time limit.
# Unit tests link the room's archive (connector_<room>); only tests/wire links connector_hostlib,
# which brings the plug-in, so that no executable holds a type twice.
function(connector_add_test)
    cmake_parse_arguments(PARSE_ARGV 0 TEST "" "NAME;LABEL;TIMEOUT" "SOURCES;LIBS")
    if(TEST_UNPARSED_ARGUMENTS OR NOT TEST_NAME OR NOT TEST_SOURCES)
        message(FATAL_ERROR "connector_add_test(${TEST_NAME}): bad arguments")
    endif()
    if(NOT TEST_LABEL)
        set(TEST_LABEL unit)
    endif()
    if(NOT TEST_TIMEOUT)
        set(TEST_TIMEOUT 30)
    endif()
    add_executable(${TEST_NAME} ${TEST_SOURCES})
    target_link_libraries(${TEST_NAME} PRIVATE
        connector_options ${TEST_LIBS} connector_testsupport connector_contract GTest::gmock_main)
    gtest_discover_tests(${TEST_NAME}
        TEST_PREFIX "${TEST_NAME}/"
        DISCOVERY_TIMEOUT 60
        PROPERTIES LABELS "${TEST_LABEL}" TIMEOUT ${TEST_TIMEOUT})
endfunction()
