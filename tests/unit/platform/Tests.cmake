pelto_tests(platform
  RULES DecimalTextTest.cpp
  EDGES AnsiTextTest.cpp DecimalTextCrtTest.cpp GuidTextTest.cpp PathsTest.cpp SystemClockTest.cpp)
pelto_tests_in_zones(platform SystemClockZone.*)
