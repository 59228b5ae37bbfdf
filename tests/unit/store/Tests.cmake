pelto_tests(store
  RULES DateGateTest.cpp DateTextTest.cpp FolderStepsTest.cpp ReportDocumentTest.cpp
        ReportShapeTest.cpp SettingsTextTest.cpp SystemPropertiesTest.cpp
  EDGES FolderPathTest.cpp ReportStoreTest.cpp SettingsFileTest.cpp)
pelto_tests_in_zones(store ReportStoreGates.*)
