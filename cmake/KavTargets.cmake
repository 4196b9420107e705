# Build helpers shared by every folder.

set(KAV_WARNINGS -Wall -Wextra -Werror)

# kav_add_component(NAME DEPENDS deps...): the sources of folder NAME compiled
# once (kav_NAME_objects, position independent, hidden symbols) and offered
# as the static archive kav_NAME, so that libKav_Epub and the tests are built
# from the same objects.
function(kav_add_component name)
  cmake_parse_arguments(ARG "" "" "DEPENDS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${name}/*.cc)
  if(NOT sources)
    set(sources ${PROJECT_SOURCE_DIR}/cmake/empty.cc)
  endif()
  add_library(kav_${name}_objects OBJECT ${sources})
  target_include_directories(kav_${name}_objects PUBLIC ${PROJECT_SOURCE_DIR})
  target_compile_options(kav_${name}_objects PRIVATE ${KAV_WARNINGS})
  target_link_libraries(kav_${name}_objects PUBLIC ${ARG_DEPENDS})
  add_library(kav_${name} STATIC $<TARGET_OBJECTS:kav_${name}_objects>)
  target_link_libraries(kav_${name} PUBLIC kav_${name}_objects ${ARG_DEPENDS})
  set_property(GLOBAL APPEND PROPERTY KAV_COMPONENT_OBJECTS $<TARGET_OBJECTS:kav_${name}_objects>)
endfunction()

# kav_add_companion(NAME sources...): a companion shared library (libNAME.so,
# versioned like libKav_Epub).
function(kav_add_companion name)
  add_library(${name} SHARED ${ARGN})
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/KavEpub>)
  target_compile_options(${name} PRIVATE ${KAV_WARNINGS})
  set_target_properties(${name} PROPERTIES LINK_FLAGS "-Wl,--no-undefined"
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
endfunction()

# kav_add_test(NAME SOURCES files... LIBS libs...): one GoogleTest program,
# registered with ctest test by test. Runs from the project root so that
# the test books under tests/data are reached by relative paths.
function(kav_add_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/tests)
  target_compile_options(${name} PRIVATE ${KAV_WARNINGS})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} kav_test_support GTest::gtest GTest::gmock GTest::gtest_main)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests
    BUILD_RPATH "${CMAKE_BINARY_DIR}")
  gtest_discover_tests(${name} WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    PROPERTIES ENVIRONMENT "KAV_BUILD_DIR=${CMAKE_BINARY_DIR}" DISCOVERY_TIMEOUT 60)
endfunction()
