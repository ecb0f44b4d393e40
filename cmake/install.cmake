# Install rules, included at the end of the top-level CMakeLists.txt once
# every target exists.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(ZV_INSTALL_HEADER_DIR ${CMAKE_INSTALL_INCLUDEDIR}/zelvan)
set(ZV_INSTALL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zelvanclient)

# Every header of include/zelvan is public, and only those are.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/zelvan/ DESTINATION ${ZV_INSTALL_HEADER_DIR}
  COMPONENT development FILES_MATCHING PATTERN "*.h")

# The headers include each other by bare name, so include/zelvan is an
# include directory of its own; include/ makes <zelvan/...> work as well.
install(TARGETS zelvanclient EXPORT zelvanclientTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} ${ZV_INSTALL_HEADER_DIR})

install(EXPORT zelvanclientTargets NAMESPACE zelvanclient::
  DESTINATION ${ZV_INSTALL_CMAKE_DIR} COMPONENT development)
# The config file asks for OpenSSL only when the installed library is a
# static one: a program linked against the shared library needs nothing of
# OpenSSL's.
get_target_property(ZV_LIBRARY_TYPE zelvanclient TYPE)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/zelvanclientConfig.cmake.in
  ${PROJECT_BINARY_DIR}/zelvanclientConfig.cmake
  INSTALL_DESTINATION ${ZV_INSTALL_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zelvanclientConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zelvanclientConfig.cmake
  ${PROJECT_BINARY_DIR}/zelvanclientConfigVersion.cmake
  DESTINATION ${ZV_INSTALL_CMAKE_DIR} COMPONENT development)

# The .pc file finds its prefix from its own place (pcfiledir), so it stays
# right for `cmake --install --prefix DIR` and for a tree that is moved.
file(RELATIVE_PATH ZV_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(${PROJECT_SOURCE_DIR}/cmake/zelvanclient.pc.in ${PROJECT_BINARY_DIR}/zelvanclient.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zelvanclient.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

# zelvan-txn runs transactions from the shell; the simulator and the
# certificate generator give a merchant a gateway of their own to test on;
# zelvan-session-key shows or removes a certificate's session store.
# They find the library through their run path, except in /usr, where the
# dynamic loader finds it by itself and Debian forbids a run path.
foreach(program zelvan-txn zelvan-gateway-sim zelvan-certgen zelvan-session-key)
  if(TARGET ${program})
    if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
      set_target_properties(${program} PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
    endif()
    install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  endif()
endforeach()

# Manual pages: the programs' with the programs, the C API's with the
# headers. The documents go with the library, the license first.
file(GLOB ZV_MAN1 CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.1)
file(GLOB ZV_MAN3 CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.3)
install(FILES ${ZV_MAN1} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
install(FILES ${ZV_MAN3} DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT development)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/README.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
install(FILES ${PROJECT_SOURCE_DIR}/docs/guide.md ${PROJECT_SOURCE_DIR}/docs/limits.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)

include(${PROJECT_SOURCE_DIR}/cmake/packaging.cmake)
