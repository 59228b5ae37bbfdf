# pelto_delay_load(TARGET DLL function...)
#
# Lets TARGET call functions of a Windows library that is loaded on the first call only. Most runs
# never make that call, and loading libraries is most of what a short run costs.
function(pelto_delay_load target dll)
  get_filename_component(name ${dll} NAME_WE)
  if(MSVC)
    target_link_libraries(${target} PUBLIC ${name} delayimp)
    target_link_options(${target} PUBLIC /DELAYLOAD:${dll})
    return()
  endif()
  set(definitions "${CMAKE_CURRENT_BINARY_DIR}/${name}.def")
  set(library "${CMAKE_CURRENT_BINARY_DIR}/lib${name}_delayed.a")
  list(JOIN ARGN "\n" exports)
  file(CONFIGURE OUTPUT "${definitions}" CONTENT "LIBRARY ${dll}\nEXPORTS\n${exports}\n")
  # The tool makes names of symbols from this path. They must differ between the libraries, and must be
  # the same wherever the build folder is.
  file(RELATIVE_PATH output "${PROJECT_BINARY_DIR}" "${library}")
  add_custom_command(OUTPUT "${library}"
    COMMAND ${CMAKE_DLLTOOL} -d "${definitions}" --output-delaylib "${output}"
    DEPENDS "${definitions}" WORKING_DIRECTORY "${PROJECT_BINARY_DIR}" VERBATIM)
  add_custom_target(${target}_${name}_delayed DEPENDS "${library}")
  add_dependencies(${target} ${target}_${name}_delayed)
  target_link_libraries(${target} PUBLIC "${library}")
endfunction()
