# velmo_test(<name> [USES <libraries>] [SOURCES <more files>] [TIMEOUT <seconds>])
# A Qt Test class tst_<name>.cpp in the current folder as one program and one CTest test of the same name.
function(velmo_test name)
    cmake_parse_arguments(test "" "TIMEOUT" "USES;SOURCES" ${ARGN})
    if(NOT test_TIMEOUT)
        set(test_TIMEOUT 600) # for what never ends; a busy machine takes its time
    endif()
    add_executable(tst_${name} tst_${name}.cpp ${test_SOURCES})
    target_link_libraries(tst_${name} PRIVATE velmo_test_support velmo_resources Qt6::Test ${test_USES})
    add_test(NAME tst_${name} COMMAND tst_${name})
    set_tests_properties(tst_${name} PROPERTIES
        TIMEOUT ${test_TIMEOUT}
        ENVIRONMENT "${VELMO_TEST_ENVIRONMENT}")
endfunction()

# velmo_pixel_test(<name> [the options of velmo_test])
# One test program run twice: on a screen of whole device pixels, and on one where a logical pixel is one and a half.
function(velmo_pixel_test name)
    velmo_test(${name} ${ARGN})
    target_link_libraries(tst_${name} PRIVATE velmo_test_pixels)
    add_test(NAME tst_${name}_at150 COMMAND tst_${name})
    set_tests_properties(tst_${name}_at150 PROPERTIES
        TIMEOUT 600
        ENVIRONMENT "${VELMO_TEST_ENVIRONMENT};QT_SCALE_FACTOR=1.5")
    # Some write a game profile beside the program, and the program is the same.
    set_tests_properties(tst_${name} tst_${name}_at150 PROPERTIES RESOURCE_LOCK tst_${name})
endfunction()

# velmo_test_that_kills(<name>)
# For a test of velmo_test that kills launchers. One that dies under Wine while it reads the system's certificates never
# gives back the turn that it had at them, and whatever waits for it hangs, as does all that comes after. So nothing else
# runs on that Wine drive meanwhile.
function(velmo_test_that_kills name)
    if(CMAKE_CROSSCOMPILING_EMULATOR)
        set_tests_properties(tst_${name} PROPERTIES RUN_SERIAL ON)
    endif()
endfunction()

set(VELMO_TEST_ENVIRONMENT
    "QT_QPA_PLATFORM=offscreen"
    "LC_ALL=C.UTF-8"
    "no_proxy=*"
    "ASAN_OPTIONS=detect_leaks=1:abort_on_error=0"
    "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/support/lsan.supp:print_suppressions=0"
    "TSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/support/tsan.supp:halt_on_error=1"
    "UBSAN_OPTIONS=print_stacktrace=1")
