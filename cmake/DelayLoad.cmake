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
  add_custom_command(OUTPUT "${library}"
    COMMAND ${CMAKE_DLLTOOL} -d "${definitions}" --output-delaylib "${library}"
    DEPENDS "${definitions}" VERBATIM)
  add_custom_target(${target}_${name}_delayed DEPENDS "${library}")
  add_dependencies(${target} ${target}_${name}_delayed)
  target_link_libraries(${target} PUBLIC "${library}")
endfunction()
