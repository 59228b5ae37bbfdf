pelto_tests(app
  RULES CommandLineTest.cpp
  EDGES CommandLineDriverTest.cpp PeltoAppTest.cpp ProductVersionTest.cpp ProgramStepsTest.cpp
        ProgramVersionTest.cpp ResourceModuleTest.cpp RunControllerTest.cpp)
if(WIN32)
  set_source_files_properties(unit/app/ProgramVersionTest.cpp PROPERTIES
    COMPILE_DEFINITIONS "PELTO_VERSION=\"${PROJECT_VERSION}\"" SKIP_PRECOMPILE_HEADERS ON)
  add_dependencies(app_tests
    PELTOSender holder localized_texts localizer localizer_without_export versioned)
endif()
