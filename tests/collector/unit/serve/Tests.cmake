collector_tests(serve FolderLockTest.cpp HousekeepingTest.cpp LogWriterTest.cpp MetricsTest.cpp
  PageFilesTest.cpp PageReplies.cpp PageRulesTest.cpp PagesSiteTest.cpp ParticipantsSiteTest.cpp
  ReadinessTest.cpp RunningServer.cpp ServerLimitsTest.cpp ServerTest.cpp SlowStorage.cpp
  TestCertificate.cpp TestClient.cpp TlsTest.cpp)
# Forms are written by the sender's own rules.
target_link_libraries(serve_tests PRIVATE collector_test_support pelto_upload)
embed_pages(serve_tests stand_in_pages "${CMAKE_CURRENT_LIST_DIR}/pages")
target_compile_definitions(serve_tests
  PRIVATE PELTO_STAND_IN_PAGES="${CMAKE_CURRENT_LIST_DIR}/pages")
