# The contents of an installation, in components: library, engine, development (headers, a CMake package, a pkg-config
# file), server and tvl.

include(CMakePackageConfigHelpers)

install(TARGETS tvlclient EXPORT tvlclientTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# Where the library looks for its table engine.
install(TARGETS vbctree LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/tvlclient COMPONENT engine)
if(TARGET vbctree-postgres)
  install(TARGETS vbctree-postgres LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/tvlclient COMPONENT engine-postgresql)
endif()
# The server is installed next to the engine, which it looks for there, and is called through a link.
if(TARGET tvlserver)
  install(TARGETS tvlserver RUNTIME DESTINATION ${CMAKE_INSTALL_LIBDIR}/tvlclient COMPONENT server)
  file(RELATIVE_PATH server_link ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR}/tvlclient/tvlserver)
  install(CODE "
    set(bin \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
    file(MAKE_DIRECTORY \"\${bin}\")
    file(CREATE_LINK \"${server_link}\" \"\${bin}/tvlserver\" SYMBOLIC)" COMPONENT server)
  # Units of the service manager; below /usr and /usr/local they are where it looks for them.
  configure_file(${PROJECT_SOURCE_DIR}/packaging/tvlserver.service.in ${PROJECT_BINARY_DIR}/tvlserver.service @ONLY)
  install(FILES
    ${PROJECT_BINARY_DIR}/tvlserver.service
    ${PROJECT_SOURCE_DIR}/packaging/tvlserver.socket
    ${PROJECT_SOURCE_DIR}/packaging/tvlserver-proxy.socket
    ${PROJECT_SOURCE_DIR}/packaging/tvlserver-status.socket
    DESTINATION lib/systemd/system COMPONENT server)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/tvlserver.sysusers DESTINATION lib/sysusers.d RENAME tvlserver.conf
    COMPONENT server)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/tvlserver.tmpfiles DESTINATION lib/tmpfiles.d RENAME tvlserver.conf
    COMPONENT server)
endif()
if(TARGET tvl)
  set_target_properties(tvl PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
  install(TARGETS tvl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tvl)
  install(TARGETS tvl-health LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/tvlclient COMPONENT tvl)
  # Debian keeps the functions of its packages in a folder of their own; site-functions is for the site.
  set(zsh_functions site-functions)
  if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(zsh_functions vendor-completions)
  endif()
  set(completion ${PROJECT_SOURCE_DIR}/src/cli/completion)
  install(FILES ${completion}/tvl.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME tvl
    COMPONENT tvl)
  install(FILES ${completion}/tvl.zsh DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/${zsh_functions} RENAME _tvl
    COMPONENT tvl)
  install(FILES ${completion}/tvl.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT tvl)
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/tvlclient DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tvlclient)
install(EXPORT tvlclientTargets NAMESPACE tvlclient:: DESTINATION ${package_dir} COMPONENT development)
configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/tvlclientConfig.cmake.in
  ${PROJECT_BINARY_DIR}/tvlclientConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/tvlclientConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/tvlclientConfig.cmake
  ${PROJECT_BINARY_DIR}/tvlclientConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT development)

# The pkg-config file finds the prefix from its own place, so an installed tree can be moved.
file(RELATIVE_PATH TVL_PREFIX_FROM_PC "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/tvlclient.pc.in ${PROJECT_BINARY_DIR}/tvlclient.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tvlclient.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
