pelto_tests(framework
  EDGES DataExchangeTest.cpp DialogExTest.cpp GdiTest.cpp ToolTipCtrlTest.cpp WinAppTest.cpp
        WndTest.cpp)
if(WIN32)
  target_sources(framework_tests PRIVATE "${CMAKE_CURRENT_LIST_DIR}/dialogs.rc")
  target_link_libraries(framework_tests PRIVATE comctl32)
  add_dependencies(framework_tests localized_texts)
endif()
