# embed_pages(TARGET FUNCTION FOLDER): builds the pages in FOLDER into the target, which gets a
# function of this name in namespace pelto::collector that lists them (see
# collector/serve/PageFiles.h). Without a folder the list is empty.
function(embed_pages target function folder)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  set(generated "${CMAKE_CURRENT_BINARY_DIR}/${function}")
  set(script "${PROJECT_SOURCE_DIR}/cmake/embed_pages.py")
  if(folder STREQUAL "")
    set(names)
  elseif(EXISTS "${folder}/index.html")
    file(GLOB names RELATIVE "${folder}" CONFIGURE_DEPENDS
      "${folder}/index.html" "${folder}/mine.html" "${folder}/assets/*")
  else()
    message(FATAL_ERROR "There are no pages in ${folder}; build them first")
  endif()
  list(TRANSFORM names PREPEND "${folder}/" OUTPUT_VARIABLE files)
  add_custom_command(
    OUTPUT "${generated}.cpp" "${generated}.S"
    COMMAND "${Python3_EXECUTABLE}" "${script}" "${function}" "${generated}" "${folder}" ${names}
    DEPENDS "${script}" ${files}
    VERBATIM)
  target_sources(${target} PRIVATE "${generated}.cpp" "${generated}.S")
  set_source_files_properties("${generated}.cpp" PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
endfunction()
