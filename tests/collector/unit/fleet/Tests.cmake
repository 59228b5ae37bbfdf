collector_tests(fleet
  ArrivalTest.cpp CatalogTest.cpp CodePageTest.cpp FleetTest.cpp InstallationTest.cpp LoadTest.cpp
  OracleTest.cpp RandomTest.cpp ReportTextTest.cpp SenderRequestTest.cpp)
