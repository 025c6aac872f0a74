# zep3, the program: on libvips, libtiff, libwebp, libdeflate, Little CMS, CLI11, nlohmann-json and toml++.
find_package(PkgConfig REQUIRED)
pkg_check_modules(VIPS REQUIRED IMPORTED_TARGET vips-cpp)
pkg_check_modules(GMODULE REQUIRED IMPORTED_TARGET gmodule-no-export-2.0)
pkg_check_modules(TIFF REQUIRED IMPORTED_TARGET libtiff-4>=4.5)
pkg_check_modules(LCMS REQUIRED IMPORTED_TARGET lcms2>=2.13)
pkg_check_modules(TOML REQUIRED IMPORTED_TARGET tomlplusplus)
pkg_check_modules(WEBP REQUIRED IMPORTED_TARGET libwebp)
pkg_check_modules(DEFLATE REQUIRED IMPORTED_TARGET libdeflate)
pkg_check_modules(HTTPLIB IMPORTED_TARGET cpp-httplib) # for zep3 view
find_package(Threads REQUIRED)
find_package(ZLIB REQUIRED)
find_package(CLI11 REQUIRED)
find_package(nlohmann_json REQUIRED)

configure_file(tools/zep3/version.h.in ${PROJECT_BINARY_DIR}/generated/version.h @ONLY)

# Everything but main, for the tests.
add_library(zep3_program_parts STATIC
  tools/icc/profile.cpp
  tools/zep3/did_you_mean.cpp
  tools/zep3/interrupt.cpp
  tools/zep3/log.cpp
  tools/zep3/command/arguments.cpp
  tools/zep3/command/batch.cpp
  tools/zep3/command/command_line.cpp
  tools/zep3/command/folder_search.cpp
  tools/zep3/command/messages.cpp
  tools/zep3/command/name_list.cpp
  tools/zep3/command/overview.cpp
  tools/zep3/command/plan.cpp
  tools/zep3/command/progress_line.cpp
  tools/zep3/command/reporter.cpp
  tools/zep3/command/rolls.cpp
  tools/zep3/command/run_jobs.cpp
  tools/zep3/command/scan_list.cpp
  tools/zep3/command/scan_settings.cpp
  tools/zep3/command/scanner_options.cpp
  tools/zep3/command/setting_options.cpp
  tools/zep3/command/stops.cpp
  tools/zep3/command/verb_help.cpp
  tools/zep3/command/view.cpp
  tools/zep3/command/workers.cpp
  tools/zep3/files/formats.cpp
  tools/zep3/files/output.cpp
  tools/zep3/files/pending_file.cpp
  tools/zep3/job/compare.cpp
  tools/zep3/job/correct.cpp
  tools/zep3/job/correct_pages.cpp
  tools/zep3/job/decide.cpp
  tools/zep3/job/finished.cpp
  tools/zep3/job/observe.cpp
  tools/zep3/job/own_sidecar.cpp
  tools/zep3/job/print.cpp
  tools/zep3/job/result.cpp
  tools/zep3/job/scan_job.cpp
  tools/zep3/opening/admission.cpp
  tools/zep3/opening/boxes.cpp
  tools/zep3/opening/exif_fields.cpp
  tools/zep3/opening/image_library.cpp
  tools/zep3/opening/own_source.cpp
  tools/zep3/opening/pnm.cpp
  tools/zep3/opening/scan.cpp
  tools/zep3/opening/tiff_page_stream.cpp
  tools/zep3/opening/to_rgb.cpp
  tools/zep3/page/analysis.cpp
  tools/zep3/page/box_mean.cpp
  tools/zep3/page/cut.cpp
  tools/zep3/page/encoding.cpp
  tools/zep3/page/finish.cpp
  tools/zep3/page/marker.cpp
  tools/zep3/page/frame.cpp
  tools/zep3/page/paper.cpp
  tools/zep3/page/prescan.cpp
  tools/zep3/page/record.cpp
  tools/zep3/page/tables.cpp
  tools/zep3/saving/carried.cpp
  tools/zep3/saving/check_whole.cpp
  tools/zep3/saving/deflate_join.cpp
  tools/zep3/saving/in_place.cpp
  tools/zep3/saving/lines.cpp
  tools/zep3/saving/metadata.cpp
  tools/zep3/saving/png_pixels.cpp
  tools/zep3/saving/progress.cpp
  tools/zep3/saving/save.cpp
  tools/zep3/saving/tiff_blocks.cpp
  tools/zep3/saving/write_page.cpp
  ${zep3_scanning}
  tools/zep3/tiff/plain_tiff.cpp
  tools/zep3/tiff/tiff_directory.cpp
  tools/zep3/tiff/tiff_layout.cpp
  tools/zep3/tiff/tiff_pages.cpp
  tools/zep3/told/command_words.cpp
  tools/zep3/told/compare_page.cpp
  tools/zep3/told/evidence.cpp
  tools/zep3/told/html.cpp
  tools/zep3/told/json_fields.cpp
  tools/zep3/told/packed_cells.cpp
  tools/zep3/told/overview.cpp
  tools/zep3/told/plots.cpp
  tools/zep3/told/report.cpp
  tools/zep3/told/report_page.cpp
  tools/zep3/told/report_place.cpp
  tools/zep3/told/roll_file.cpp
  tools/zep3/told/roll_page.cpp
  tools/zep3/told/run_state.cpp
  tools/zep3/told/run_table.cpp
  tools/zep3/told/side_files.cpp
  tools/zep3/told/sidecar.cpp
)
target_include_directories(zep3_program_parts PUBLIC tools/zep3 ${PROJECT_BINARY_DIR}/generated)
target_link_libraries(zep3_program_parts
  PUBLIC zep3::zep3 PkgConfig::VIPS nlohmann_json::nlohmann_json
  PRIVATE PkgConfig::TOML PkgConfig::GMODULE PkgConfig::TIFF PkgConfig::LCMS PkgConfig::WEBP PkgConfig::DEFLATE CLI11::CLI11 ZLIB::ZLIB
    Threads::Threads
)
if(HTTPLIB_FOUND)
  target_sources(zep3_program_parts PRIVATE tools/zep3/viewing/page_server.cpp)
  target_compile_definitions(zep3_program_parts PRIVATE ZEP3_HAS_VIEW)
  target_link_libraries(zep3_program_parts PRIVATE PkgConfig::HTTPLIB)
