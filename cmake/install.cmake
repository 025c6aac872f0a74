# Libraries, header, CMake package and pkg-config file; licence, documentation, examples and samples.
include(CMakePackageConfigHelpers)

install(TARGETS zep3 zep3_static EXPORT zep3-targets PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# As they lie here, for their links to one another.
install(FILES LICENSE README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs examples samples DESTINATION ${CMAKE_INSTALL_DOCDIR})

# The page, where it was built (scripts/web.sh): "zep3 view" serves it from there.
if(EXISTS ${PROJECT_SOURCE_DIR}/web/dist/index.html)
  install(DIRECTORY web/dist/ DESTINATION ${CMAKE_INSTALL_DATADIR}/zep3/web)
endif()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zep3)
install(EXPORT zep3-targets NAMESPACE zep3:: FILE zep3-config.cmake DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zep3-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zep3-config-version.cmake DESTINATION ${package_dir})

# The pkg-config file finds its prefix from where it lies, so that an installation can be moved; with absolute folders it
# names them.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  set(pc_prefix ${CMAKE_INSTALL_PREFIX})
  set(pc_libdir ${CMAKE_INSTALL_FULL_LIBDIR})
  set(pc_includedir ${CMAKE_INSTALL_FULL_INCLUDEDIR})
else()
  file(RELATIVE_PATH pc_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  set(pc_prefix "\${pcfiledir}/${pc_to_prefix}")
  set(pc_libdir "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
  set(pc_includedir "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
configure_file(cmake/zep3.pc.in ${PROJECT_BINARY_DIR}/zep3.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zep3.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
