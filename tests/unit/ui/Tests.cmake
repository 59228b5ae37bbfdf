pelto_tests(ui
  RULES ConsentAnswerTest.cpp FadeInTest.cpp
  EDGES HyperlinkStaticTest.cpp PeltoDialogTest.cpp)
if(WIN32)
  target_sources(ui_tests PRIVATE "${PROJECT_SOURCE_DIR}/ui/PeltoDialog.rc")
  set_source_files_properties("${PROJECT_SOURCE_DIR}/ui/PeltoDialog.rc" PROPERTIES
    OBJECT_DEPENDS "${PELTO_ARTWORK}")
  target_include_directories(ui_tests PRIVATE "${PROJECT_SOURCE_DIR}/ui")
  add_dependencies(ui_tests
    bare_dialog damaged_picture language_sample linked_dialog own_artwork)
endif()
