# The four workers behind GameManager.
velmo_test(UpdateManager USES velmo_game velmo_test_studio velmo_test_certificates SERIAL)
velmo_test(DownloadManager USES velmo_game velmo_test_studio velmo_test_peer velmo_test_certificates
    SOURCES SteppedClock.cpp TIMEOUT 300)
velmo_test(InstallManager USES velmo_game SOURCES PlainUserRights.cpp)
velmo_test(VerificationManager USES velmo_game SOURCES PlainUserRights.cpp)
if(VELMO_SANITIZE MATCHES "thread")
    target_sources(tst_VerificationManager PRIVATE ${PROJECT_SOURCE_DIR}/tests/support/QtThreadOrder.cpp)
    target_link_libraries(tst_VerificationManager PRIVATE ${CMAKE_DL_LIBS})
endif()
