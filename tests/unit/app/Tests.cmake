pelto_tests(app
  RULES CommandLineTest.cpp
  EDGES CommandLineDriverTest.cpp PeltoAppTest.cpp ProductVersionTest.cpp ProgramStepsTest.cpp
        ResourceModuleTest.cpp RunControllerTest.cpp)
if(WIN32)
  add_dependencies(app_tests
    holder localized_texts localizer localizer_without_export versioned)
endif()
