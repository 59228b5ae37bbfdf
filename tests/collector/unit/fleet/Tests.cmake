collector_tests(fleet
  ArrivalTest.cpp CatalogTest.cpp CodePageTest.cpp FleetTest.cpp InstallationTest.cpp LoadTest.cpp
  OracleTest.cpp RandomTest.cpp ReportTextTest.cpp SenderRequestTest.cpp TruthTest.cpp)
# The truth is compared with what the collector makes of the same deliveries.
target_link_libraries(fleet_tests
  PRIVATE collector_test_support collector_intake collector_figures)
