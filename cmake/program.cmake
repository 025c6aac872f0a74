# zep3, the program: on libvips, libtiff, libwebp, Little CMS, CLI11 and nlohmann-json.
find_package(PkgConfig REQUIRED)
pkg_check_modules(VIPS REQUIRED IMPORTED_TARGET vips-cpp)
pkg_check_modules(TIFF REQUIRED IMPORTED_TARGET libtiff-4>=4.5)
pkg_check_modules(LCMS REQUIRED IMPORTED_TARGET lcms2>=2.13)
pkg_check_modules(WEBP REQUIRED IMPORTED_TARGET libwebp)
find_package(Threads REQUIRED)
find_package(CLI11 REQUIRED)
find_package(nlohmann_json REQUIRED)

configure_file(tools/zep3/version.h.in ${PROJECT_BINARY_DIR}/generated/version.h @ONLY)

# Everything but main, for the tests.
add_library(zep3_program_parts STATIC
  tools/zep3/admission.cpp
  tools/zep3/analysis.cpp
  tools/zep3/arguments.cpp
  tools/zep3/batch.cpp
  tools/zep3/box_mean.cpp
  tools/zep3/check_whole.cpp
  tools/zep3/command_line.cpp
  tools/zep3/encoding.cpp
  tools/zep3/evidence.cpp
  tools/zep3/finish.cpp
  tools/zep3/formats.cpp
  tools/zep3/in_place.cpp
  tools/zep3/interrupt.cpp
  tools/zep3/kinds.cpp
  tools/zep3/log.cpp
  tools/zep3/name_list.cpp
  tools/zep3/output.cpp
  tools/zep3/own_source.cpp
  tools/zep3/pending_file.cpp
  tools/zep3/plain_tiff.cpp
  tools/zep3/plan.cpp
  tools/zep3/pnm.cpp
  tools/zep3/record.cpp
  tools/zep3/report.cpp
  tools/zep3/report_page.cpp
  tools/zep3/save.cpp
  tools/zep3/scan.cpp
  tools/zep3/scan_job.cpp
  tools/zep3/sidecar.cpp
  tools/zep3/tables.cpp
  tools/zep3/tiff_directory.cpp
  tools/zep3/tiff_page_stream.cpp
  tools/zep3/tiff_pages.cpp
  tools/zep3/workers.cpp
)
target_include_directories(zep3_program_parts PUBLIC tools/zep3 ${PROJECT_BINARY_DIR}/generated)
target_link_libraries(zep3_program_parts
  PUBLIC zep3::zep3 PkgConfig::VIPS nlohmann_json::nlohmann_json
  PRIVATE PkgConfig::TIFF PkgConfig::LCMS PkgConfig::WEBP CLI11::CLI11 Threads::Threads
)
zep3_warnings(zep3_program_parts)
zep3_release(zep3_program_parts)
zep3_check_containers(zep3_program_parts)

add_executable(zep3_program tools/zep3/main.cpp)
target_link_libraries(zep3_program PRIVATE zep3_program_parts)
set_target_properties(zep3_program PROPERTIES OUTPUT_NAME zep3 INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
zep3_warnings(zep3_program)
zep3_release(zep3_program)
zep3_check_containers(zep3_program)
install(TARGETS zep3_program)

# Man page from the help, and completion for bash.
find_program(HELP2MAN help2man)
if(HELP2MAN)
  add_custom_command(
    OUTPUT ${PROJECT_BINARY_DIR}/zep3.1
    COMMAND ${HELP2MAN} --no-info --name "automatic exposure and colour correction of scans"
      --output ${PROJECT_BINARY_DIR}/zep3.1 $<TARGET_FILE:zep3_program>
    DEPENDS zep3_program
    VERBATIM
  )
  add_custom_target(zep3_man ALL DEPENDS ${PROJECT_BINARY_DIR}/zep3.1)
  install(FILES ${PROJECT_BINARY_DIR}/zep3.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endif()
install(FILES tools/zep3/zep3.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME zep3)
