pelto_tests(framework EDGES WinAppTest.cpp)
if(WIN32)
  add_dependencies(framework_tests localized_texts)
endif()
