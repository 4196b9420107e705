# Debian packages: `cpack -G DEB` in a build directory makes four, one for
# each install component of cmake/KavInstall.cmake, installed under /usr:
#   libkav-epub1      libs    the four versioned libraries
#   libkav-epub-dev   dev     headers, unversioned links, kav-epub.pc, KavEpubConfig
#   kav-epub          tool    the tool and its manual page
#   python3-kav-epub  python  the Python module
# The version and Debian revision come from the top entry of
# cmake/debian/changelog, which must name the project's version.

set(kav_deb_dir ${PROJECT_SOURCE_DIR}/cmake/debian)
file(STRINGS ${kav_deb_dir}/changelog kav_deb_top LIMIT_COUNT 1)
if(NOT kav_deb_top MATCHES "^kav-epub \\(${PROJECT_VERSION}-([0-9]+)\\) ")
  message(FATAL_ERROR "cmake/debian/changelog: the top entry is not for ${PROJECT_VERSION}: ${kav_deb_top}")
endif()
set(CPACK_DEBIAN_PACKAGE_RELEASE ${CMAKE_MATCH_1})
set(kav_deb_version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
# The maintainer is the one who signed the top entry.
file(STRINGS ${kav_deb_dir}/changelog kav_deb_signed REGEX "^ -- ")
list(GET kav_deb_signed 0 kav_deb_signed)
string(REGEX REPLACE "^ -- (.*>)  .*$" "\\1" CPACK_DEBIAN_PACKAGE_MAINTAINER "${kav_deb_signed}")

# Every package carries the copyright file and the changelog, compressed as
# Debian's tools do (maximum compression, no name or time in the header).
set(kav_changelog ${CMAKE_BINARY_DIR}/changelog.Debian.gz)
add_custom_command(OUTPUT ${kav_changelog}
  COMMAND gzip -9nc ${kav_deb_dir}/changelog > ${kav_changelog}
  DEPENDS ${kav_deb_dir}/changelog VERBATIM)
add_custom_target(kav_deb_changelog ALL DEPENDS ${kav_changelog})

set(kav_deb_packages libs libkav-epub1 dev libkav-epub-dev tool kav-epub python python3-kav-epub)
while(kav_deb_packages)
  list(POP_FRONT kav_deb_packages component package)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package})
  # Only in the packages, not in a plain cmake --install.
  install(FILES ${kav_deb_dir}/copyright ${kav_changelog} DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package}
    COMPONENT ${component} EXCLUDE_FROM_ALL)
endwhile()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kav-epub)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL libs dev tool python)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE kav-epub)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Descriptions: a summary line, then paragraphs of text (cpack indents them).
# Dependencies on other packages' libraries as dpkg-shlibdeps finds them;
# those between these packages are declared below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# dpkg-shlibdeps runs in each package's staging folder and finds the libraries
# of libkav-epub1 in the one beside it.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ../libs${CPACK_PACKAGING_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR})

# A shlibs file for every package with versioned libraries (only the first),
# so that packages built against them depend on this version or later.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_DEBIAN_LIBS_PACKAGE_SECTION libs)
# ldconfig runs once the libraries are unpacked (cpack's postinst also calls it).
set(CPACK_DEBIAN_LIBS_PACKAGE_CONTROL_EXTRA ${kav_deb_dir}/triggers)
# The fingerprints that tell Latin-script languages apart; "en" without them.
set(CPACK_DEBIAN_LIBS_PACKAGE_RECOMMENDS "libexttextcat-data")
set(CPACK_COMPONENT_LIBS_DESCRIPTION "library that makes EPUB 2 books
Kav EPUB makes EPUB 2 books (OPF 2.0 package, NCX navigation, OCF
container) from plain text and MOBI files in one call, or page by page
for a host program, with pictures, a cover and imported HTML pages.

This package holds libKav_Epub with its C interface and the companion
libraries it needs: libKav_Tool, libKav_Ebase and libKav_Mobi.")

set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libkav-epub1 (= ${kav_deb_version}), libxml2-dev, zlib1g-dev")
set(CPACK_COMPONENT_DEV_DESCRIPTION "library that makes EPUB 2 books - development files
Kav EPUB makes EPUB 2 books from plain text and MOBI files, or page by
page for a host program.

This package holds the headers, the pkg-config file kav-epub.pc and the
CMake package KavEpub (imported target KavEpub::Kav_Epub).")

set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION text)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "libkav-epub1 (= ${kav_deb_version})")
set(CPACK_COMPONENT_TOOL_DESCRIPTION "make EPUB books from text, HTML and MOBI files
kav-epub converts plain-text files in any common encoding, HTML pages with
what they link to, and MOBI and AZW3 books into EPUB 2 books, one at a time
or a whole folder tree in parallel, resumably and in slices for job systems.")

set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3:any, libkav-epub1 (>= ${kav_deb_version})")
set(CPACK_COMPONENT_PYTHON_DESCRIPTION "library that makes EPUB 2 books - Python module
Kav EPUB makes EPUB 2 books from plain text and MOBI files, or page by
page for a host program.

This package holds the module kav_epub, which drives the library through
ctypes.")

include(CPack)
