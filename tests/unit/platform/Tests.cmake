pelto_tests(platform
  RULES DecimalTextTest.cpp FileExtensionTest.cpp FolderStepsTest.cpp
  EDGES AnsiTextTest.cpp DecimalTextCrtTest.cpp FileExtensionApiTest.cpp FolderPathTest.cpp
        GuidTextTest.cpp PathsTest.cpp SystemClockTest.cpp)
pelto_tests_in_zones(platform SystemClockZone.*)
pelto_tests_in_code_pages(platform *CodePage.*)
