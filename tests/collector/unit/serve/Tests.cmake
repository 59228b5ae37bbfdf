collector_tests(serve AddressTest.cpp ApiRoutesTest.cpp ApiTest.cpp BudgetTest.cpp CookieTest.cpp
  DeadlinesTest.cpp EndpointTest.cpp FolderLockTest.cpp FramingTest.cpp HousekeepingTest.cpp
  LogWriterTest.cpp MetricsTest.cpp PageFilesTest.cpp PageReplies.cpp PageRulesTest.cpp
  PagesSiteTest.cpp ParticipantsSiteTest.cpp ParticipantsTest.cpp RateCounterTest.cpp
  ReadinessTest.cpp RequestLineTest.cpp ResponseTest.cpp RoutesTest.cpp RunningServer.cpp
  ServerLimitsTest.cpp ServerTest.cpp SlowStorage.cpp TargetTest.cpp TestCertificate.cpp
  TestClient.cpp TextTest.cpp TlsTest.cpp)
# Forms are written by the sender's own rules.
target_link_libraries(serve_tests PRIVATE collector_test_support pelto_upload)
# The one that is compiled with Asio's coroutines, as the folder itself is.
set_source_files_properties(unit/serve/ReadinessTest.cpp
  PROPERTIES COMPILE_OPTIONS $<TARGET_PROPERTY:collector_serve,COMPILE_OPTIONS>)
embed_pages(serve_tests stand_in_pages "${CMAKE_CURRENT_LIST_DIR}/pages")
target_compile_definitions(serve_tests
  PRIVATE PELTO_STAND_IN_PAGES="${CMAKE_CURRENT_LIST_DIR}/pages")
