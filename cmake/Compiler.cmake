# pelto_options: the compile and link options of the project's own code, by compiler and linker.

add_library(pelto_options INTERFACE)
target_include_directories(pelto_options INTERFACE "${PROJECT_SOURCE_DIR}")

if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang" AND NOT MSVC)
  target_compile_options(pelto_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast -Wcast-qual
    -Wformat=2 -Wnon-virtual-dtor -Woverloaded-virtual -Wundef
    $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wlogical-op -Wuseless-cast>
    $<$<BOOL:${PELTO_WARNINGS_AS_ERRORS}>:-Werror>)
elseif(MSVC)
  # Not tried yet; see docs/building.md.
  target_compile_options(pelto_options INTERFACE
    /W4 /permissive- /utf-8 /EHsc /Zc:__cplusplus /Zc:preprocessor
    $<$<BOOL:${PELTO_WARNINGS_AS_ERRORS}>:/WX>)
  # The replacements that it recommends for standard functions exist nowhere else.
  target_compile_definitions(pelto_options INTERFACE _CRT_SECURE_NO_WARNINGS)
endif()

if(WIN32)
  target_compile_definitions(pelto_options INTERFACE
    UNICODE _UNICODE WINVER=0x0601 _WIN32_WINNT=0x0601)
endif()

# The mingw-w64 tools, whichever compiler runs before them. TinyXML is built with the same
# hardening.
set(PELTO_HARDENING "")
if(MINGW)
  # Sections of their own let the linker leave out functions that nothing calls.
  set(PELTO_HARDENING -fstack-protector-strong -ffunction-sections -fdata-sections)
  target_link_options(pelto_options INTERFACE
    -static -fstack-protector-strong -Wl,--gc-sections -Wl,--dynamicbase -Wl,--high-entropy-va
    -Wl,--nxcompat)
endif()
target_compile_options(pelto_options INTERFACE ${PELTO_HARDENING})

# Lets a program begin at `wmain` or `wWinMain`. Visual C++ finds these by itself.
add_library(pelto_wide_entry INTERFACE)
if(MINGW)
  target_link_options(pelto_wide_entry INTERFACE -municode)
endif()

if(PELTO_TRACE)
  target_compile_definitions(pelto_options INTERFACE PELTO_TRACE)
endif()