endif()
if(ZEP3_HAS_SANE)
  target_link_libraries(zep3_program_parts PUBLIC zep3_sane_parts)
endif()
# CLI11 is all templates and runs once a run: optimising it fully would take half of the time that these files compile.
if(NOT MSVC)
  set_source_files_properties(
    tools/zep3/command/command_line.cpp tools/zep3/command/scan_settings.cpp tools/zep3/command/setting_options.cpp
    tools/zep3/command/scanner_options.cpp tools/zep3/command/verb_help.cpp PROPERTIES
    COMPILE_OPTIONS $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-O1>)
endif()
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

# Man page from the help, and completion for bash, zsh and fish.
find_program(HELP2MAN help2man)
if(HELP2MAN)
  add_custom_command(
    OUTPUT ${PROJECT_BINARY_DIR}/zep3.1
    COMMAND ${HELP2MAN} --no-info --name "automatic exposure and colour correction of scans"
      --include ${PROJECT_SOURCE_DIR}/tools/zep3/command/zep3.h2m
      --output ${PROJECT_BINARY_DIR}/zep3.1 $<TARGET_FILE:zep3_program>
    DEPENDS zep3_program ${PROJECT_SOURCE_DIR}/tools/zep3/command/zep3.h2m
    VERBATIM
  )
  add_custom_target(zep3_man ALL DEPENDS ${PROJECT_BINARY_DIR}/zep3.1)
  install(FILES ${PROJECT_BINARY_DIR}/zep3.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endif()
install(FILES tools/zep3/command/zep3.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME zep3)
install(FILES tools/zep3/command/zep3.zsh DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions RENAME _zep3)
install(FILES tools/zep3/command/zep3.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
