pelto_tests(store
  RULES DateGateTest.cpp DateTextTest.cpp ReportDocumentTest.cpp
        ReportShapeTest.cpp SettingsTextTest.cpp SystemPropertiesTest.cpp
  EDGES ReportStoreTest.cpp SettingsFileTest.cpp)
pelto_tests_in_zones(store ReportStoreGates.*)
pelto_tests_in_code_pages(store *CodePage.*)
