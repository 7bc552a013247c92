# The four workers behind GameManager.
velmo_test(UpdateManager USES velmo_game velmo_test_studio velmo_test_certificates TIMEOUT 600)
velmo_test(DownloadManager USES velmo_game velmo_test_studio velmo_test_peer velmo_test_certificates
    SOURCES SteppedClock.cpp TIMEOUT 600)
velmo_test(InstallManager USES velmo_game SOURCES ../support/PlainUserRights.cpp)
# Carries no game profile.
add_executable(tst_InstallManagerWithoutProfile tst_InstallManagerWithoutProfile.cpp)
target_link_libraries(tst_InstallManagerWithoutProfile PRIVATE velmo_game velmo_test_support Qt6::Test)
add_test(NAME tst_InstallManagerWithoutProfile COMMAND tst_InstallManagerWithoutProfile)
set_tests_properties(tst_InstallManagerWithoutProfile PROPERTIES TIMEOUT 600 ENVIRONMENT "${VELMO_TEST_ENVIRONMENT}")
velmo_test(VerificationManager USES velmo_game SOURCES ../support/PlainUserRights.cpp)
if(VELMO_SANITIZE MATCHES "thread")
    target_sources(tst_VerificationManager PRIVATE ${PROJECT_SOURCE_DIR}/tests/support/QtThreadOrder.cpp)
    target_link_libraries(tst_VerificationManager PRIVATE ${CMAKE_DL_LIBS})
endif()
