pelto_tests(survey RULES InfoSectionTest.cpp PropertyListTest.cpp SystemInformationTest.cpp)
