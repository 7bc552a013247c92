# The engine as a whole: GameManager and the flows that pass through it.

# The game profile is read from beside the program, so each program has a folder of its own.
function(velmo_own_folder target)
    set_target_properties(${target} PROPERTIES
        RUNTIME_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/programs/${target})
endfunction()

add_executable(velmo_test_game children/game.cpp)
target_link_libraries(velmo_test_game PRIVATE velmo_options)
velmo_own_folder(velmo_test_game)

add_executable(velmo_test_installer children/installer.cpp)
target_link_libraries(velmo_test_installer PRIVATE
    velmo_game velmo_resources velmo_test_support velmo_test_certificates)
velmo_own_folder(velmo_test_installer)

add_library(velmo_test_game_fixture STATIC GameFixture.cpp TestBuilds.cpp)
target_compile_definitions(velmo_test_game_fixture PRIVATE VELMO_TEST_GAME="$<TARGET_FILE:velmo_test_game>")
target_link_libraries(velmo_test_game_fixture PUBLIC velmo_game velmo_test_studio)
add_dependencies(velmo_test_game_fixture velmo_test_game)

set(tests GameManager GameManagerFlows GameManagerLaunch KilledInstall)
if(WIN32)
    list(APPEND tests WindowsFiles)
endif()
foreach(test ${tests})
    set(sources)
    if(test STREQUAL "GameManagerFlows")
        set(sources ${VELMO_DRIVE_SPACE})
    endif()
    velmo_test(${test}
        USES velmo_test_game_fixture velmo_test_certificates
        SOURCES ${sources}
        TIMEOUT 600)
    velmo_own_folder(tst_${test})
endforeach()
# Starts some hundred programs. What bounds it is meant for a machine that hangs, not for one that is busy.
set_tests_properties(tst_KilledInstall PROPERTIES
    TIMEOUT 1800
    ENVIRONMENT "${VELMO_TEST_ENVIRONMENT};QTEST_FUNCTION_TIMEOUT=1800000")
velmo_test_that_kills(KilledInstall)
target_link_libraries(tst_GameManagerFlows PRIVATE ${CMAKE_DL_LIBS})
target_compile_definitions(tst_KilledInstall PRIVATE VELMO_TEST_INSTALLER="$<TARGET_FILE:velmo_test_installer>")
add_dependencies(tst_KilledInstall velmo_test_installer)
