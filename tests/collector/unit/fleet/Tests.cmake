collector_tests(fleet ArrivalTest.cpp CatalogTest.cpp CodePageTest.cpp InstallationTest.cpp OracleTest.cpp RandomTest.cpp)
