pelto_tests(platform
  RULES DecimalTextTest.cpp
  EDGES AnsiTextTest.cpp DecimalTextCrtTest.cpp GuidTextTest.cpp PathsTest.cpp SystemClockTest.cpp)
if(WIN32)
  # Zones on both sides of the ocean and of the year: the test program is run once in each.
  foreach(zone America/New_York Europe/Berlin Australia/Sydney)
    string(REPLACE "/" "_" name ${zone})
    add_test(NAME platform_${name} COMMAND platform_tests --gtest_brief=1
      --gtest_filter=SystemClockZone.* --gtest_output=xml:${name}.xml
      WORKING_DIRECTORY "${PELTO_TEST_PROGRAMS}")
    set_tests_properties(platform_${name} PROPERTIES
      ENVIRONMENT "TZ=${zone};PELTO_TEST_ZONE=${zone}")
  endforeach()
endif()
