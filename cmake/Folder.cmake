# pelto_folder(NAME RULES file... EDGES file... USES target...)
#
# One folder's library, pelto_NAME. Its rules decide without the operating system and are built for
# every target; its edges call Windows and are built for Windows only.

function(pelto_folder name)
  cmake_parse_arguments(PARSE_ARGV 1 folder "" "" "RULES;EDGES;USES")
  set(sources ${folder_RULES})
  if(WIN32)
    list(APPEND sources ${folder_EDGES})
  endif()
  if(sources)
    add_library(pelto_${name} STATIC ${sources})
    target_link_libraries(pelto_${name} PRIVATE pelto_options PUBLIC ${folder_USES})
  endif()
endfunction()
