pelto_tests(language RULES ModuleNamesTest.cpp EDGES ModulesTest.cpp)
if(WIN32)
  add_dependencies(language_tests PELTOSender language_sample)
endif()
