# Exports from a library only what a version script lists; on Windows the same script selects what the DLL exports. The
# names of a DLL are also written to a .def file, from which other linkers can make an import library.
function(tvl_export_only target map)
  target_link_options(${target} PRIVATE -Wl,--version-script=${map})
  set_target_properties(${target} PROPERTIES LINK_DEPENDS ${map})
  if(WIN32)
    set_target_properties(${target} PROPERTIES PREFIX "")
    target_link_options(${target} PRIVATE -Wl,--output-def=$<TARGET_FILE_DIR:${target}>/${target}.def)
  else()
    target_link_options(${target} PRIVATE -Wl,-z,relro,-z,now)
  endif()
endfunction()
