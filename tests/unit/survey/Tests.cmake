pelto_tests(survey RULES InfoSectionTest.cpp)
