collector_tests(fleet CatalogTest.cpp CodePageTest.cpp InstallationTest.cpp RandomTest.cpp)
