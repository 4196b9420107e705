# cmake --install: the four libraries (versioned), kav-epub and its manual
# page, the public headers under include/KavEpub/ (in their folders, as they
# include each other), a pkg-config file, a CMake package with imported
# targets KavEpub::Kav_Epub and its companions, and the Python module. Each
# belongs to the component of the Debian package that holds it
# (cmake/KavPackage.cmake): libs, dev, tool, python.

include(CMakePackageConfigHelpers)

set(KAV_INSTALL_HEADERS
  builder/epub_base.h
  convert/epub_management.h
  convert/progress_callback.h
  fileutil/file_util.h
  package/xml_file.h
  platform/ebase/kav_ebase.h
  platform/mobi/kav_mobi.h
  platform/tool/kav_tool.h
  service/kav_epub.h
  service/kav_epub_ext.h
  service/kav_export.h
  service/kav_result.h
  xml/xhtml1_strict_dtd.h
  xml/xml_base.h)
set(KAV_INCLUDE_DIR ${CMAKE_INSTALL_INCLUDEDIR}/KavEpub)
set(KAV_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/KavEpub)

install(TARGETS Kav_Epub Kav_Tool Kav_Ebase Kav_Mobi EXPORT KavEpubTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libs NAMELINK_COMPONENT dev)
install(TARGETS kav-epub RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
# Installed, the tool finds the libraries in the library directory; in the
# build directory they lie beside it.
file(RELATIVE_PATH kav_bin_to_lib /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
set_target_properties(kav-epub PROPERTIES INSTALL_RPATH "$ORIGIN:$ORIGIN/${kav_bin_to_lib}")

foreach(header ${KAV_INSTALL_HEADERS})
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${KAV_INCLUDE_DIR}/${folder} COMPONENT dev)
endforeach()

install(EXPORT KavEpubTargets NAMESPACE KavEpub:: DESTINATION ${KAV_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/KavEpubConfig.cmake.in
  ${CMAKE_BINARY_DIR}/KavEpubConfig.cmake INSTALL_DESTINATION ${KAV_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/KavEpubConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/KavEpubConfig.cmake ${CMAKE_BINARY_DIR}/KavEpubConfigVersion.cmake
  DESTINATION ${KAV_CMAKE_DIR} COMPONENT dev)

# The pkg-config file names its prefix relative to itself, so that an
# installation made with --prefix, or moved, still describes itself.
set(KAV_PC_LIBDIR ${CMAKE_INSTALL_FULL_LIBDIR})
set(KAV_PC_INCLUDEDIR ${CMAKE_INSTALL_FULL_INCLUDEDIR}/KavEpub)
set(KAV_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
if(NOT IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR} AND NOT IS_ABSOLUTE ${CMAKE_INSTALL_INCLUDEDIR})
  file(RELATIVE_PATH kav_pc_to_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
  string(REGEX REPLACE "/$" "" kav_pc_to_prefix ${kav_pc_to_prefix})
  set(KAV_PC_PREFIX "\${pcfiledir}/${kav_pc_to_prefix}")
  set(KAV_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
  set(KAV_PC_INCLUDEDIR "\${prefix}/${KAV_INCLUDE_DIR}")
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/kav-epub.pc.in ${CMAKE_BINARY_DIR}/kav-epub.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/kav-epub.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

# The Python module, where Debian's python3 looks for modules of packages;
# installed elsewhere, it is found through PYTHONPATH.
set(KAV_PYTHON_DIR lib/python3/dist-packages CACHE STRING
  "Where the Python module kav_epub.py is installed, below the prefix")
install(FILES ${PROJECT_SOURCE_DIR}/python/kav_epub.py DESTINATION ${KAV_PYTHON_DIR}
  COMPONENT python)

# kav-epub(1), made by help2man from what the built tool prints for --help
# and --version, so that it never says other than --help does.
find_program(KAV_HELP2MAN help2man)
if(KAV_HELP2MAN)
  set(kav_man ${CMAKE_BINARY_DIR}/kav-epub.1)
  add_custom_command(OUTPUT ${kav_man}.gz
    COMMAND ${KAV_HELP2MAN} --no-info
      --name "make EPUB books from text, HTML and MOBI files" --output ${kav_man} $<TARGET_FILE:kav-epub>
    COMMAND gzip -9nf ${kav_man}
    DEPENDS kav-epub VERBATIM)
  add_custom_target(kav_man_page ALL DEPENDS ${kav_man}.gz)
  install(FILES ${kav_man}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
else()
  message(STATUS "help2man not found: no manual page for kav-epub")
endif()
