collector_tests(serve AddressTest.cpp BudgetTest.cpp DeadlinesTest.cpp EndpointTest.cpp
  FolderLockTest.cpp FramingTest.cpp HousekeepingTest.cpp LogWriterTest.cpp MetricsTest.cpp
  RateCounterTest.cpp RequestLineTest.cpp ResponseTest.cpp RoutesTest.cpp RunningServer.cpp
  ServerLimitsTest.cpp ServerTest.cpp SlowStorage.cpp TestCertificate.cpp TestClient.cpp TextTest.cpp
  TlsTest.cpp)
# Forms are written by the sender's own rules.
target_link_libraries(serve_tests PRIVATE collector_test_support pelto_upload)
