# Scanners, by libsane: its header is needed here, the library itself only by who scans.
set(ZEP3_HAS_SANE OFF)
if(ZEP3_BUILD_SANE)
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(SANE QUIET IMPORTED_TARGET sane-backends)
  if(SANE_FOUND)
    set(ZEP3_HAS_SANE ON)
  else()
    message(STATUS "zep3: the header of libsane is not installed (Debian: libsane-dev): zep3 scan says so, and there is no backend")
  endif()
endif()

set(zep3_scanning tools/zep3/scanning/no_scanner.cpp)
if(NOT ZEP3_HAS_SANE)
  return()
endif()

set(zep3_scanning
  tools/zep3/scanning/page_names.cpp
  tools/zep3/scanning/raw_tiff.cpp
  tools/zep3/scanning/run_scanner.cpp
  tools/zep3/scanning/scanner_tables.cpp
)

# What program and backend do alike.
add_library(zep3_sane_parts STATIC
  tools/sane/device.cpp
  tools/sane/library.cpp
  tools/sane/prescan.cpp
  tools/sane/scanned_page.cpp
)
target_include_directories(zep3_sane_parts PUBLIC ${PROJECT_SOURCE_DIR} ${SANE_INCLUDE_DIRS})
target_link_libraries(zep3_sane_parts PUBLIC ${CMAKE_DL_LIBS})
set_target_properties(zep3_sane_parts PROPERTIES
  POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
zep3_warnings(zep3_sane_parts)
zep3_release(zep3_sane_parts)
zep3_check_containers(zep3_sane_parts)

# The backend, as libsane finds it: libsane-zep3.so.1 in its folder of backends, named by a file in dll.d.
add_library(zep3_sane_backend SHARED tools/sane/backend.cpp tools/sane/own_options.cpp tools/zep3/command/stops.cpp)
target_include_directories(zep3_sane_backend PRIVATE tools/zep3)
target_link_libraries(zep3_sane_backend PRIVATE zep3_sane_parts zep3::zep3)
set_target_properties(zep3_sane_backend PROPERTIES
  OUTPUT_NAME sane-zep3 VERSION 1.0.0 SOVERSION 1 CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
  LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/sane INSTALL_RPATH "$ORIGIN/..")
# Stays loaded, as the copy of libsane behind it does.
target_link_options(zep3_sane_backend PRIVATE
  -Wl,--version-script=${PROJECT_SOURCE_DIR}/tools/sane/backend.map -Wl,-z,nodelete)
zep3_warnings(zep3_sane_backend)
zep3_release(zep3_sane_backend)
zep3_check_containers(zep3_sane_backend)

install(TARGETS zep3_sane_backend LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/sane NAMELINK_SKIP)
install(FILES tools/sane/dll.d/zep3 DESTINATION ${CMAKE_INSTALL_SYSCONFDIR}/sane.d/dll.d)
install(FILES tools/sane/zep3.conf DESTINATION ${CMAKE_INSTALL_SYSCONFDIR}/sane.d)
