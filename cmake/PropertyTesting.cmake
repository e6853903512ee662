# SPDX-License-Identifier: MIT
# Unit tests: one executable a folder, one process a test case, because the schema's registries
# are process-wide and complete only once.

include(GoogleTest)

option(PROPERTY_UNITY_TESTS "Compile several sources of a test program at once" OFF)

# property_add_unit_test(NAME source... [LIBS library...] [LABEL label] [SEPARATE] [ALONE])
# Several sources are compiled at once where PROPERTY_UNITY_TESTS says so, or the preset for all
# targets: in a third of the time. SEPARATE compiles each alone, for tests that depend on it or that
# use one name for different things. The cases of an ALONE one run while no other test does.
# A test's full name begins with the executable's, so that names are unique across executables.
function(property_add_unit_test Name)
  cmake_parse_arguments(ARG "SEPARATE;ALONE" "LABEL" "LIBS" ${ARGN})
  if(NOT ARG_LABEL)
    set(ARG_LABEL unit)
  endif()
  set(Limit 120)  # seconds
  if(ARG_LABEL STREQUAL fault)
    set(Limit 600)  # they try every place where something can fail
  endif()
  if(PROPERTY_UNITY_TESTS)
    set(CMAKE_UNITY_BUILD ON)
    set(CMAKE_UNITY_BUILD_BATCH_SIZE 10)
  endif()
  add_executable(${Name} ${ARG_UNPARSED_ARGUMENTS})
  property_configure_target(${Name})
  if(ARG_SEPARATE)
    set_target_properties(${Name} PROPERTIES UNITY_BUILD OFF)
  endif()
  # Only the tested code is optimised: optimising the tests doubles their build time.
  target_compile_options(${Name} PRIVATE -O0)
  target_link_libraries(${Name} PRIVATE ${ARG_LIBS} GTest::gmock_main)
  gtest_discover_tests(${Name} TEST_PREFIX ${Name}. DISCOVERY_TIMEOUT 120
    PROPERTIES TIMEOUT ${Limit} LABELS ${ARG_LABEL} RUN_SERIAL ${ARG_ALONE})
  property_set_test_environment(${Name} ${Name}_TESTS)
endfunction()

# Gives the tests listed in the variable that discovery leaves the project's environment. Discovery
# itself cannot: it takes a list apart, and all but its first entry would be lost.
function(property_set_test_environment Name ListVariable)
  set(Script "${CMAKE_CURRENT_BINARY_DIR}/${Name}_environment.cmake")
  file(CONFIGURE OUTPUT "${Script}" @ONLY CONTENT [=[
if(@ListVariable@)
  set_tests_properties(${@ListVariable@} PROPERTIES ENVIRONMENT "@PROPERTY_TEST_ENVIRONMENT@")
endif()
]=])
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${Script}")
endfunction()
