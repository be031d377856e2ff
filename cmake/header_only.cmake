# Libraries of this computer that consist of headers, for a build for another system. The folder in `variable` has links
# to them and to nothing else, so that no header of this system is found by mistake.
function(tvl_header_only variable)
  set(folder ${PROJECT_BINARY_DIR}/header_only)
  file(MAKE_DIRECTORY ${folder})
  foreach(library ${ARGN})
    find_path(${library}_PARENT ${library} PATHS /usr/local/include /usr/include NO_DEFAULT_PATH
      NO_CMAKE_FIND_ROOT_PATH REQUIRED)
    file(CREATE_LINK ${${library}_PARENT}/${library} ${folder}/${library} SYMBOLIC)
  endforeach()
  set(${variable} ${folder} PARENT_SCOPE)
endfunction()
