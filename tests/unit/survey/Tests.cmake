pelto_tests(survey
  RULES InfoSectionTest.cpp PropertyListTest.cpp SystemInformationTest.cpp
  EDGES SurveyJobTest.cpp VariantTextTest.cpp WmiQueryEngineCallsTest.cpp
        WmiQueryEngineTest.cpp)
if(WIN32)
  target_link_libraries(survey_tests PRIVATE ole32 oleaut32)
endif()
