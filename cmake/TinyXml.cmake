# TinyXML from the source that scripts/setup.sh fetched. Foreign code: its warnings are its own.
add_library(tinyxml STATIC
  "${PELTO_DEPS}/tinyxml/tinystr.cpp" "${PELTO_DEPS}/tinyxml/tinyxml.cpp"
  "${PELTO_DEPS}/tinyxml/tinyxmlerror.cpp" "${PELTO_DEPS}/tinyxml/tinyxmlparser.cpp")
target_include_directories(tinyxml SYSTEM PUBLIC "${PELTO_DEPS}/tinyxml")
target_compile_options(tinyxml PRIVATE $<IF:$<BOOL:${MSVC}>,/w,-w> ${PELTO_HARDENING})
if(PELTO_COLLECTOR)
  # TinyXML's own strings share one empty string, to which all of them write. The collector reads
  # reports on several threads.
  target_compile_definitions(tinyxml PUBLIC TIXML_USE_STL)
endif()
