# pelto_folder(NAME RULES file... EDGES file... USES target...)
#
# One folder's library, pelto_NAME. Its rules decide without the operating system and are built for
# every target; its edges call Windows and are built for Windows only.

add_library(pelto_options INTERFACE)
target_include_directories(pelto_options INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(pelto_options INTERFACE
  -Wall -Wextra -Wpedantic -Werror -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast
  -Wcast-qual -Wformat=2 -Wnon-virtual-dtor -Woverloaded-virtual -Wundef
  $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wlogical-op -Wuseless-cast>)
if(WIN32)
  target_compile_definitions(pelto_options INTERFACE
    UNICODE _UNICODE WINVER=0x0601 _WIN32_WINNT=0x0601)
  # Sections, so that what nobody calls is left out; symbols go to a file of their own.
  target_compile_options(pelto_options INTERFACE
    -fstack-protector-strong -ffunction-sections -fdata-sections)
  target_link_options(pelto_options INTERFACE
    -static -fstack-protector-strong -Wl,--gc-sections -Wl,--dynamicbase -Wl,--high-entropy-va -Wl,--nxcompat)
endif()

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
